#include "tests/client.h"

#include "platform/host.h"
#include "socket_names.h"

namespace kv500 {
namespace {

/// Calls `operation`, which is `connect` or `bind`, with an address. True if it succeeds.
template <typename Operation>
bool succeeds(Operation operation, NativeSocket socket, std::uint16_t port, const char* host) {
  ::sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = ::inet_addr(host);
  return operation(socket, reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) == 0;
}

NativeSocket native(std::uintptr_t socket) {
  return static_cast<NativeSocket>(socket);
}

}  // namespace

Client::Client(std::uint16_t port, const char* host)
    : socket_(static_cast<std::uintptr_t>(makeSocket())) {
  ::setsockopt(native(socket_), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
               sizeof(patience));
  isConnected_ = succeeds(::connect, native(socket_), port, host);
}

Client::~Client() {
  closeSocket(native(socket_));
}

void Client::send(const std::string& text) const {
  (void)!::send(native(socket_), text.data(), static_cast<NativeLength>(text.size()), noSignal);
}

void Client::finish() const {
  ::shutdown(native(socket_), sendingHalf);
}

std::string Client::receiveAll() const {
  std::string text;
  char buffer[4096];
  for (;;) {
    const auto length = ::recv(native(socket_), buffer, sizeof(buffer), 0);
    if (length <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(length));
  }
}

std::uint16_t freePort() {
  // Below the range of ports for outgoing connections, and different in each process.
  static auto next =
      static_cast<std::uint16_t>(10000 + std::stoul(platform::host::processId()) * 7 % 20000);
  for (;;) {
    const NativeSocket socket = makeSocket();
    const bool isFree = succeeds(::bind, socket, ++next, "127.0.0.1");
    closeSocket(socket);
    if (isFree) {
      return next;
    }
  }
}

}  // namespace kv500
