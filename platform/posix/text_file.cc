#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

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

/// Reads up to one byte more than the limit, so the caller can detect a file that is too large.
std::string readLimited(int file) {
  std::string content(largestTextFile + 1, '\0');
  std::size_t length = 0;
  while (length < content.size()) {
    const auto got = ::read(file, content.data() + length, content.size() - length);
    if (got == 0 || (got < 0 && errno != EINTR)) {
      break;
    }
    length += got > 0 ? static_cast<std::size_t>(got) : 0;
  }
  content.resize(length);
  return content;
}

}  // namespace

bool readTextFile(const std::filesystem::path& path, std::string& content) {
  const int file = openOrdinaryFile(path, O_RDONLY);
  const int error = errno;
  if (file < 0 && error == ENOENT) {
    return false;  // The file does not exist.
  }
  const std::string raw = file < 0 ? "" : readLimited(file);
  ::close(file);
  if (file < 0 || raw.size() > largestTextFile) {
    const std::string cause = file < 0 ? std::strerror(error) : "it is larger than 1 MiB";
    tellStarter("Not read: " + printablePath(path) + ": " + cause);
    return false;
  }
  content = fromStored(raw);
  return true;
}

AppendStream::~AppendStream() {
  if (file_ >= 0) {
    ::close(static_cast<int>(file_));
  }
}

void AppendStream::open(const std::filesystem::path& path) {
  // If the file has reached the size limit of this process, the write fails; the process must not
  // end.
  std::signal(SIGXFSZ, SIG_IGN);
  file_ = openOrdinaryFile(path, O_WRONLY | O_APPEND | O_CREAT);
}

void AppendStream::write(const std::string& text) {
  if (file_ < 0) {
    return;
  }
  const std::string stored = toStored(text);
  std::size_t offset = 0;
  while (offset < stored.size()) {
    const auto taken =
        ::write(static_cast<int>(file_), stored.data() + offset, stored.size() - offset);
    if (taken == 0 || (taken < 0 && errno != EINTR)) {
      ::close(static_cast<int>(file_));
      file_ = -1;
      return;
    }
    offset += taken > 0 ? static_cast<std::size_t>(taken) : 0;
  }
}

}  // namespace platform
