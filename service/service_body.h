// The work of the service: starts its parts and waits for the stop.
#ifndef KV500_SERVICE_SERVICE_BODY_H
#define KV500_SERVICE_SERVICE_BODY_H

#include "service/service_host.h"
#include "support/event.h"

namespace kv500 {

/// The only stop signal of the system. It is set once a stop is requested and never reset.
extern const Event& serviceStopEvent;

/// Starts the working parts and returns after a stop has been requested. Runs on the service
/// thread. Raises what PcscService::start raises and "Could not wait for the stop event".
void serviceBody(const ServiceArguments& arguments);

/// Sets the stop event. Any thread. Raises "Could not set event".
void requestStop();

}  // namespace kv500

#endif
