// One socket handle, and the only place that calls the socket interface.
#ifndef KV500_FRONTEND_TCP_SOCKET_H
#define KV500_FRONTEND_TCP_SOCKET_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/sockets.h"

namespace kv500 {

/// A socket or none. It belongs to one thread at a time. The first living object starts the socket
/// library; the last one cleans it up.
class TcpSocket {
 public:
  TcpSocket();
  /// Closes the socket, if there is one.
  ~TcpSocket();
  TcpSocket(const TcpSocket&) = delete;
  TcpSocket& operator=(const TcpSocket&) = delete;

  /// Listens on a port (host byte order) of an IPv4 address (network byte order), with room for 32
  /// waiting connections. If that fails, returns false and there is no socket.
  bool bindAndListen(std::uint16_t port, std::uint32_t address);

  /// Waits 50 ms for a connection, or as much longer as `select` may, and puts it into `accepted`,
  /// which must hold no socket. True if it holds one now. Raises "Could not check if connection
  /// request is pending".
  bool acceptPending(TcpSocket& accepted);

  /// Waits at most `microseconds` until there is something to read. False if there is nothing, or
  /// if waiting fails.
  bool hasInput(std::int32_t microseconds);

  /// Replaces `text` by the result of one read: at most 4096 bytes, cut at the first zero byte.
  /// True with an empty text if the peer has closed. False if there is no socket, if the read
  /// fails, or if nothing arrives within 10 seconds. The limit is 2 seconds if another client is
  /// turned away meanwhile. Browsers open spare connections, which would otherwise keep every
  /// worker from its work.
  bool receive(std::string& text);

  /// Sends the whole text. False if there is no socket or the peer takes no more.
  bool send(const std::string& text);

  /// The user whose program is at the other end. None if that is unknown.
  std::optional<std::string> peerUser() const;

  /// Moves the socket to `target`, which must have none. This object has none afterwards.
  void handOver(TcpSocket& target);

  /// Closes the connection of a client that can't be served now. Does nothing without a socket.
  /// From then on silent clients on all threads are closed earlier.
  void turnAway();

  /// Shuts the connection down in both directions and closes it. Does nothing without a socket.
  void close();

  bool hasSocket() const { return socket != platform::INVALID_SOCKET; }

 private:
  platform::SOCKET socket = platform::INVALID_SOCKET;
  /// How many clients had been turned away when this one was accepted.
  unsigned turnedAwayBefore = 0;
};

}  // namespace kv500

#endif
