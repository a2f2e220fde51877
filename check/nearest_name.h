// Finds the name that a misspelt one was meant to be.
#ifndef KV500_CHECK_NEAREST_NAME_H
#define KV500_CHECK_NEAREST_NAME_H

#include <string>
#include <vector>

namespace check {

/// The name that is nearest to a misspelt one: at most two letters are wrong, missing or too many.
/// Empty if there is none. Any thread.
std::string nearestName(const std::string& misspelt, const std::vector<std::string>& names);

}  // namespace check

#endif
