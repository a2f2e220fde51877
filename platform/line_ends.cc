#include "platform/line_ends.h"

#include <cstddef>

namespace platform {

std::string fromStored(const std::string& stored) {
  std::string text;
  for (std::size_t i = 0; i < stored.size(); ++i) {
    const bool beforeLineFeed = i + 1 < stored.size() && stored[i + 1] == '\n';
    if (stored[i] != '\r' || !beforeLineFeed) {
      text += stored[i];
    }
  }
  return text;
}

}  // namespace platform
