// Stream sockets over IPv4, as Winsock names them.
//
// A socket is used by one thread at a time. No socket is inherited by a process that the system
// starts. A write to a connection whose peer has gone fails; it raises no signal.
#ifndef KV500_PLATFORM_SOCKETS_H
#define KV500_PLATFORM_SOCKETS_H

#include <cstdint>

namespace platform {

using SOCKET = std::uintptr_t;
inline constexpr SOCKET INVALID_SOCKET = ~SOCKET{0};

inline constexpr std::int32_t AF_INET = 2;
inline constexpr std::int32_t SOCK_STREAM = 1;
inline constexpr std::int32_t SD_BOTH = 2;

/// An IPv4 socket address in the layout that every platform shares: 16 bytes, port and address in
/// network byte order.
struct sockaddr_in {
  std::uint16_t sin_family;
  std::uint16_t sin_port;
  std::uint32_t sin_addr;
  std::uint8_t sin_zero[8];
};

/// Starts the socket library (version 0x0101 is 1.1). Call it once per process, before any socket.
std::int32_t WSAStartup(std::uint16_t version);
/// Ends the use of the socket library.
std::int32_t WSACleanup();

/// Makes a socket. INVALID_SOCKET on failure.
SOCKET socket(std::int32_t family, std::int32_t type, std::int32_t protocol);

/// Binds the socket. 0 on success. On every platform the port of a process that has just ended can
/// be bound again at once; the port of a running process can't.
std::int32_t bind(SOCKET socket, const sockaddr_in& address);

/// Listens, with `backlog` connections waiting at most. 0 on success.
std::int32_t listen(SOCKET socket, std::int32_t backlog);

/// Waits until the socket can be read (data, a connection to accept, or the peer's end). Gives 1 if
/// it can, 0 after `microseconds`, and a negative number on failure. A wait of at least 50 ms for a
/// connection may be up to 450 ms late, so that an idle machine sleeps longer.
std::int32_t select(SOCKET socket, std::int32_t microseconds);

/// Takes the next waiting connection. INVALID_SOCKET on failure. If the connection stays in the
/// queue because the machine lacks something for it, the call takes 50 ms.
SOCKET accept(SOCKET socket);

/// Reads what is available, at most `size` bytes. Waits if nothing is available. Gives the number
/// of bytes, 0 if the peer has closed, a negative number on failure.
std::int32_t recv(SOCKET socket, char* buffer, std::int32_t size);

/// Writes at most `size` bytes. Gives the number of bytes taken, a negative number on failure. An
/// incomplete packet may be held back until the following shutdown, for at most 200 ms.
std::int32_t send(SOCKET socket, const char* bytes, std::int32_t size);

/// Shuts the connection down (SD_BOTH: in both directions).
std::int32_t shutdown(SOCKET socket, std::int32_t how);
std::int32_t closesocket(SOCKET socket);

/// A port in network byte order.
std::uint16_t htons(std::uint16_t port);
/// The IPv4 address of a dotted text in network byte order; all bits set if the text is no address.
std::uint32_t inet_addr(const char* text);

}  // namespace platform

#endif
