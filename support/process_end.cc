#include "support/process_end.h"

#include <new>
#include <string>
#include <string_view>

#include "platform/program.h"
#include "support/log.h"

namespace kv500 {

namespace {

/// Takes no memory from the heap: there may be none left.
[[noreturn]] void endAfter(std::string_view text) {
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
  } catch (const std::bad_alloc&) {
    endAfter("Out of memory");
  } catch (...) {
    // Its text comes from a library and does not belong in this log.
    endAfter("Unhandled exception");
  }
}

}  // namespace kv500
