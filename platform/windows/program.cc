#include "platform/program.h"

#include <cstdlib>

#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

/// Before `main`, and so before any library is loaded beyond those that the program is linked with:
/// Windows' own folder is searched, the program's folder and the working directory are not.
const bool onlySystemLibraries = ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);

}  // namespace

void ExitProcess(std::uint32_t exitCode) {
  // Windows' operation of that name tells every library first that the process ends, after it has
  // stopped the other threads wherever they stand: one that held a lock would hold up the end.
  ::TerminateProcess(::GetCurrentProcess(), exitCode);
  std::abort();  // Never reached: a process may always end itself.
}

HANDLE CreateMutexA(bool, const char* name) {
  return host::createNamedMutex(name);
}

}  // namespace platform
