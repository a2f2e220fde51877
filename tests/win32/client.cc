#include "tests/client.h"

#include <winsock2.h>

namespace kv500 {
namespace {

::sockaddr_in loopback(std::uint16_t port) {
  ::sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// A socket's number fits into 32 bits, as that of every handle. -1 if there is none.
int makeSocket() {
  ::WSADATA data;
  ::WSAStartup(MAKEWORD(2, 2), &data);
  return static_cast<int>(::socket(AF_INET, SOCK_STREAM, 0));
}

::SOCKET native(int socket) {
  return static_cast<::SOCKET>(socket);
}

void close(int socket) {
  ::closesocket(native(socket));
  ::WSACleanup();
}

}  // namespace

Client::Client(std::uint16_t port) : socket_(makeSocket()) {
  const DWORD limit = 15'000;  // Milliseconds.
  ::setsockopt(native(socket_), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit),
               sizeof(limit));
  const auto address = loopback(port);
  if (::connect(native(socket_), reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) !=
      0) {
    close(socket_);
    socket_ = -1;
  }
}

Client::~Client() {
  if (isConnected()) {
    close(socket_);
  }
}

void Client::send(const std::string& text) const {
  ::send(native(socket_), text.data(), static_cast<int>(text.size()), 0);
}

void Client::finish() const {
  ::shutdown(native(socket_), SD_SEND);
}

std::string Client::receiveAll() const {
  std::string text;
  char buffer[4096];
  for (;;) {
    const int length = ::recv(native(socket_), buffer, sizeof(buffer), 0);
    if (length <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(length));
  }
}

std::uint16_t freePort() {
  // Below the range that the system gives to outgoing connections, and different in each process.
  static auto next = static_cast<std::uint16_t>(10000 + ::GetCurrentProcessId() * 7 % 20000);
  for (;;) {
    const int socket = makeSocket();
    const auto address = loopback(++next);
    const bool isFree =
        ::bind(native(socket), reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) == 0;
    close(socket);
    if (isFree) {
      return next;
    }
  }
}

}  // namespace kv500
