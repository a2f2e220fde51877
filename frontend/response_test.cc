#include "frontend/response.h"

#include <gtest/gtest.h>

namespace kv500 {
namespace {

const std::string crossOrigin =
    "Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
    "Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
    "Access-Control-Max-Age: 86400\r\n";

TEST(Response, EveryByteOfTheJsonAnswer) {
  const ActionResult error{"MISSING_GET_PARAM", "ERROR", 97, "wrong GET parameter", "", "", "", ""};
  const std::string body =
      "{\n\"action\": \"MISSING_GET_PARAM\",\n\"status\": \"ERROR\",\n"
      "\"message\": \"wrong GET parameter\",\n\"serv_version\": 97\n}\n";
  const std::string header =
      "HTTP/1.1 200 OK\r\nServer: KALVERO Server/1.0\r\nAccess-Control-Allow-Origin: *\r\n" +
      crossOrigin +
      "Content-Type: application/json; charset=iso-8859-15\r\nContent-Length: 107\r\n\r\n";
  EXPECT_EQ(composeResponse("*", false, error, ""), header + body);
  EXPECT_EQ(composeResponse("*", true, error, ""), header);
}

TEST(Response, EveryByteOfTheAnswerToOptions) {
  EXPECT_EQ(composeOptionsResponse("https://x.example"),
            "HTTP/1.1 200 OK\r\nServer: KALVERO Server/1.0\r\nAllow: GET, HEAD, OPTIONS\r\n"
            "Cache-Control: max-age=0, no-cache, no-store\r\n"
            "Access-Control-Allow-Origin: https://x.example\r\n" +
                crossOrigin + "Content-Length: 0\r\n\r\n");
  EXPECT_NE(composeOptionsResponse("").find("Access-Control-Allow-Origin: \r\n"),
            std::string::npos);
}

TEST(Response, TheMessageIsATextOrAnObjectAndDatenIsOptional) {
  const std::string begin = "{\n\"action\": \"a\\\"\xE4\",\n\"status\": \"s\",\n";
  const std::string object =
      "\"message\": {\n\"deviceStatus\": \"d\",\n\"ApiVersion\": \"\",\n"
      "\"SerialNumber\": \"n\",\n\"CardPresence\": \"c\"\n},\n";
  const struct {
    std::string message, daten, rest;
  } rows[] = {
      {"", "", object + "\"serv_version\": -1\n}\n"},
      {"", "null", object + "\"serv_version\": -1,\n\"daten\": \nnull\n}\n"},
      {"m", "{\n}", "\"message\": \"m\",\n\"serv_version\": -1,\n\"daten\": \n{\n}\n}\n"},
  };
  for (const auto& row : rows) {
    const ActionResult result{"a\\\"\xE4", "s", -1, row.message, "d", "", "n", "c"};
    EXPECT_EQ(composeBody(result, row.daten), begin + row.rest);
  }
}

}  // namespace
}  // namespace kv500
