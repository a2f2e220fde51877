// The names by which the service may be addressed. A page can make another name point to this
// machine (DNS rebinding). To the browser the service then has the same origin as the page; only
// the Host header reveals it.
//
// Pure functions of their arguments: any thread.
#ifndef KV500_FRONTEND_ALLOWED_HOSTS_H
#define KV500_FRONTEND_ALLOWED_HOSTS_H

#include <string>
#include <vector>

namespace kv500 {

/// The names of a list with commas between them, without blanks around them and without a port. An
/// empty list has none.
std::vector<std::string> parseHostList(const std::string& list);

/// Whether a request with these Host headers is for one of the allowed names. It must have exactly
/// one such header. Its value must be the name and nothing else, except for a port (RFC 9110, 7.2).
/// Upper and lower case are the same. An IPv6 literal is in brackets in the list, too.
bool isHostAllowed(const std::vector<std::string>& hosts, const std::vector<std::string>& allowed);

}  // namespace kv500

#endif
