#include "platform/host_handles.h"

// The system's header defines some of the seam's names as macros. Their values are 2, 1, 2 on Linux
// too, so the seam's numbers can be passed on.
#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#undef htons

namespace platform {
namespace {

/// How long one write may wait for a peer that does not read. Answers fit into the kernel's buffer,
/// so only a hostile client gets here.
constexpr ::timeval writeLimit{10, 0};

int descriptor(SOCKET socket) {
  return static_cast<int>(socket);
}
SOCKET toSocket(int fd) {
  return fd < 0 ? INVALID_SOCKET : static_cast<SOCKET>(fd);
}

/// Lets a wait of at least 50 ms for a connection end up to 450 ms late. An idle service's wake-ups
/// are nearly all of what it costs, and the listener's come every 50 ms. The kernel then lays them
/// together with others. A connection ends the wait at once all the same.
class LateWait {
 public:
  LateWait(int fd, std::int32_t microseconds) : isLate(microseconds >= 50'000 && isListener(fd)) {
    if (isLate) {
      ::prctl(PR_SET_TIMERSLACK, 450'000'000UL);  // Nanoseconds.
    }
  }
  ~LateWait() {
    if (isLate) {
      ::prctl(PR_SET_TIMERSLACK, 0UL);  // The thread's usual value.
    }
  }
  LateWait(const LateWait&) = delete;
  LateWait& operator=(const LateWait&) = delete;

 private:
  static bool isListener(int fd) {
    int answer = 0;
    ::socklen_t length = sizeof(answer);
    return ::getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &answer, &length) == 0 && answer != 0;
  }

  const bool isLate;
};

/// Repeats a system call that a signal interrupted.
template <typename Call>
auto uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) {  // Signals are rare; each repeat waits for the next one.
    result = call();
  }
  return result;
}

}  // namespace

std::int32_t host::WSAStartup(std::uint16_t) {
  return 0;
}
std::int32_t host::WSACleanup() {
  return 0;
}

SOCKET host::socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
  return toSocket(::socket(family, type | SOCK_CLOEXEC, protocol));
}

std::int32_t host::bind(SOCKET socket, const sockaddr_in& address) {
  // Without this the port of a service that has just ended would be closed to its successor for a
  // minute. A port that somebody listens on is still refused.
  const int on = 1;
  ::setsockopt(descriptor(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  ::sockaddr_in native{};
  static_assert(sizeof(native) == sizeof(address));
  std::memcpy(&native, &address, sizeof(native));
  return ::bind(descriptor(socket), reinterpret_cast<const ::sockaddr*>(&native), sizeof(native));
}

std::int32_t host::listen(SOCKET socket, std::int32_t backlog) {
  if (::listen(descriptor(socket), backlog) != 0) {
    return -1;
  }
  // A connection that is gone again before `accept` must not make that call wait for the next.
  ::fcntl(descriptor(socket), F_SETFL, O_NONBLOCK);
  return 0;
}

std::int32_t host::select(SOCKET socket, std::int32_t microseconds) {
  const LateWait lateWait(descriptor(socket), microseconds);
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::microseconds(microseconds);
  ::pollfd entry{descriptor(socket), POLLIN, 0};
  const int ready = uninterrupted([&] {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return ::poll(&entry, 1, left > 0 ? static_cast<int>(left) : 0);
  });
  return (entry.revents & POLLNVAL) != 0 ? -1 : ready;
}

SOCKET host::accept(SOCKET socket) {
  const int fd = uninterrupted(
      [socket] { return ::accept4(descriptor(socket), nullptr, nullptr, SOCK_CLOEXEC); });
  if (fd < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)) {
    // The connection stays in the queue and would be reported again at once, in an endless loop.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  if (fd >= 0) {
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &writeLimit, sizeof(writeLimit));
  }
  return toSocket(fd);
}

std::int32_t host::recv(SOCKET socket, char* buffer, std::int32_t size) {
  const auto length = static_cast<std::size_t>(size);
  return static_cast<std::int32_t>(
      uninterrupted([&] { return ::recv(descriptor(socket), buffer, length, 0); }));
}

std::int32_t host::send(SOCKET socket, const char* bytes, std::int32_t size) {
  const auto length = static_cast<std::size_t>(size);
  // MSG_MORE: the end of an answer is sent together with the end of the connection. That saves a
  // packet, and a client that has the whole answer finds its worker free.
  return static_cast<std::int32_t>(uninterrupted(
      [&] { return ::send(descriptor(socket), bytes, length, MSG_NOSIGNAL | MSG_MORE); }));
}

std::int32_t host::shutdown(SOCKET socket, std::int32_t how) {
  static_assert(SHUT_RDWR == SD_BOTH);
  return ::shutdown(descriptor(socket), how);
}

std::int32_t host::closesocket(SOCKET socket) {
  return ::close(descriptor(socket));
}

std::uint16_t htons(std::uint16_t port) {
  const auto high = static_cast<std::uint8_t>(port >> 8);
  const std::uint8_t bytes[] = {high, static_cast<std::uint8_t>(port & 0xFF)};
  std::uint16_t result;
  std::memcpy(&result, bytes, sizeof(result));
  return result;
}

std::uint32_t inet_addr(const char* text) {
  return ::inet_addr(text);
}

}  // namespace platform
