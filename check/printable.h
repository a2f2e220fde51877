// Makes texts from outside fit for a terminal.
#ifndef KV500_CHECK_PRINTABLE_H
#define KV500_CHECK_PRINTABLE_H

#include <cstddef>
#include <string>
#include <vector>

namespace check {

/// The text in UTF-8 (RFC 3629). A question mark replaces each control character (C0, C1, DEL, and
/// those that change the direction of writing) and each byte that is no UTF-8. Line feeds become
/// blanks unless they are kept. Any thread.
std::string printable(const std::string& bytes, bool keepLineFeeds = false);

/// The text itself, or its first `size` bytes and an ellipsis. Any thread.
std::string shortened(const std::string& text, std::size_t size);

/// The texts with a separator between them. Any thread.
std::string joined(const std::vector<std::string>& texts, const std::string& separator = ", ");

}  // namespace check

#endif
