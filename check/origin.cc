#include "check/origin.h"

#include <algorithm>
#include <cstdint>

namespace check {
namespace {

constexpr const char* digits = "0123456789";

struct Parts {
  std::string scheme;
  std::string host;
  std::string port;  ///< With its colon.
};

/// Checks nothing.
Parts split(const std::string& text) {
  Parts parts;
  std::string rest = text;
  const auto schemeEnd = rest.find("://");
  if (schemeEnd != std::string::npos) {
    parts.scheme = rest.substr(0, schemeEnd);
    rest.erase(0, schemeEnd + 3);
  }
  const auto hostEnd = rest.starts_with("[") && !rest.starts_with("[*")
                           ? rest.find(':', std::min(rest.find(']'), rest.size()))
                           : rest.find(':');
  parts.host = rest.substr(0, hostEnd);
  parts.port = hostEnd == std::string::npos ? "" : rest.substr(hostEnd);
  return parts;
}

bool isPort(const std::string& port, const std::string& scheme) {
  if (port.empty()) {
    return true;
  }
  const std::string number = port.substr(1);
  const std::string usual = scheme == "https" ? "443" : "80";
  return !number.empty() && number.size() <= 5 && number[0] != '0' &&
         number.find_first_not_of(digits) == std::string::npos && std::stoul(number) <= 65535 &&
         number != usual;
}

}  // namespace

bool isHost(const std::string& host) {
  const bool isIpv6 = host.starts_with("[") && host.ends_with("]");
  const std::string bare = isIpv6 ? host.substr(1, host.size() - 2) : host;
  const char* const allowed =
      isIpv6 ? "0123456789abcdef:." : "abcdefghijklmnopqrstuvwxyz0123456789-._";
  return !bare.empty() && bare.find_first_not_of(allowed) == std::string::npos;
}

bool isOrigin(const std::string& text) {
  const Parts parts = split(text);
  return (parts.scheme == "https" || parts.scheme == "http") && isHost(parts.host) &&
         isPort(parts.port, parts.scheme);
}

bool patternMatches(const std::string& pattern, const std::string& origin) {
  std::string trimmed = pattern;
  while (trimmed.ends_with("/") || trimmed.ends_with("/*")) {
    trimmed.resize(trimmed.rfind('/'));  // It gets shorter in each round.
  }
  if (trimmed == "*" || trimmed == "*:/" || trimmed == "*://*") {
    return true;
  }
  Parts wanted = split(trimmed);
  const Parts actual = split(origin);
  const bool withSubdomains = wanted.host.starts_with("[*.]");
  if (withSubdomains) {
    wanted.host.erase(0, 4);
  }
  const bool hostFits = wanted.host == actual.host || wanted.host == "*" ||
                        (withSubdomains && actual.host.ends_with("." + wanted.host));
  const bool schemeFits =
      wanted.scheme.empty() || wanted.scheme == "*" || wanted.scheme == actual.scheme;
  const bool portFits = wanted.port.empty() || wanted.port == ":*" || wanted.port == actual.port;
  return hostFits && schemeFits && portFits;
}

}  // namespace check
