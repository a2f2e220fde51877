// The simulator's command line.
#ifndef KV500_SIMULATOR_OPTIONS_H
#define KV500_SIMULATOR_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

struct Options {
  bool help = false;
  bool unplugged = false;
  std::optional<std::string> cardFolder;
  std::optional<std::string> traceFile;
  std::chrono::milliseconds apduTime{0};
};

/// What is wrong with a command line; thrown by value.
struct UsageError {
  std::string message;
};

/// Parses the arguments behind the program's name. Throws UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

/// The text of --help.
std::string helpText();

}  // namespace simulator

#endif
