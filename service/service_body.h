// The work of the service: its parts are started, and the stop is waited for.
#ifndef KV500_SERVICE_SERVICE_BODY_H
#define KV500_SERVICE_SERVICE_BODY_H

#include "service/service_host.h"
#include "support/event.h"

namespace kv500 {

/// The system's one stop signal: set once a stop is asked for and never reset.
extern const Event& serviceStopEvent;

/// Starts the working parts and returns after a stop has been requested. Runs on the service
/// thread. Raises what PcscService::start raises.
void serviceBody(const ServiceArguments& arguments);

/// Sets the stop event. Any thread. Raises "Could not set event".
void requestStop();

}  // namespace kv500

#endif
