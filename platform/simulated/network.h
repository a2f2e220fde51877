// Stream sockets made of memory, for virtual time: what one end sends is at the other end before
// the clock can move. They take everything at once and are as large as the memory.
#ifndef KV500_PLATFORM_SIMULATED_NETWORK_H
#define KV500_PLATFORM_SIMULATED_NETWORK_H

#include "platform/sockets.h"

namespace simulated::network {

// Each operation is described at the operation of the seam with the same name.
decltype(platform::socket) socket;
decltype(platform::bind) bind;
decltype(platform::listen) listen;
decltype(platform::select) select;
decltype(platform::accept) accept;
decltype(platform::recv) recv;
decltype(platform::send) send;
decltype(platform::shutdown) shutdown;
decltype(platform::closesocket) closesocket;

/// A client's connection to a port; INVALID_SOCKET if nobody listens or the queue is full. The
/// client uses it with the operations above, and not with those of the seam.
platform::SOCKET connect(std::uint16_t port);
/// Ends the sending half of a client's connection.
void finish(platform::SOCKET socket);

}  // namespace simulated::network

#endif
