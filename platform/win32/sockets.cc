#include "platform/host_handles.h"

#include "platform/win32/native.h"

// No socket is inherited, because no process is started with inheritance.

namespace platform {
namespace {

/// How long one write may wait for a peer that does not read. Answers fit into the system's buffer,
/// so only a hostile client gets here.
constexpr DWORD writeLimit = 10'000;  // Milliseconds.

::sockaddr* toNative(::sockaddr_in& address) {
  return reinterpret_cast<::sockaddr*>(&address);
}

void setBlocking(::SOCKET socket, bool blocking) {
  u_long nonBlocking = blocking ? 0 : 1;
  ::ioctlsocket(socket, static_cast<long>(FIONBIO), &nonBlocking);
}

}  // namespace

std::int32_t host::WSAStartup(std::uint16_t version) {
  ::WSADATA data;
  return ::WSAStartup(version, &data);
}
std::int32_t host::WSACleanup() {
  return ::WSACleanup();
}

SOCKET host::socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
  return ::socket(family, type, protocol);
}

std::int32_t host::bind(SOCKET socket, const sockaddr_in& address) {
  // Without this another program of the same user may bind the same port and take its clients.
  const BOOL on = TRUE;
  ::setsockopt(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
               sizeof(on));
  ::sockaddr_in native{};
  native.sin_family = static_cast<short>(address.sin_family);
  native.sin_port = address.sin_port;
  native.sin_addr.s_addr = address.sin_addr;
  return ::bind(socket, toNative(native), sizeof(native));
}

std::int32_t host::listen(SOCKET socket, std::int32_t backlog) {
  if (::listen(socket, backlog) != 0) {
    return -1;
  }
  // If a connection has gone before `accept`, that call must not wait for the next one.
  setBlocking(socket, false);
  return 0;
}

std::int32_t host::select(SOCKET socket, std::int32_t microseconds) {
  ::fd_set readable;
  readable.fd_count = 1;
  readable.fd_array[0] = socket;
  constexpr std::int32_t second = 1'000'000;
  ::timeval limit{microseconds / second, microseconds % second};
  return ::select(0, &readable, nullptr, nullptr, &limit);
}

SOCKET host::accept(SOCKET socket) {
  const ::SOCKET connection = ::accept(socket, nullptr, nullptr);
  if (connection == INVALID_SOCKET) {
    const int error = ::WSAGetLastError();
    if (error == WSAEMFILE || error == WSAENOBUFS) {
      // The connection stays in the queue and would be reported again at once, in an endless loop.
      ::Sleep(50);
    }
    return INVALID_SOCKET;
  }
  setBlocking(connection, true);  // It has inherited the listener's mode.
  ::setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, reinterpret_cast<const char*>(&writeLimit),
               sizeof(writeLimit));
  return connection;
}

std::int32_t host::recv(SOCKET socket, char* buffer, std::int32_t size) {
  return ::recv(socket, buffer, size, 0);
}

std::int32_t host::send(SOCKET socket, const char* bytes, std::int32_t size) {
  return ::send(socket, bytes, size, 0);
}

std::int32_t host::shutdown(SOCKET socket, std::int32_t how) {
  return ::shutdown(socket, how);
}

std::int32_t host::closesocket(SOCKET socket) {
  return ::closesocket(socket);
}

std::uint16_t htons(std::uint16_t port) {
  return ::htons(port);
}

std::uint32_t inet_addr(const char* text) {
  return ::inet_addr(text);
}

}  // namespace platform
