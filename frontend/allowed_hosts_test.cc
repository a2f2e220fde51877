#include "frontend/allowed_hosts.h"

#include <gtest/gtest.h>

#include "frontend/http_request.h"

namespace kv500 {
namespace {

TEST(AllowedHosts, OnlyAListedNameByItselfPasses) {
  const struct {
    std::string headers, allowed;
    bool passes;
  } rows[] = {
      {"Host: 127.0.0.1:5724\r\n", "127.0.0.1,localhost", true},
      {"host:localhost\r\n", " 127.0.0.1 , localhost ,", true},
      {"Host: LocalHost:80\r\n", "LOCALhost", true},
      {"Host: localhost:\r\n", "localhost:5724", true},
      {"Host: evil.example:5724\r\n", "127.0.0.1,localhost", false},
      {"Accept: *\r\n", "127.0.0.1,localhost", false},
      {"Host:\r\n", "localhost", false},
      {"Host: :5724\r\n", "localhost", false},
      {"Host: localhost\r\nHost: localhost\r\n", "localhost", false},
      {"Host: evil.example\r\nhost: localhost\r\n", "localhost", false},
      {"Host: user@localhost\r\n", "localhost", false},
      {"Host: localhost@evil.example\r\n", "localhost", false},
      {"Host: localhost.\r\n", "localhost", false},
      {"Host: localhost.:5724\r\n", "localhost.", true},
      {"Host: localhost:5724x\r\n", "localhost", false},
      {"Host: localhost:80:80\r\n", "localhost", false},
      {"Host: localhost, evil.example\r\n", "localhost", false},
      {"Host: [::1]:5724\r\n", "localhost,[::1]", true},
      {"Host: [::1]\r\n", "[::1]", true},
      {"Host: [::1]\r\n", "localhost,127.0.0.1", false},
      {"Host: " + std::string(4000, 'a') + "\r\n", "localhost", false},
      {"Host: localhost" + std::string(3990, ' ') + "\r\n", "localhost", true},
  };
  for (const auto& row : rows) {
    const HttpRequest request("GET / HTTP/1.1\r\n" + row.headers);
    EXPECT_EQ(isHostAllowed(request.hosts(), parseHostList(row.allowed)), row.passes)
        << row.headers.substr(0, 60);
  }
}

}  // namespace
}  // namespace kv500
