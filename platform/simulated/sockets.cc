// The machine's sockets, each call of which can be told to fail.
#include "platform/sockets.h"

#include "platform/host_handles.h"
#include "platform/simulated/world.h"

namespace platform {
namespace {

using simulated::world;

constexpr std::int32_t failed = -1;

}  // namespace

std::int32_t WSAStartup(std::uint16_t version) {
  return world().faults.take("WSAStartup") ? failed : host::WSAStartup(version);
}

std::int32_t WSACleanup() {
  return world().faults.take("WSACleanup") ? failed : host::WSACleanup();
}

SOCKET socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
  return world().faults.take("socket") ? INVALID_SOCKET : host::socket(family, type, protocol);
}

std::int32_t bind(SOCKET socket, const sockaddr_in& address) {
  if (world().faults.take("bind")) {
    return failed;
  }
  const std::int32_t result = host::bind(socket, address);
  if (result == 0) {
    world().boundPort = htons(address.sin_port);  // Turns network byte order into the host's, too.
  }
  return result;
}

std::int32_t listen(SOCKET socket, std::int32_t backlog) {
  if (world().faults.take("listen")) {
    return failed;
  }
  const std::int32_t result = host::listen(socket, backlog);
  if (result == 0 && world().onListening) {
    world().onListening(world().boundPort);
  }
  return result;
}

std::int32_t select(SOCKET socket, std::int32_t microseconds) {
  return world().faults.take("select", static_cast<std::uint32_t>(microseconds))
             ? failed
             : host::select(socket, microseconds);
}

SOCKET accept(SOCKET socket) {
  return world().faults.take("accept") ? INVALID_SOCKET : host::accept(socket);
}

std::int32_t recv(SOCKET socket, char* buffer, std::int32_t size) {
  return world().faults.take("recv") ? failed : host::recv(socket, buffer, size);
}

std::int32_t send(SOCKET socket, const char* bytes, std::int32_t size) {
  return world().faults.take("send") ? failed : host::send(socket, bytes, size);
}

std::int32_t shutdown(SOCKET socket, std::int32_t how) {
  return world().faults.take("shutdown") ? failed : host::shutdown(socket, how);
}

std::int32_t closesocket(SOCKET socket) {
  return host::closesocket(socket);
}

}  // namespace platform
