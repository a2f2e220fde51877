// A command line taken apart by the quoting rules that Windows programs follow.
#ifndef KV500_PLATFORM_COMMAND_LINE_H
#define KV500_PLATFORM_COMMAND_LINE_H

#include <string>
#include <vector>

namespace platform {

/// Splits a command line into program and arguments. If it begins with a quotation mark, the
/// program ends at the next one, otherwise at the first blank. Backslashes in the program are
/// ordinary characters. Blanks separate the arguments, but not between quotation marks. 2n
/// backslashes before a quotation mark stand for n backslashes; one more backslash makes the mark
/// an ordinary character. Empty if the text is empty. Any thread.
std::vector<std::string> splitCommandLine(const std::string& commandLine);

}  // namespace platform

#endif
