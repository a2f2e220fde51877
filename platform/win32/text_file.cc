#include <cstddef>

#include "platform/line_ends.h"
#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

constexpr std::size_t largestTextFile = std::size_t{1} << 20;

/// Opens an ordinary file and shares it with all who read, write, rename or delete it.
/// INVALID_HANDLE_VALUE for anything else, such as the names of devices.
::HANDLE openOrdinaryFile(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const ::HANDLE file = ::CreateFileW(path.c_str(), access, shared, nullptr, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE && ::GetFileType(file) != FILE_TYPE_DISK) {
    ::CloseHandle(file);
    return INVALID_HANDLE_VALUE;
  }
  return file;
}

/// Reads up to one byte more than the limit, so the caller can detect a file that is too large.
std::string readLimited(::HANDLE file) {
  std::string content(largestTextFile + 1, '\0');
  std::size_t length = 0;
  while (length < content.size()) {
    DWORD got = 0;
    const auto room = static_cast<DWORD>(content.size() - length);
    if (!::ReadFile(file, content.data() + length, room, &got, nullptr) || got == 0) {
      break;
    }
    length += got;
  }
  content.resize(length);
  return content;
}

}  // namespace

bool readTextFile(const std::filesystem::path& path, std::string& content) {
  const ::HANDLE file = openOrdinaryFile(path, GENERIC_READ, OPEN_EXISTING);
  if (file == INVALID_HANDLE_VALUE) {
    return false;
  }
  const std::string raw = readLimited(file);
  ::CloseHandle(file);
  if (raw.size() > largestTextFile) {
    return false;
  }
  content = fromStored(raw);
  return true;
}

AppendStream::~AppendStream() {
  if (win32::toNative(static_cast<std::uintptr_t>(file_)) != INVALID_HANDLE_VALUE) {
    ::CloseHandle(win32::toNative(static_cast<std::uintptr_t>(file_)));
  }
}

void AppendStream::open(const std::filesystem::path& path) {
  // With this right alone every write goes to the end of the file, even if others have moved the
  // end.
  file_ = static_cast<std::intptr_t>(
      win32::toSeam(openOrdinaryFile(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS)));
}

void AppendStream::write(const std::string& text) {
  const ::HANDLE file = win32::toNative(static_cast<std::uintptr_t>(file_));
  if (file == INVALID_HANDLE_VALUE) {
    return;
  }
  const std::string stored = toStored(text);
  std::size_t offset = 0;
  while (offset < stored.size()) {
    DWORD taken = 0;
    const auto rest = static_cast<DWORD>(stored.size() - offset);
    if (!::WriteFile(file, stored.data() + offset, rest, &taken, nullptr) || taken == 0) {
      ::CloseHandle(file);
      file_ = -1;
      return;
    }
    offset += taken;
  }
}

}  // namespace platform
