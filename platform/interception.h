// What a world may see and decide of the operations that the machine itself carries out for every
// world: events, threads, sockets. The real worlds let everything pass; the simulated one fails a
// chosen call, so that each failure can be tried, and tells its user when the port is open.
#ifndef KV500_PLATFORM_INTERCEPTION_H
#define KV500_PLATFORM_INTERCEPTION_H

#include <cstdint>

namespace platform {

/// Asked before an operation is carried out; true: it fails without being carried out.
/// `detail` tells calls of one operation apart, where it has something to tell them apart by.
/// Any thread.
bool intercepted(const char* operation, std::uint32_t detail = 0);

/// Told after a socket has begun to listen on `port` (host byte order). Any thread.
void listening(std::uint16_t port);

}  // namespace platform

#endif
