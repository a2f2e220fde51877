// Origins of web pages (RFC 6454), as browsers send them.
#ifndef KV500_CHECK_ORIGIN_H
#define KV500_CHECK_ORIGIN_H

#include <string>

namespace check {

/// Whether the text is one origin exactly as browsers send it: scheme, host and, unless it is the
/// scheme's default, port, all in lower case. Any thread.
bool isOrigin(const std::string& text);

/// Whether the text is the host of an origin: a name, or an IPv6 literal in its brackets, in lower
/// case. Any thread.
bool isHost(const std::string& text);

/// Whether a URL pattern of a browser policy covers that origin. A pattern is "*", an origin or a
/// host alone; "[*.]" in front of it also covers its subdomains. Any thread.
bool patternMatches(const std::string& pattern, const std::string& origin);

}  // namespace check

#endif
