// How a fuzz target fails.
#ifndef KV500_FUZZ_REQUIRE_H
#define KV500_FUZZ_REQUIRE_H

#include <cstdlib>
#include <iostream>
#include <string>

namespace kv500 {

inline void require(bool condition, const std::string& what) {
  if (!condition) {
    std::cerr << "Required: " << what << std::endl;
    std::abort();
  }
}

}  // namespace kv500

#endif
