#include "tests/client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kv500 {
namespace {

::sockaddr_in loopback(std::uint16_t port) {
  ::sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace

Client::Client(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const ::timeval limit{15, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  const auto address = loopback(port);
  if (::connect(socket_, reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) != 0) {
    ::close(socket_);
    socket_ = -1;
  }
}

Client::~Client() {
  if (isConnected()) {
    ::close(socket_);
  }
}

void Client::send(const std::string& text) const {
  (void)!::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
}

void Client::finish() const {
  ::shutdown(socket_, SHUT_WR);
}

std::string Client::receiveAll() const {
  std::string text;
  char buffer[4096];
  for (;;) {
    const auto length = ::recv(socket_, buffer, sizeof(buffer), 0);
    if (length <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(length));
  }
}

std::uint16_t freePort() {
  // Below the range that the system gives to outgoing connections, and different in each process.
  static std::uint16_t next = static_cast<std::uint16_t>(10000 + ::getpid() * 7 % 20000);
  for (;;) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = loopback(++next);
    const bool isFree =
        ::bind(socket, reinterpret_cast<const ::sockaddr*>(&address), sizeof(address)) == 0;
    ::close(socket);
    if (isFree) {
      return next;
    }
  }
}

}  // namespace kv500
