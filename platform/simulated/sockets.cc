// The machine's sockets, or those of memory in virtual time. Each call can be told to fail. What a
// real machine refuses is refused.
#include "platform/sockets.h"

#include <algorithm>

#include "platform/host_handles.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/network.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"
#include "platform/threading.h"

namespace platform {
namespace {

using simulated::ledger;
using simulated::refuse;
using simulated::world;
namespace network = simulated::network;
using Kind = simulated::Ledger::Kind;

constexpr std::int32_t failed = -1;
constexpr std::uint32_t acceptPause = 50;            // Milliseconds.
constexpr std::int32_t versionNotSupported = 10092;  // WSAVERNOTSUPPORTED

/// Whether a call on a socket must be carried out.
bool passes(const char* operation, SOCKET socket, std::uint32_t detail = 0) {
  return !world().faults.take(operation, detail) && ledger().find(operation, Kind::Socket, socket);
}

/// Of two operations the one that fits the world's time.
template <typename Operation>
Operation& pick(Operation& ofMachine, Operation& ofMemory) {
  return simulated::virtualTime().isOn() ? ofMemory : ofMachine;
}

SOCKET given(SOCKET socket) {
  if (socket != INVALID_SOCKET) {
    ledger().give(Kind::Socket, socket);
  }
  return socket;
}

}  // namespace

std::int32_t WSAStartup(std::uint16_t version) {
  if (world().faults.take("WSAStartup")) {
    return failed;
  }
  if (version != 0x0101) {
    return refuse("WSAStartup", "not the version that the calls are of", versionNotSupported);
  }
  return host::WSAStartup(version);
}

std::int32_t WSACleanup() {
  return world().faults.take("WSACleanup") ? failed : host::WSACleanup();
}

SOCKET socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
  if (world().faults.take("socket")) {
    return INVALID_SOCKET;
  }
  if (family != AF_INET || type != SOCK_STREAM || protocol != 0) {
    return refuse("socket", "unknown kind of socket", INVALID_SOCKET);
  }
  return given(pick(host::socket, network::socket)(family, type, protocol));
}

std::int32_t bind(SOCKET socket, const sockaddr_in& address) {
  if (!passes("bind", socket)) {
    return failed;
  }
  if (address.sin_family != AF_INET) {
    return refuse("bind", "unknown address family", failed);
  }
  const std::int32_t result = pick(host::bind, network::bind)(socket, address);
  if (result == 0) {
    // The detail of a socket is its port. htons also turns network byte order into host byte order.
    ledger().give(Kind::Socket, socket, htons(address.sin_port));
  }
  return result;
}

std::int32_t listen(SOCKET socket, std::int32_t backlog) {
  if (!passes("listen", socket)) {
    return failed;
  }
  const auto port = ledger().find("listen", Kind::Socket, socket).value_or(0);
  if (port == 0 || backlog <= 0) {
    return refuse("listen", "a socket without a port, or room for nobody", failed);
  }
  const std::int32_t result = pick(host::listen, network::listen)(socket, backlog);
  if (result == 0 && world().onListening) {
    world().onListening(static_cast<std::uint16_t>(port));
  }
  return result;
}

std::int32_t select(SOCKET socket, std::int32_t microseconds) {
  if (!passes("select", socket, static_cast<std::uint32_t>(microseconds))) {
    return failed;
  }
  return microseconds < 0 ? refuse("select", "a negative time", failed)
                          : pick(host::select, network::select)(socket, microseconds);
}

SOCKET accept(SOCKET socket) {
  if (world().faults.take("accept")) {
    Sleep(acceptPause);
    return INVALID_SOCKET;
  }
  return ledger().find("accept", Kind::Socket, socket)
             ? given(pick(host::accept, network::accept)(socket))
             : INVALID_SOCKET;
}

std::int32_t recv(SOCKET socket, char* buffer, std::int32_t size) {
  if (!passes("recv", socket)) {
    return failed;
  }
  if (buffer == nullptr || size <= 0) {
    return refuse("recv", "no buffer", failed);
  }
  std::fill_n(buffer, size, '?');  // The caller must own the whole buffer.
  return pick(host::recv, network::recv)(socket, buffer, size);
}

std::int32_t send(SOCKET socket, const char* bytes, std::int32_t size) {
  if (!passes("send", socket)) {
    return failed;
  }
  return bytes == nullptr || size < 0 ? refuse("send", "no bytes", failed)
                                      : pick(host::send, network::send)(socket, bytes, size);
}

std::int32_t shutdown(SOCKET socket, std::int32_t how) {
  if (!passes("shutdown", socket)) {
    return failed;
  }
  return how == SD_BOTH ? pick(host::shutdown, network::shutdown)(socket, how)
                        : refuse("shutdown", "unknown direction", failed);
}

std::int32_t closesocket(SOCKET socket) {
  const auto code = world().faults.take("closesocket");  // It is given back in any case.
  const bool closed = ledger().takeBack("closesocket", Kind::Socket, socket) &&
                      pick(host::closesocket, network::closesocket)(socket) == 0;
  return closed && !code ? 0 : failed;
}

}  // namespace platform
