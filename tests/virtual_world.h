// What programs share that run the service in virtual time.
#ifndef KV500_TESTS_VIRTUAL_WORLD_H
#define KV500_TESTS_VIRTUAL_WORLD_H

#include <sched.h>

#include <string>

#include "platform/simulated/network.h"

namespace kv500 {

/// One thread of the world runs at a time. It wakes the next one several times faster on its own
/// processor. Call it before there are others.
inline void stayOnProcessor(int number) {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(static_cast<std::size_t>(number), &processors);
  sched_setaffinity(0, sizeof(processors), &processors);
}
inline void stayOnThisProcessor() {
  stayOnProcessor(sched_getcpu());
}

/// Everything that arrives until the other side closes.
inline std::string receiveAll(platform::SOCKET socket) {
  std::string text;
  char buffer[4096];
  std::int32_t length = 0;
  while ((length = simulated::network::recv(socket, buffer, sizeof(buffer))) > 0) {
    text.append(buffer, static_cast<std::size_t>(length));
  }
  return text;
}

/// The whole answer to a request; empty if there is none.
inline std::string askPort(std::uint16_t port, const std::string& request) {
  const platform::SOCKET socket = simulated::network::connect(port);
  simulated::network::send(socket, request.data(), static_cast<std::int32_t>(request.size()));
  const std::string answer = receiveAll(socket);
  simulated::network::closesocket(socket);
  return answer;
}

}  // namespace kv500

#endif
