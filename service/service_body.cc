#include "service/service_body.h"

#include <memory>

#include "device/pcsc_service.h"
#include "support/process_end.h"

namespace kv500 {
namespace {

/// Made before `main`, above which no handler stands.
const Event& makeStopEvent() {
  const Event* event = nullptr;
  endProcessOnFailure([&event] { event = new Event(Event::Reset::Manual); });
  return *event;
}

}  // namespace

const Event& serviceStopEvent = makeStopEvent();

void serviceBody(const ServiceArguments&) {
  // Like its device and its server it is never released: the watcher, the listener and the workers
  // use it, the lock in it above all, until the process is gone.
  auto& service = *new PcscService(serviceStopEvent);
  service.start();
  serviceStopEvent.wait();
  service.takeDown();
}

void requestStop() {
  serviceStopEvent.set();
}

}  // namespace kv500
