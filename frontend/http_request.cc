#include "frontend/http_request.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>

namespace kv500 {
namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

std::string_view withoutLeadingSpace(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(whiteSpace), text.size()));
}

std::string_view withoutTrailingSpace(std::string_view text) {
  return text.substr(0, text.find_last_not_of(whiteSpace) + 1);
}

[[noreturn]] void raiseInvalidLine(std::string_view line) {
  throw "Invalid line in HTTP request " + std::string(line) + "!";
}

std::uint8_t hexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return static_cast<std::uint8_t>(c - '0');
  }
  if (c >= 'A' && c <= 'F') {
    return static_cast<std::uint8_t>(c - 'A' + 10);
  }
  if (c >= 'a' && c <= 'f') {
    return static_cast<std::uint8_t>(c - 'a' + 10);
  }
  throw std::string("Invalid character!");
}

}  // namespace

HttpRequest::HttpRequest(const std::string& text) {
  std::istringstream lines(text);
  // Otherwise the stream would swallow a lack of memory and end early.
  lines.exceptions(std::ios::badbit);
  std::string rawLine;
  for (bool first = true; std::getline(lines, rawLine); first = false) {
    const std::string_view line = withoutTrailingSpace(withoutLeadingSpace(rawLine));
    if (line.empty()) {
      return;
    }
    if (first) {
      parseRequestLine(line);
    } else {
      parseHeaderLine(line);
    }
  }
}

void HttpRequest::parseRequestLine(std::string_view line) {
  const std::size_t methodEnd = line.find(' ');
  if (methodEnd == std::string_view::npos) {
    raiseInvalidLine(line);
  }
  const std::string_view rest = withoutLeadingSpace(line.substr(methodEnd));
  const std::size_t targetEnd = rest.find(' ');
  if (targetEnd == std::string_view::npos) {
    raiseInvalidLine(rest);
  }
  method_ = line.substr(0, methodEnd);
  target_ = rest.substr(0, targetEnd);
}

void HttpRequest::parseHeaderLine(std::string_view line) {
  const std::size_t nameEnd = line.find_first_of(": ");
  if (nameEnd == std::string_view::npos) {
    raiseInvalidLine(line);
  }
  std::string lowerCased(line.substr(0, nameEnd));
  std::transform(lowerCased.begin(), lowerCased.end(), lowerCased.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const std::string value(withoutLeadingSpace(line.substr(nameEnd + 1)));
  headers_[lowerCased] = value;
  if (lowerCased == "host") {
    hosts_.push_back(value);
  }
}

std::map<std::string, std::string> parseQueryParameters(const std::string& query) {
  std::map<std::string, std::string> parameters;
  std::string_view rest = query;
  while (!rest.empty()) {
    const std::string_view piece = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) {
      throw std::string("Invalid GET parameter!");
    }
    parameters[urlDecode(std::string(piece.substr(0, equals)))] = piece.substr(equals + 1);
  }
  return parameters;
}

std::string urlDecode(const std::string& text) {
  std::string decoded;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text[i] != '%') {
      decoded += text[i++];
      continue;
    }
    if (i + 2 >= text.size()) {
      throw std::string("Unexpected end of string!");
    }
    decoded += static_cast<char>(hexPairToByte(text[i + 1], text[i + 2]));
    i += 3;
  }
  return decoded;
}

std::uint8_t hexPairToByte(char high, char low) {
  const unsigned highDigit = hexDigit(high);
  return static_cast<std::uint8_t>(highDigit << 4 | hexDigit(low));
}

}  // namespace kv500
