#include "platform/simulated/network.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "platform/simulated/ledger.h"
#include "platform/simulated/virtual_time.h"

namespace simulated::network {
namespace {

using platform::INVALID_SOCKET;
using platform::SOCKET;

constexpr std::int32_t failed = -1;

struct Socket {
  std::uint16_t port = 0;      ///< In network byte order.
  std::size_t backlog = 0;     ///< 0: it does not listen.
  std::deque<SOCKET> waiting;  ///< Connections that nobody has accepted yet.
  SOCKET peer = INVALID_SOCKET;
  std::string arrived;
  bool isAtEnd = false;  ///< Nothing more arrives.

  bool isReadable() const { return !waiting.empty() || !arrived.empty() || isAtEnd; }
};

Mutex mutex;
std::map<SOCKET, Socket>& sockets() {
  static auto& all = *new std::map<SOCKET, Socket>;  // Used until the process has ended.
  return all;
}

/// None if there is no such socket. The caller holds the mutex.
Socket* find(SOCKET socket) {
  const auto entry = sockets().find(socket);
  return entry == sockets().end() ? nullptr : &entry->second;
}

void endPeer(const Socket& socket) {
  if (Socket* const peer = find(socket.peer)) {
    peer->isAtEnd = true;
  }
}

SOCKET make(const Socket& socket) {
  const SOCKET number = ledger().newNumber();
  sockets()[number] = socket;
  return number;
}

std::map<SOCKET, Socket>::iterator findListener(std::uint16_t port) {
  return std::find_if(sockets().begin(), sockets().end(), [port](const auto& entry) {
    return entry.second.port == port && entry.second.backlog > 0;
  });
}

bool isReadable(SOCKET socket) {
  const std::lock_guard guard(mutex);
  const Socket* const found = find(socket);
  return found == nullptr || found->isReadable();
}

}  // namespace

SOCKET socket(std::int32_t, std::int32_t, std::int32_t) {
  const std::lock_guard guard(mutex);
  return make({});
}

std::int32_t bind(SOCKET socket, const platform::sockaddr_in& address) {
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr || findListener(address.sin_port) != sockets().end()) {
    return failed;
  }
  found->port = address.sin_port;
  return 0;
}

std::int32_t listen(SOCKET socket, std::int32_t backlog) {
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr) {
    return failed;
  }
  found->backlog = static_cast<std::size_t>(backlog);
  return 0;
}

std::int32_t select(SOCKET socket, std::int32_t microseconds) {
  const auto limit =
      std::chrono::ceil<std::chrono::milliseconds>(std::chrono::microseconds(microseconds));
  return virtualTime().wait([socket] { return isReadable(socket); }, limit) ? 1 : 0;
}

SOCKET accept(SOCKET socket) {
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr || found->waiting.empty()) {
    return INVALID_SOCKET;
  }
  const SOCKET accepted = found->waiting.front();
  found->waiting.pop_front();
  return accepted;
}

std::int32_t recv(SOCKET socket, char* buffer, std::int32_t size) {
  virtualTime().wait([socket] { return isReadable(socket); }, {});
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr) {
    return failed;
  }
  const std::size_t length = std::min(found->arrived.size(), static_cast<std::size_t>(size));
  std::copy_n(found->arrived.begin(), length, buffer);
  found->arrived.erase(0, length);
  return static_cast<std::int32_t>(length);
}

std::int32_t send(SOCKET socket, const char* bytes, std::int32_t size) {
  const std::lock_guard guard(mutex);
  const Socket* const found = find(socket);
  Socket* const peer = found == nullptr ? nullptr : find(found->peer);
  if (peer == nullptr || peer->isAtEnd) {
    return failed;
  }
  peer->arrived.append(bytes, static_cast<std::size_t>(size));
  return size;
}

std::int32_t shutdown(SOCKET socket, std::int32_t) {
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr) {
    return failed;
  }
  endPeer(*found);
  found->isAtEnd = true;
  return 0;
}

std::int32_t closesocket(SOCKET socket) {
  const std::lock_guard guard(mutex);
  Socket* const found = find(socket);
  if (found == nullptr) {
    return failed;
  }
  endPeer(*found);
  for (const SOCKET waiting : found->waiting) {
    endPeer(*find(waiting));
    sockets().erase(waiting);
  }
  sockets().erase(socket);
  return 0;
}

SOCKET connect(std::uint16_t port) {
  const std::lock_guard guard(mutex);
  const auto listener = findListener(platform::htons(port));
  if (listener == sockets().end() || listener->second.waiting.size() >= listener->second.backlog) {
    return INVALID_SOCKET;
  }
  const SOCKET client = make({});
  const SOCKET server = make({});
  find(client)->peer = server;
  find(server)->peer = client;
  listener->second.waiting.push_back(server);
  return client;
}

void finish(SOCKET socket) {
  const std::lock_guard guard(mutex);
  endPeer(*find(socket));
}

}  // namespace simulated::network
