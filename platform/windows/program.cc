#include "platform/program.h"

#include <cstdlib>

#include "platform/host.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

/// This runs before `main`, and so before any library is loaded beyond those that the program is
/// linked with. Libraries are searched in Windows' own folder, not in the program's folder or the
/// working directory.
const bool onlySystemLibraries = ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);

}  // namespace

void ExitProcess(std::uint32_t exitCode) {
  // Windows' ExitProcess first stops the other threads wherever they are, and then tells every
  // library that the process ends. A stopped thread that held a lock would block the end.
  ::TerminateProcess(::GetCurrentProcess(), exitCode);
  std::abort();  // Never reached: a process may always end itself.
}

HANDLE CreateMutexA(bool, const char* name) {
  return host::createNamedMutex(name);
}

}  // namespace platform
