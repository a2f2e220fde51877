// A user is the number of an account. The kernel is asked for the socket at the other end
// (sock_diag(7)). This is one exact look-up; it does not search all sockets of the machine.
#include "platform/users.h"

// After the seam's header: the system's header defines some of its names as macros of the same
// value.
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace platform {

const std::string systemUser = "0";

namespace {

struct Request {
  ::nlmsghdr header;
  ::inet_diag_req_v2 socket;
};

struct Reply {
  ::nlmsghdr header;
  ::inet_diag_msg socket;
};

class NetlinkSocket {
 public:
  NetlinkSocket() : socket_(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)) {
    const ::timeval limit{1, 0};  // The kernel answers within the call that asks.
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  }
  ~NetlinkSocket() { ::close(socket_); }
  NetlinkSocket(const NetlinkSocket&) = delete;
  NetlinkSocket& operator=(const NetlinkSocket&) = delete;

  /// The kernel's record of a socket. None if there is no such socket.
  std::optional<::inet_diag_msg> ask(const Request& request) const {
    // Space for the attributes after the record, which are ignored.
    alignas(Reply) char buffer[4096];
    if (::send(socket_, &request, sizeof(request), 0) != sizeof(request)) {
      return std::nullopt;
    }
    const auto length = ::recv(socket_, buffer, sizeof(buffer), 0);
    Reply reply;
    if (length < static_cast<::ssize_t>(sizeof(reply))) {
      return std::nullopt;
    }
    std::memcpy(&reply, buffer, sizeof(reply));
    return reply.header.nlmsg_type == SOCK_DIAG_BY_FAMILY ? std::optional(reply.socket)
                                                          : std::nullopt;
  }

 private:
  const int socket_;
};

/// Asks for the socket at the other end: its own address is the peer of this connection, and its
/// peer is the address of this connection.
std::optional<Request> requestFor(int connection) {
  ::sockaddr_in own{};
  ::sockaddr_in peer{};
  ::socklen_t ownLength = sizeof(own);
  ::socklen_t peerLength = sizeof(peer);
  if (::getsockname(connection, reinterpret_cast<::sockaddr*>(&own), &ownLength) != 0 ||
      ::getpeername(connection, reinterpret_cast<::sockaddr*>(&peer), &peerLength) != 0) {
    return std::nullopt;
  }
  Request request{};
  request.header.nlmsg_len = sizeof(request);
  request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.socket.sdiag_family = AF_INET;
  request.socket.sdiag_protocol = IPPROTO_TCP;
  request.socket.idiag_states = ~0u;
  request.socket.id.idiag_sport = peer.sin_port;
  request.socket.id.idiag_dport = own.sin_port;
  request.socket.id.idiag_src[0] = peer.sin_addr.s_addr;
  request.socket.id.idiag_dst[0] = own.sin_addr.s_addr;
  request.socket.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  request.socket.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return request;
}

}  // namespace

std::optional<std::string> peerUser(SOCKET connection) {
  const auto request = requestFor(static_cast<int>(connection));
  const auto found = request ? NetlinkSocket().ask(*request) : std::nullopt;
  // A socket that its program has closed belongs to nobody: it has no inode any more and shows root
  // as its user.
  return found && found->idiag_inode != 0 ? std::optional(std::to_string(found->idiag_uid))
                                          : std::nullopt;
}

}  // namespace platform
