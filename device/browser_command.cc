#include "device/browser_command.h"

#include <algorithm>

namespace kv500 {
namespace {

bool leavesTheQuotes(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte == '"' || byte < 0x20 || byte == 0x7F;
}

}  // namespace

std::string browserCommandLine(const std::string& browserCommand, const std::string& url,
                               const std::string& cardId) {
  std::string commandLine = "\"" + browserCommand + "\"";
  if (!url.empty()) {
    const bool isHarmless = std::none_of(cardId.begin(), cardId.end(), leavesTheQuotes);
    commandLine += " \"" + url + (isHarmless ? cardId : "") + "\"";
  }
  return commandLine;
}

}  // namespace kv500
