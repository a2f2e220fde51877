// Line ends of text files: the program uses a line feed, files hold carriage return and line feed.
// This is the same on every platform.
#ifndef KV500_PLATFORM_LINE_ENDS_H
#define KV500_PLATFORM_LINE_ENDS_H

#include <string>

namespace platform {

/// Removes each carriage return that is directly before a line feed. Any thread.
std::string fromStored(const std::string& stored);

/// Puts a carriage return before each line feed. Any thread.
std::string toStored(const std::string& text);

}  // namespace platform

#endif
