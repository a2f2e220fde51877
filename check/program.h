// The program kv500-check without its entry point.
#ifndef KV500_CHECK_PROGRAM_H
#define KV500_CHECK_PROGRAM_H

#include <chrono>
#include <string>
#include <vector>

namespace check {

inline const std::string programVersion = "kv500-check " KV500_VERSION;

inline constexpr int exitUsage = 3;  ///< 0, 1 and 2 stand for the worst level.

/// How long a look may take.
inline constexpr std::chrono::milliseconds lookLimit{3000};

/// Runs all looks and prints what they find. `arguments` are those behind the program's name. Gives
/// the exit status. Threads of looks that hang continue, so the process must end without destroying
/// anything.
int runProgram(const std::vector<std::string>& arguments);

}  // namespace check

#endif
