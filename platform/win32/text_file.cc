#include <array>
#include <cstddef>

#include "platform/host.h"
#include "platform/line_ends.h"
#include "platform/program.h"
#include "platform/win32/native.h"

namespace platform {
namespace {

constexpr std::size_t largestTextFile = std::size_t{1} << 20;
/// INVALID_HANDLE_VALUE. That macro would take the seam's type of the same name here.
const ::HANDLE noFile = win32::toNative(~std::uintptr_t{0});

/// Opens an ordinary file and shares it with all who read, write, rename or delete it.
/// `noFile` for anything else, such as the names of devices.
::HANDLE openOrdinaryFile(const std::filesystem::path& path, DWORD access, DWORD disposition) {
  constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const ::HANDLE file = ::CreateFileW(path.c_str(), access, shared, nullptr, disposition,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != noFile && ::GetFileType(file) != FILE_TYPE_DISK) {
    ::CloseHandle(file);
    ::SetLastError(ERROR_BAD_FILE_TYPE);
    return noFile;
  }
  return file;
}

/// Reads until the content is larger than the limit, so the caller can detect such a file. Gives 0,
/// or the error that ended the reading.
DWORD readLimited(::HANDLE file, std::string& content) {
  std::array<char, 4096> piece;
  while (content.size() <= largestTextFile) {
    DWORD got = 0;
    if (!::ReadFile(file, piece.data(), static_cast<DWORD>(piece.size()), &got, nullptr)) {
      return ::GetLastError();
    }
    if (got == 0) {
      break;
    }
    content.append(piece.data(), got);
  }
  return ERROR_SUCCESS;
}

void tellOfFile(const char* what, const std::filesystem::path& path, const std::string& cause) {
  tellStarter(what + printablePath(path) + ": " + cause);
}

}  // namespace

bool host::readTextFile(const std::filesystem::path& path, std::string& content) {
  const ::HANDLE file = openOrdinaryFile(path, GENERIC_READ, OPEN_EXISTING);
  if (file == noFile) {
    const DWORD error = ::GetLastError();
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) {
      tellOfFile("Not read: ", path, "error " + std::to_string(error));
    }
    return false;
  }
  std::string raw;
  const DWORD error = readLimited(file, raw);
  ::CloseHandle(file);
  if (raw.size() > largestTextFile) {
    tellOfFile("Not read: ", path, "it is larger than 1 MiB");
    return false;
  }
  if (error != ERROR_SUCCESS) {
    tellOfFile("Not read to its end: ", path, "error " + std::to_string(error));
  }
  content = fromStored(raw);
  return true;
}

std::intptr_t host::openToAppend(const std::filesystem::path& path) {
  // With this right alone every write goes to the end of the file, even if others have moved the
  // end.
  return static_cast<std::intptr_t>(
      win32::toSeam(openOrdinaryFile(path, FILE_APPEND_DATA | SYNCHRONIZE, OPEN_ALWAYS)));
}

bool host::append(std::intptr_t file, std::initializer_list<std::string_view> pieces) {
  const ::HANDLE native = win32::toNative(static_cast<std::uintptr_t>(file));
  return native != noFile && writeStored(pieces, [native](const char* bytes, std::size_t size) {
           std::size_t offset = 0;
           while (offset < size) {
             DWORD taken = 0;
             const auto rest = static_cast<DWORD>(size - offset);
             if (!::WriteFile(native, bytes + offset, rest, &taken, nullptr) || taken == 0) {
               return false;
             }
             offset += taken;
           }
           return true;
         });
}

void host::closeFile(std::intptr_t file) {
  const ::HANDLE native = win32::toNative(static_cast<std::uintptr_t>(file));
  if (native != noFile) {
    ::CloseHandle(native);
  }
}

}  // namespace platform
