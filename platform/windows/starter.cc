// The service manager starts the service as LocalSystem, which reaches every session, and nobody
// reads what it prints: what a terminal would show stands in the event log.
#include <array>
#include <string_view>

#include "platform/program.h"
#include "platform/sessions.h"
#include "platform/win32/native.h"

namespace platform {

void tellStarter(std::string_view text) {
  std::array<char, 1024> zeroEnded{};
  text.copy(zeroEnded.data(), zeroEnded.size() - 1);
  constexpr DWORD textAlone = 1;  // The message that is its one argument.
  const ::HANDLE log = ::RegisterEventSourceA(nullptr, "KV500Service");
  if (log != nullptr) {
    const char* texts[] = {zeroEnded.data()};
    ::ReportEventA(log, EVENTLOG_ERROR_TYPE, 0, textAlone, nullptr, 1, 0, texts, nullptr);
    ::DeregisterEventSource(log);
  }
}

bool canReachOtherSessions() {
  return true;
}

}  // namespace platform
