// Files, one connection and the terminal: the parts that are the same on every POSIX system.
#include "platform/inspection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t mostReply = 65536;  // Bytes.

FileFacts::Kind kindOf(::mode_t mode) {
  return S_ISREG(mode)   ? FileFacts::Kind::Ordinary
         : S_ISDIR(mode) ? FileFacts::Kind::Folder
                         : FileFacts::Kind::Other;
}

/// Whether nobody can write, not even root, for example on a read-only file system.
bool isUnwritable(const std::filesystem::path& path) {
  return ::access(path.c_str(), W_OK) != 0 && (errno == EROFS || ::geteuid() == 0);
}

/// Whether root can read a file without the right to override permissions. This is how the
/// installed service runs.
bool isReadableForService(const struct ::stat& status) {
  const ::mode_t right = status.st_uid == 0 ? S_IRUSR : status.st_gid == 0 ? S_IRGRP : S_IROTH;
  return (status.st_mode & right) != 0;
}

/// Closes the descriptor at its end.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return number_; }

 private:
  const int number_;
};

bool isProgramFile(const std::string& path) {
  struct ::stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

bool isReady(int socket, short event, Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  ::pollfd entry{socket, event, 0};
  return left > 0 && ::poll(&entry, 1, static_cast<int>(left)) == 1;
}

bool connectToLoopback(int socket, std::uint16_t port, Clock::time_point end) {
  ::sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(socket, reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) == 0) {
    return true;
  }
  int error = 0;
  ::socklen_t length = sizeof(error);
  return errno == EINPROGRESS && isReady(socket, POLLOUT, end) &&
         ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

bool print(std::FILE* stream, const std::string& text) {
  return std::fwrite(text.data(), 1, text.size(), stream) == text.size() &&
         std::fflush(stream) == 0;
}

}  // namespace

FileFacts inspectFile(const std::filesystem::path& path) {
  FileFacts facts;
  struct ::stat status;
  if (::stat(path.c_str(), &status) != 0) {
    facts.kind = errno == EACCES ? FileFacts::Kind::Hidden : FileFacts::Kind::Absent;
    const auto folder = path.has_parent_path() ? path.parent_path() : ".";
    facts.unwritable = ::access(folder.c_str(), F_OK) == 0 && isUnwritable(folder);
    return facts;
  }
  facts.kind = kindOf(status.st_mode);
  facts.readable = ::access(path.c_str(), R_OK) == 0;
  facts.readableForService = isReadableForService(status);
  facts.unwritable = isUnwritable(path);
  facts.size = static_cast<std::uint64_t>(status.st_size);
  return facts;
}

std::string readFileEnd(const std::filesystem::path& path, std::size_t bytes) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct ::stat status;
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return {};
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  std::string content(std::min(size, bytes), '\0');
  const auto got = ::pread(file.get(), content.data(), content.size(),
                           static_cast<::off_t>(size - content.size()));
  content.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
  return content;
}

bool isProgram(const std::string& command) {
  if (command.find('/') != std::string::npos) {
    return isProgramFile(command);
  }
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "/usr/local/bin:/usr/bin:/bin" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (!folder.empty() && isProgramFile(folder + "/" + command)) {
      return true;
    }
  }
  return false;
}

Reply askPort(std::uint16_t port, const std::string& request, std::uint32_t milliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
  const Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  Reply reply;
  reply.connected = connectToLoopback(socket.get(), port, end);
  // The system's buffer has room for a request of a line or two.
  if (!reply.connected || ::send(socket.get(), request.data(), request.size(), MSG_NOSIGNAL) < 0) {
    reply.ended = reply.connected;
    return reply;
  }
  char buffer[4096];
  while (reply.bytes.size() < mostReply && isReady(socket.get(), POLLIN, end)) {
    const auto got = ::recv(socket.get(), buffer, sizeof(buffer), 0);
    if (got <= 0) {
      reply.ended = got == 0 || errno != EAGAIN;
      return reply;
    }
    reply.bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return reply;
}

bool writeFile(const std::filesystem::path& path, const std::string& content) {
  std::FILE* const file = std::fopen(path.c_str(), "we");
  const bool written =
      file != nullptr && std::fwrite(content.data(), 1, content.size(), file) == content.size();
  return file != nullptr && std::fclose(file) == 0 && written;
}

std::filesystem::path fromUtf8(const std::string& text) {
  return text;
}

std::string toUtf8(const std::filesystem::path& native) {
  return native.native();
}

std::string userLanguage() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(name);
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  return {};
}

bool printText(const std::string& text) {
  return print(stdout, text);
}

bool printError(const std::string& text) {
  return print(stderr, text);
}

}  // namespace platform
