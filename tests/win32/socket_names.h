// The names that a test's client uses for sockets here.
#ifndef KV500_TESTS_SOCKET_NAMES_H
#define KV500_TESTS_SOCKET_NAMES_H

#include <winsock2.h>

namespace kv500 {

using NativeSocket = ::SOCKET;
using NativeLength = int;
inline constexpr DWORD patience = 15'000;  // Milliseconds.
inline constexpr int noSignal = 0;
inline constexpr int sendingHalf = SD_SEND;

inline NativeSocket makeSocket() {
  ::WSADATA data;
  ::WSAStartup(MAKEWORD(2, 2), &data);
  return ::socket(AF_INET, SOCK_STREAM, 0);
}
inline void closeSocket(NativeSocket socket) {
  ::closesocket(socket);
  ::WSACleanup();
}

}  // namespace kv500

#endif
