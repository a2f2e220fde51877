// The command line of kv500-check.
#ifndef KV500_CHECK_OPTIONS_H
#define KV500_CHECK_OPTIONS_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "check/finding.h"

namespace check {

struct Options {
  bool help = false;
  bool version = false;
  bool json = false;
  Language language = Language::English;
  std::optional<std::string> folder;
  std::optional<std::string> reportFile;
  std::chrono::seconds wait{0};
};

/// What is wrong with a command line, in the language that it asks for. Thrown by value.
struct UsageError {
  Message message;
  Language language;
};

/// Parses the arguments behind the program's name. `language` is the user's. Throws UsageError.
Options parseOptions(const std::vector<std::string>& arguments, Language language);

}  // namespace check

#endif
