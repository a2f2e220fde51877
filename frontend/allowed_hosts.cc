#include "frontend/allowed_hosts.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <sstream>
#include <string_view>

namespace kv500 {
namespace {

bool isSame(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

/// The value without ":" and the digits of a port. Colons inside brackets belong to the name.
std::string_view withoutPort(std::string_view host) {
  const std::size_t lastNoDigit = host.find_last_not_of("0123456789");
  const bool hasPort = lastNoDigit != std::string_view::npos && host[lastNoDigit] == ':';
  return hasPort ? host.substr(0, lastNoDigit) : host;
}

}  // namespace

std::vector<std::string> parseHostList(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream pieces(list);
  // Otherwise the stream would swallow a lack of memory and end early.
  pieces.exceptions(std::ios::badbit);
  for (std::string piece; std::getline(pieces, piece, ',');) {
    const std::size_t begin = piece.find_first_not_of(" \t");
    if (begin != std::string::npos) {
      const std::size_t end = piece.find_last_not_of(" \t") + 1;
      names.emplace_back(withoutPort(std::string_view(piece).substr(begin, end - begin)));
    }
  }
  return names;
}

bool isHostAllowed(const std::vector<std::string>& hosts, const std::vector<std::string>& allowed) {
  return hosts.size() == 1 &&
         std::any_of(allowed.begin(), allowed.end(), [&hosts](const std::string& name) {
           return isSame(withoutPort(hosts.front()), name);
         });
}

}  // namespace kv500
