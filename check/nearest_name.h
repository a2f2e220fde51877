// Which name was meant.
#ifndef KV500_CHECK_NEAREST_NAME_H
#define KV500_CHECK_NEAREST_NAME_H

#include <string>
#include <vector>

namespace check {

/// The name that a misspelt one is nearest to: at most two letters wrong, missing or too many.
/// Empty if there is none. Any thread.
std::string nearestName(const std::string& misspelt, const std::vector<std::string>& names);

}  // namespace check

#endif
