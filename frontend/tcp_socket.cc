#include "frontend/tcp_socket.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>

#include "platform/users.h"
#include "support/lock.h"

namespace kv500 {
namespace {

constexpr std::uint16_t socketLibraryVersion = 0x0101;
constexpr std::int32_t backlog = 32;
constexpr std::int32_t acceptWait = 50'000;    // Microseconds.
constexpr std::int32_t silenceLook = 200'000;  // Microseconds.
constexpr int silenceLooks = 50;               // 10 seconds.
constexpr int silenceLooksInACrowd = 10;       // 2 seconds.
constexpr std::size_t largestRequest = 4096;   // Bytes.

Lock usersLock;
/// The number of living TcpSocket objects. If it is 0, the socket library is not started.
unsigned socketUsers GUARDED_BY(usersLock) = 0;

/// The number of clients turned away so far.
std::atomic<unsigned> turnedAway = 0;

/// Waits for the first byte of a client that came when `before` clients had been turned away. False
/// if it stays silent for too long.
bool hasSpoken(platform::SOCKET socket, unsigned before) {
  for (int looks = 1; looks <= silenceLooks; ++looks) {
    const std::int32_t ready = platform::select(socket, silenceLook);
    if (ready != 0) {
      return ready > 0;
    }
    if (looks >= silenceLooksInACrowd && turnedAway != before) {
      return false;
    }
  }
  return false;
}

}  // namespace

TcpSocket::TcpSocket() {
  const ScopedLock guard(usersLock);
  if (socketUsers++ == 0) {
    platform::WSAStartup(socketLibraryVersion);
  }
}

TcpSocket::~TcpSocket() {
  close();
  const ScopedLock guard(usersLock);
  if (--socketUsers == 0) {
    platform::WSACleanup();
  }
}

bool TcpSocket::bindAndListen(std::uint16_t port, std::uint32_t address) {
  close();
  socket = platform::socket(platform::AF_INET, platform::SOCK_STREAM, 0);
  if (!hasSocket()) {
    return false;
  }
  platform::sockaddr_in endpoint{};
  endpoint.sin_family = platform::AF_INET;
  endpoint.sin_port = platform::htons(port);
  endpoint.sin_addr = address;
  if (platform::bind(socket, endpoint) != 0 || platform::listen(socket, backlog) != 0) {
    close();
    return false;
  }
  return true;
}

bool TcpSocket::acceptPending(TcpSocket& accepted) {
  const std::int32_t ready = platform::select(socket, acceptWait);
  if (ready < 0) {
    throw std::string("Could not check if connection request is pending");
  }
  if (ready == 0) {
    return false;
  }
  accepted.socket = platform::accept(socket);
  accepted.turnedAwayBefore = turnedAway;
  return accepted.hasSocket();
}

bool TcpSocket::hasInput(std::int32_t microseconds) {
  return platform::select(socket, microseconds) > 0;
}

bool TcpSocket::receive(std::string& text) {
  text.clear();
  if (!hasSocket() || !hasSpoken(socket, turnedAwayBefore)) {
    return false;
  }
  std::array<char, largestRequest> buffer;
  const std::int32_t length =
      platform::recv(socket, buffer.data(), static_cast<std::int32_t>(buffer.size()));
  if (length < 0) {
    return false;
  }
  text.assign(buffer.begin(), std::find(buffer.begin(), buffer.begin() + length, '\0'));
  return true;
}

bool TcpSocket::send(const std::string& text) {
  if (!hasSocket()) {
    return false;
  }
  std::size_t offset = 0;
  do {  // Each round sends something or ends; the platform limits the wait.
    const std::int32_t taken = platform::send(socket, text.data() + offset,
                                              static_cast<std::int32_t>(text.size() - offset));
    if (taken < 0 || (taken == 0 && !text.empty())) {
      return false;
    }
    offset += static_cast<std::size_t>(taken);
  } while (offset < text.size());
  return true;
}

std::optional<std::string> TcpSocket::peerUser() const {
  return platform::peerUser(socket);
}

void TcpSocket::handOver(TcpSocket& target) {
  target.socket = socket;
  target.turnedAwayBefore = turnedAwayBefore;
  socket = platform::INVALID_SOCKET;
}

void TcpSocket::turnAway() {
  if (hasSocket()) {
    ++turnedAway;
    close();
  }
}

void TcpSocket::close() {
  if (!hasSocket()) {
    return;
  }
  platform::shutdown(socket, platform::SD_BOTH);
  platform::closesocket(socket);
  socket = platform::INVALID_SOCKET;
}

}  // namespace kv500
