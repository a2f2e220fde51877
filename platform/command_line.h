// A command line taken apart by the quoting rules that Windows programs follow.
#ifndef KV500_PLATFORM_COMMAND_LINE_H
#define KV500_PLATFORM_COMMAND_LINE_H

#include <string>
#include <vector>

namespace platform {

/// Splits a command line into program and arguments. The program ends at the next quotation mark
/// if it begins with one, else at the first blank; backslashes in it are ordinary. In the
/// arguments blanks separate, quotation marks hold blanks together, 2n backslashes before a
/// quotation mark are n backslashes, and one more makes the mark an ordinary character.
/// Empty if the text is empty. Any thread.
std::vector<std::string> splitCommandLine(const std::string& commandLine);

}  // namespace platform

#endif
