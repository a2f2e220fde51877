#include "frontend/http_request.h"

#include <gtest/gtest.h>

namespace kv500 {
namespace {

std::string joined(const std::map<std::string, std::string>& table) {
  std::string text;
  for (const auto& [name, value] : table) {
    text += "[" + name + ": " + value + "]";
  }
  return text;
}

TEST(HttpRequest, TakesMethodTargetAndHeadersOrQuotesTheBadLine) {
  const struct {
    std::string text, parsed;
  } rows[] = {
      {"", "||"},
      {"\r\nGET /x HTTP/1.1\r\n", "||"},
      {" \t \nFoo", "||"},
      {"GET /x HTTP/1.1\r\nHost: a b\r\n\r\nFoo\r\n", "GET|/x|[host: a b]"},
      {"GET /x HTTP/1.1\nHost: a b\n\nFoo", "GET|/x|[host: a b]"},
      {"  GET   /x   y z", "GET|/x|"},
      {"get /%41?a=b HTTP/9.9 more words", "get|/%41?a=b|"},
      {"G\t/x y z", "G\t/x|y|"},
      {"G /\xE4 z\nHost : a\nX:\nA:b:c\nA \xFF\n", "G|/\xE4|[a: \xFF][host: : a][x: ]"},
      {"\vG / z\nX\v:\t v \f\n", "G|/|[x\v: v]"},
      {"GET", "GET!"},
      {" GET /x \r\n", "/x!"},
      {"GET\t/x HTTP/1.1", "HTTP/1.1!"},
      {"GET /x HTTP/1.1\r\nHost: a\r\n Foo \r\n", "Foo!"},
  };
  for (const auto& row : rows) {
    try {
      const HttpRequest request(row.text);
      EXPECT_EQ(request.method() + "|" + request.target() + "|" + joined(request.headers()),
                row.parsed);
    } catch (const std::string& text) {
      EXPECT_EQ(text, "Invalid line in HTTP request " + row.parsed);
    }
  }
}

TEST(Query, NamesAreDecodedAndABrokenPieceStopsTheWhole) {
  const std::string invalid = "Invalid GET parameter!";
  const std::string end = "Unexpected end of string!";
  const std::string character = "Invalid character!";
  const struct {
    std::string query, parsed;
  } rows[] = {
      {"", ""},
      {"x=1&action=status", "[action: status][x: 1]"},
      {"a=1&%61=2&", "[a: 2]"},
      {"=b&a=", "[: b][a: ]"},
      {"a=b=c&b=%zz&c=%&d=+%31", "[a: b=c][b: %zz][c: %][d: +%31]"},
      {"%4a=1&%4A%00=2&a+b=3", {"[J: 1][J\0: 2][a+b: 3]", 21}},
      {"%0F%fA%9c=1", "[\x0F\xFA\x9C: 1]"},
      {"a", invalid},
      {"&a=1", invalid},
      {"a=1&&b=2", invalid},
      {"%6", invalid},
      {"%6=1", end},
      {"%=1", end},
      {"a%6=1", end},
      {"%zz=1", character},
      {"%xF=1", character},
      {"%6g=1", character},
      {"%g6=1", character},
      {"%:0=1", character},
      {"%@0=1", character},
      {"%`0=1", character},
      {"%/0=1", character},
      {"%0G=1", character},
      {"a=1&%G0=1", character},
  };
  for (const auto& row : rows) {
    try {
      EXPECT_EQ(joined(parseQueryParameters(row.query)), row.parsed) << row.query;
    } catch (const std::string& text) {
      EXPECT_EQ(text, row.parsed) << row.query;
    }
  }
}

}  // namespace
}  // namespace kv500
