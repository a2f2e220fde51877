#include "frontend/http_request.h"

#include <gtest/gtest.h>

namespace kv500 {
namespace {

using Table = std::map<std::string, std::string>;

/// The text that `work` raises, or "none".
template <typename Work>
std::string raisedBy(Work work) {
  try {
    work();
  } catch (const std::string& text) {
    return text;
  }
  return "none";
}

TEST(HttpRequest, TakesMethodTargetAndHeaders) {
  const struct {
    std::string text, method, target;
    Table headers;
  } rows[] = {
      {"", "", "", {}},
      {"\r\nGET /x HTTP/1.1\r\n", "", "", {}},
      {" \t \nFoo", "", "", {}},
      {"GET /x HTTP/1.1\r\nHost: a b\r\n\r\nFoo\r\n", "GET", "/x", {{"host", "a b"}}},
      {"GET /x HTTP/1.1\nHost: a b\n\nFoo", "GET", "/x", {{"host", "a b"}}},
      {"GET /x HTTP/1.1", "GET", "/x", {}},
      {"  GET   /x   y z", "GET", "/x", {}},
      {"get /%41?a=b HTTP/9.9 more words", "get", "/%41?a=b", {}},
      {"G\t/x y z", "G\t/x", "y", {}},
      {"G /\xE4 z\nHost : a\nX:\nA:b:c\nA \xFF\n",
       "G",
       "/\xE4",
       {{"host", ": a"}, {"x", ""}, {"a", "\xFF"}}},
      {"G / z\nX\v:\t v \f\n", "G", "/", {{"x\v", "v"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const HttpRequest request(row.text);
    EXPECT_EQ(request.method(), row.method);
    EXPECT_EQ(request.target(), row.target);
    EXPECT_EQ(request.headers(), row.headers);
  }
}

TEST(HttpRequest, QuotesTheLineThatCannotBeSplit) {
  const struct {
    std::string text, quoted;
  } rows[] = {
      {"GET", "GET"},
      {" GET /x \r\n", "/x"},
      {"GET\t/x HTTP/1.1", "HTTP/1.1"},
      {"GET /x HTTP/1.1\r\nHost: a\r\n Foo \r\n", "Foo"},
      {"GET /x HTTP/1.1\r\nHo", "Ho"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(raisedBy([&row] { HttpRequest{row.text}; }),
              "Invalid line in HTTP request " + row.quoted + "!");
  }
}

TEST(Query, NamesAreDecodedAndValuesStayAsSent) {
  const struct {
    std::string query;
    Table parameters;
  } rows[] = {
      {"", {}},
      {"x=1&action=status", {{"action", "status"}, {"x", "1"}}},
      {"a=1&a=2", {{"a", "2"}}},
      {"a=1&%61=2&", {{"a", "2"}}},
      {"=b&a=", {{"", "b"}, {"a", ""}}},
      {"a=b=c&b=%zz&c=%&d=+%31", {{"a", "b=c"}, {"b", "%zz"}, {"c", "%"}, {"d", "+%31"}}},
      {"%4a=1&%4A%00=2&a+b=3", {{"J", "1"}, {std::string("J\0", 2), "2"}, {"a+b", "3"}}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(parseQueryParameters(row.query), row.parameters) << row.query;
  }
}

TEST(Query, ABrokenPieceStopsTheWhole) {
  const std::string invalid = "Invalid GET parameter!";
  const std::string end = "Unexpected end of string!";
  const std::string character = "Invalid character!";
  const struct {
    std::string query, text;
  } rows[] = {
      {"a", invalid},       {"&a=1", invalid},    {"a=1&&b=2", invalid},    {"%6", invalid},
      {"%6=1", end},        {"%=1", end},         {"a%6=1", end},           {"%zz=1", character},
      {"%6g=1", character}, {"%g6=1", character}, {"%:0=1", character},     {"%@0=1", character},
      {"%`0=1", character}, {"%/0=1", character}, {"a=1&%G0=1", character},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(raisedBy([&row] { parseQueryParameters(row.query); }), row.text) << row.query;
  }
}

}  // namespace
}  // namespace kv500
