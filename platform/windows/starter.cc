// The service manager starts the service as LocalSystem, which reaches every session, and nobody
// reads what it prints: what a terminal would show stands in the event log.
#include "platform/program.h"
#include "platform/sessions.h"
#include "platform/win32/native.h"

namespace platform {

void tellStarter(const std::string& text) {
  constexpr DWORD textAlone = 1;  // The message that is its one argument.
  const ::HANDLE log = ::RegisterEventSourceA(nullptr, "KV500Service");
  if (log != nullptr) {
    const char* texts[] = {text.c_str()};
    ::ReportEventA(log, EVENTLOG_ERROR_TYPE, 0, textAlone, nullptr, 1, 0, texts, nullptr);
    ::DeregisterEventSource(log);
  }
}

bool canReachOtherSessions() {
  return true;
}

}  // namespace platform
