#include "platform/host.h"
#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {

const char16_t pathSeparator = u'\\';

std::u16string host::programPath() {
  constexpr std::size_t longestPath = 32767;  // Units, of a path in Windows' object manager.
  std::u16string path(MAX_PATH, u'\0');
  for (;;) {  // Ends at the longest path.
    const auto room = static_cast<DWORD>(path.size());
    const DWORD length = ::GetModuleFileNameW(nullptr, win32::toNative(path.data()), room);
    if (length < room || path.size() > longestPath) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

}  // namespace platform
