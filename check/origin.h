// Origins of web pages (RFC 6454), as browsers send them.
#ifndef KV500_CHECK_ORIGIN_H
#define KV500_CHECK_ORIGIN_H

#include <string>

namespace check {

/// Whether the text is one origin in the one form in which browsers send it: scheme, host and,
/// unless it is the scheme's usual one, port, all in small letters. Any thread.
bool isOrigin(const std::string& text);

/// Whether a URL pattern of a browser's policy takes in that origin: "*", an origin, a host alone,
/// with "[*.]" in front to take in its subdomains. Any thread.
bool patternMatches(const std::string& pattern, const std::string& origin);

}  // namespace check

#endif
