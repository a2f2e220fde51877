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

/// Looks for the names that contain both `readerVendor` and `model`, anywhere, in exactly this
/// spelling. In `list` each name ends in a zero byte, and one more zero byte follows the last name.
/// A list that is cut off ends there. Any thread.
ReaderMatch findReaders(const std::vector<char>& list, const std::string& model);

}  // namespace kv500

#endif
