// The names that a test's client uses for sockets here.
#ifndef KV500_TESTS_SOCKET_NAMES_H
#define KV500_TESTS_SOCKET_NAMES_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>

namespace kv500 {

using NativeSocket = int;
using NativeLength = std::size_t;
inline constexpr ::timeval patience{15, 0};
inline constexpr int noSignal = MSG_NOSIGNAL;
inline constexpr int sendingHalf = SHUT_WR;

inline NativeSocket makeSocket() {
  return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}
inline void closeSocket(NativeSocket socket) {
  ::close(socket);
}

}  // namespace kv500

#endif
