// The commands on the simulator's standard input.
#ifndef KV500_SIMULATOR_COMMANDS_H
#define KV500_SIMULATOR_COMMANDS_H

#include <string>

namespace simulator {

/// Carries out one line and gives its answer: "ok", or "error: " and the reason. `quit` is no
/// command of the world and is unknown here. Any thread.
std::string runCommand(const std::string& line);

}  // namespace simulator

#endif
