#include "service/service_body.h"

#include <memory>
#include <string>

#include "device/pcsc_service.h"
#include "support/process_end.h"

namespace kv500 {
namespace {

/// Made before `main`, where no exception handler is active.
const Event& makeStopEvent() {
  const Event* event = nullptr;
  endProcessOnFailure([&event] { event = new Event(Event::Reset::Manual); });
  return *event;
}

}  // namespace

const Event& serviceStopEvent = makeStopEvent();

void serviceBody(const ServiceArguments&) {
  // Never released, like its device and its server: the watcher, the listener and the workers use
  // it, above all the lock in it, until the process has ended.
  auto& service = *new PcscService(serviceStopEvent);
  service.start();
  if (!serviceStopEvent.wait()) {
    throw std::string("Could not wait for the stop event");
  }
  service.takeDown();
}

void requestStop() {
  serviceStopEvent.set();
}

}  // namespace kv500
