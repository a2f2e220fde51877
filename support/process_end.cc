#include "support/process_end.h"

#include <string>

#include "platform/program.h"
#include "support/log.h"

namespace kv500 {

namespace {

[[noreturn]] void endAfter(const std::string& text) {
  logMessage(text, "");
  platform::tellStarter(text);
  endProcess(1);
}

}  // namespace

void endProcess(int exitCode) {
  platform::ExitProcess(static_cast<std::uint32_t>(exitCode));
}

void endProcessOnFailure(const std::function<void()>& work) {
  try {
    work();
    return;
  } catch (const std::string& text) {
    endAfter(text);
  } catch (...) {
    // Its text comes from a library and does not belong in this log.
    endAfter("Unhandled exception");
  }
}

}  // namespace kv500
