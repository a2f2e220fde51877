#include "device/reader_list.h"

#include <algorithm>

namespace kv500 {

ReaderMatch findReaders(const std::vector<char>& list, const std::string& model) {
  ReaderMatch match;
  auto begin = list.begin();
  while (begin != list.end() && *begin != '\0' && match.matchCount < 2) {
    const auto end = std::find(begin, list.end(), '\0');
    const std::string name(begin, end);
    if (name.find(readerVendor) != std::string::npos && name.find(model) != std::string::npos) {
      ++match.matchCount;
      match.matchName = name;
    }
    begin = end == list.end() ? end : end + 1;
  }
  return match;
}

}  // namespace kv500
