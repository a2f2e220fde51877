#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

#include "platform/host.h"
#include "platform/line_ends.h"
#include "platform/program.h"

namespace platform {
namespace {

constexpr std::size_t largestTextFile = std::size_t{1} << 20;

/// Opens an ordinary file. Refuses anything else without waiting: a pipe would otherwise block the
/// service until somebody opened its other end.
int openOrdinaryFile(const std::filesystem::path& path, int flags) {
  const int file = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0644);
  struct ::stat status;
  if (file >= 0 && (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode))) {
    ::close(file);
    errno = EINVAL;
    return -1;
  }
  return file;
}

/// Reads until the content is larger than the limit, so the caller can detect such a file. Gives 0,
/// or the error that ended the reading.
int readLimited(int file, std::string& content) {
  std::array<char, 4096> piece;
  while (content.size() <= largestTextFile) {
    const auto got = ::read(file, piece.data(), piece.size());
    if (got == 0 || (got < 0 && errno != EINTR)) {
      return got == 0 ? 0 : errno;
    }
    content.append(piece.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
  }
  return 0;
}

void tellOfFile(const char* what, const std::filesystem::path& path, const std::string& cause) {
  tellStarter(what + printablePath(path) + ": " + cause);
}

}  // namespace

bool host::readTextFile(const std::filesystem::path& path, std::string& content) {
  const int file = openOrdinaryFile(path, O_RDONLY);
  if (file < 0) {
    const int error = errno;
    if (error != ENOENT) {
      tellOfFile("Not read: ", path, std::strerror(error));
    }
    return false;
  }
  std::string raw;
  const int error = readLimited(file, raw);
  ::close(file);
  if (raw.size() > largestTextFile) {
    tellOfFile("Not read: ", path, "it is larger than 1 MiB");
    return false;
  }
  if (error != 0) {
    tellOfFile("Not read to its end: ", path, std::strerror(error));
  }
  content = fromStored(raw);
  return true;
}

std::intptr_t host::openToAppend(const std::filesystem::path& path) {
  // If the file has reached the size limit of this process, the write fails; the process must not
  // end.
  std::signal(SIGXFSZ, SIG_IGN);
  return openOrdinaryFile(path, O_WRONLY | O_APPEND | O_CREAT);
}

bool host::append(std::intptr_t file, std::initializer_list<std::string_view> pieces) {
  return file >= 0 && writeStored(pieces, [file](const char* bytes, std::size_t size) {
           std::size_t offset = 0;
           while (offset < size) {
             const auto taken = ::write(static_cast<int>(file), bytes + offset, size - offset);
             if (taken == 0 || (taken < 0 && errno != EINTR)) {
               return false;
             }
             offset += taken > 0 ? static_cast<std::size_t>(taken) : 0;
           }
           return true;
         });
}

void host::closeFile(std::intptr_t file) {
  if (file >= 0) {
    ::close(static_cast<int>(file));
  }
}

}  // namespace platform
