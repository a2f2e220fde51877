// The list of readers, as PC/SC gives it.
#ifndef KV500_DEVICE_READER_LIST_H
#define KV500_DEVICE_READER_LIST_H

#include <string>
#include <vector>

namespace kv500 {

/// The vendor in the names of the readers that the service works with.
inline const std::string readerVendor = "brenvolt GmbH";

struct ReaderMatch {
  unsigned matchCount = 0;  ///< Matching names; the search ends at the second.
  std::string matchName;    ///< The last one.
};

/// Looks for the names that hold both `readerVendor` and `model`, anywhere and exactly. `list` is a
/// run of names that each end in a zero byte, with one more behind the last; a list that is cut off
/// ends there. Any thread.
ReaderMatch findReaders(const std::vector<char>& list, const std::string& model);

}  // namespace kv500

#endif
