// The start of the working parts.
#include <string>

#include "device/kv500.h"
#include "device/pcsc_service.h"
#include "frontend/server.h"

namespace kv500 {

void PcscService::start() {
  device = new KV500(this);
  name = device->name();
  server = new Server(device);
  const auto run = [](void* self) { static_cast<PcscService*>(self)->runGuarded(); };
  if (!pcscThread.start(run, this)) {
    throw std::string("Could not start PCSC service thread!");
  }
}

}  // namespace kv500
