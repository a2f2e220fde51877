#include "platform/host.h"
#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {

std::filesystem::path host::programPath() {
  constexpr std::size_t longestPath = 32767;  // Units; the limit of Windows' object manager.
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {  // Ends at the longest path.
    const auto room = static_cast<DWORD>(path.size());
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), room);
    if (length < room || path.size() > longestPath) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

std::string printablePath(const std::filesystem::path& path) {
  std::string text;
  for (const wchar_t unit : path.native()) {
    text += unit < 32 || unit >= 127 ? '~' : static_cast<char>(unit);
  }
  return text;
}

}  // namespace platform
