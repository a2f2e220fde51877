#include "frontend/response.h"

#include <gtest/gtest.h>

namespace kv500 {
namespace {

const std::string begin = "HTTP/1.1 200 OK\r\nServer: KALVERO Server/1.0\r\n";
const std::string crossOrigin =
    "Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
    "Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
    "Access-Control-Max-Age: 86400\r\n";

TEST(Response, EveryByteOfTheJsonAnswer) {
  const std::string object =
      "{\n\"deviceStatus\": \"d\",\n\"ApiVersion\": \"\",\n\"SerialNumber\": \"n\",\n"
      "\"CardPresence\": \"c\"\n}";
  const struct {
    std::string message, daten, written, rest;
  } rows[] = {
      {"", "", object, "\n}\n"},
      {"", "null", object, ",\n\"daten\": \nnull\n}\n"},
      {"m", "{\n}", "\"m\"", ",\n\"daten\": \n{\n}\n}\n"},
  };
  for (const auto& row : rows) {
    const ActionResult result{"a\\\"\xE4", "s", 97, row.message, "d", "", "n", "c"};
    const std::string body =
        "{\n\"action\": \"a\\\"\xE4\",\n\"status\": \"s\",\n\"message\": " + row.written +
        ",\n\"serv_version\": 97" + row.rest;
    const std::string header = begin + "Access-Control-Allow-Origin: *\r\n" + crossOrigin +
                               "Content-Type: application/json; charset=iso-8859-15\r\n"
                               "Content-Length: " +
                               std::to_string(body.size()) + "\r\n\r\n";
    EXPECT_EQ(composeResponse("*", false, result, row.daten), header + body);
    EXPECT_EQ(composeResponse("*", true, result, row.daten), header);
  }
}

TEST(Response, EveryByteOfTheAnswerToOptions) {
  EXPECT_EQ(composeOptionsResponse("https://x.example"),
            begin +
                "Allow: GET, HEAD, OPTIONS\r\n"
                "Cache-Control: max-age=0, no-cache, no-store\r\n"
                "Access-Control-Allow-Origin: https://x.example\r\n" +
                crossOrigin + "Content-Length: 0\r\n\r\n");
}

}  // namespace
}  // namespace kv500
