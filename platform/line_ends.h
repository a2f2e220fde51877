// Line ends of text files: a line feed in the program, carriage return and line feed on disk, on
// every platform alike.
#ifndef KV500_PLATFORM_LINE_ENDS_H
#define KV500_PLATFORM_LINE_ENDS_H

#include <string>

namespace platform {

/// Drops each carriage return that stands directly before a line feed. Any thread.
std::string fromStored(const std::string& stored);

/// Puts a carriage return before each line feed. Any thread.
std::string toStored(const std::string& text);

}  // namespace platform

#endif
