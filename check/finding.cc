#include "check/finding.h"

#include <algorithm>

#include "check/printable.h"

namespace check {

std::string Message::in(Language language) const {
  constexpr std::size_t longestArgument = 1000;  // Bytes.
  const std::string pattern = language == Language::German ? phrase_.german : phrase_.english;
  std::string text;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const bool isPlace = pattern[at] == '{' && at + 2 < pattern.size() && pattern[at + 2] == '}';
    const auto number = isPlace ? static_cast<std::size_t>(pattern[at + 1] - '0') : 0;
    if (isPlace && number < arguments_.size()) {
      text += printable(shortened(arguments_[number], longestArgument));
      at += 2;
    } else {
      text += pattern[at];
    }
  }
  return text;
}

void notWorseThanWarn(Findings& findings) {
  for (Finding& finding : findings) {
    finding.level = std::min(finding.level, Level::Warn);
  }
}

Level worstOf(const Findings& findings) {
  Level worst = Level::Ok;
  for (const Finding& finding : findings) {
    worst = std::max(worst, finding.level);
  }
  return worst;
}

}  // namespace check
