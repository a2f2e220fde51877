// Line ends of text files: the program uses a line feed, files hold carriage return and line feed.
// This is the same on every platform.
#ifndef KV500_PLATFORM_LINE_ENDS_H
#define KV500_PLATFORM_LINE_ENDS_H

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace platform {

/// Removes each carriage return that is directly before a line feed. Any thread.
std::string fromStored(const std::string& stored);

/// Puts a carriage return before each line feed of the pieces and hands the bytes to `write`, which
/// takes address and size and tells whether to go on. All of them at once, unless they are more
/// than 16 KiB. False if `write` said not to go on. Takes no memory from the heap, so that the log
/// can tell that there is none.
template <typename Write>
bool writeStored(std::initializer_list<std::string_view> pieces, Write write) {
  std::array<char, 16384> bytes;
  std::size_t size = 0;
  for (const std::string_view piece : pieces) {
    for (const char c : piece) {
      if (size + 2 > bytes.size()) {
        if (!write(bytes.data(), size)) {
          return false;
        }
        size = 0;
      }
      if (c == '\n') {
        bytes[size++] = '\r';
      }
      bytes[size++] = c;
    }
  }
  return write(bytes.data(), size);
}

}  // namespace platform

#endif
