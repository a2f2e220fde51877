// Where the files beside the program lie.
#ifndef KV500_SUPPORT_PROGRAM_FOLDER_H
#define KV500_SUPPORT_PROGRAM_FOLDER_H

#include <string>

namespace kv500 {

/// The path of the file `fileName` in the folder of `programPath`: the path up to its last
/// separator, a separator, and each byte of the name as one unit. A path without a separator is
/// used whole. Any thread.
std::u16string pathBeside(const std::u16string& programPath, const std::string& fileName);

/// The same for the running program. The working directory plays no part.
std::u16string pathBesideProgram(const std::string& fileName);

}  // namespace kv500

#endif
