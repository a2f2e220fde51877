#include "platform/command_line.h"

#include <cstddef>

namespace platform {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string takeProgram(const std::string& text, std::size_t& at) {
  const bool quoted = !text.empty() && text[0] == '"';
  const std::size_t begin = quoted ? 1 : 0;
  std::size_t end = quoted ? text.find('"', begin) : text.find_first_of(" \t");
  if (end == std::string::npos) {
    end = text.size();
  }
  at = quoted && end < text.size() ? end + 1 : end;
  return text.substr(begin, end - begin);
}

std::string takeArgument(const std::string& text, std::size_t& at) {
  std::string argument;
  bool quoted = false;
  while (at < text.size() && (quoted || !isBlank(text[at]))) {
    std::size_t backslashes = 0;
    while (at < text.size() && text[at] == '\\') {
      ++backslashes;
      ++at;
    }
    if (at == text.size() || text[at] != '"') {
      argument.append(backslashes, '\\');
      if (at < text.size() && (quoted || !isBlank(text[at]))) {
        argument += text[at++];
      }
      continue;
    }
    argument.append(backslashes / 2, '\\');
    ++at;
    if (backslashes % 2 == 1) {
      argument += '"';
    } else if (quoted && at < text.size() && text[at] == '"') {
      argument += text[at++];  // Two marks inside quotation marks stand for one ordinary mark.
    } else {
      quoted = !quoted;
    }
  }
  return argument;
}

}  // namespace

std::vector<std::string> splitCommandLine(const std::string& commandLine) {
  std::vector<std::string> parts;
  if (commandLine.empty()) {
    return parts;
  }
  std::size_t at = 0;
  parts.push_back(takeProgram(commandLine, at));
  for (;;) {  // Each round consumes at least one character or leaves.
    while (at < commandLine.size() && isBlank(commandLine[at])) {
      ++at;
    }
    if (at == commandLine.size()) {
      return parts;
    }
    parts.push_back(takeArgument(commandLine, at));
  }
}

}  // namespace platform
