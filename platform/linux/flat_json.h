// JSON as a flat list.
#ifndef KV500_PLATFORM_LINUX_FLAT_JSON_H
#define KV500_PLATFORM_LINUX_FLAT_JSON_H

#include <string>
#include <utility>
#include <vector>

namespace platform {

/// Every text, number and word of a JSON text (RFC 8259) with its name. The name consists of the
/// names of the members that lead to it, separated by "/"; an element of an array has its number
/// from 0. Escapes of four hexadecimal digits become a question mark. If the text has an error, the
/// values before it are given. Values below a depth of 16 are left out. Any thread.
std::vector<std::pair<std::string, std::string>> flattenJson(const std::string& text);

}  // namespace platform

#endif
