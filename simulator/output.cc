#include "simulator/output.h"

#include <iostream>
#include <mutex>

namespace simulator {
namespace {

std::string narrow(const std::u16string& text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += unit == u'\n' ? "\\n" : std::string(1, static_cast<char>(unit & 0xFF));
  }
  return bytes;
}

}  // namespace

void printLine(const std::string& line) {
  static auto& outputLock = *new std::mutex;  // Used until the process has ended.
  const std::lock_guard guard(outputLock);
  std::cout << line + "\n" << std::flush;
}

std::string noticeLine(const simulated::Notice& notice) {
  return "notice " + narrow(notice.title) + " | " + narrow(notice.text);
}

}  // namespace simulator
