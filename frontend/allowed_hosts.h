// The names by which the service may be addressed. A page that has another name point to this
// machine (DNS rebinding) is of the service's origin to the browser; the Host header gives it away.
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

/// Whether a request with these Host headers is for one of the allowed names: it has exactly one
/// header, whose value is the name and nothing else, but for a port (RFC 9110, 7.2). Upper and
/// lower case are the same; an IPv6 literal stands in brackets in the list, too.
bool isHostAllowed(const std::vector<std::string>& hosts, const std::vector<std::string>& allowed);

}  // namespace kv500

#endif
