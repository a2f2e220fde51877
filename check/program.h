// The program kv500-check, but for its entry.
#ifndef KV500_CHECK_PROGRAM_H
#define KV500_CHECK_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

namespace check {

inline const std::string programVersion = "kv500-check " KV500_VERSION;

inline constexpr int exitUsage = 3;  ///< 0, 1 and 2 tell the worst level.

/// How long a look may take.
inline constexpr std::chrono::milliseconds lookLimit{3000};

/// Looks at everything and prints what it has found. `arguments` stand behind the program's name.
/// Gives the exit status. Threads of looks that hang stay behind: the process has to end without
/// taking anything apart.
int runProgram(const std::vector<std::string>& arguments);

}  // namespace check

#endif
