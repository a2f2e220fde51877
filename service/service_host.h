// The host: talks to the Service Control Manager and calls the work of the service through three
// hooks.
#ifndef KV500_SERVICE_SERVICE_HOST_H
#define KV500_SERVICE_SERVICE_HOST_H

#include <cstdint>
#include <string>
#include <vector>

namespace kv500 {

/// The arguments that the Service Control Manager passes to the service.
using ServiceArguments = std::vector<std::u16string>;

/// What the host calls. Set it before the dispatcher starts; it is only read afterwards.
struct ServiceHooks {
  void (*runHook)(const ServiceArguments& arguments) = nullptr;   ///< The service's work.
  void (*initHook)(const ServiceArguments& arguments) = nullptr;  ///< Before RUNNING is reported.
  void (*stopHook)() = nullptr;  ///< Between STOP_PENDING and STOPPED.
};
extern ServiceHooks serviceHooks;

/// Runs the service of that name to its end. Called on the thread of `main`. Raises "Could not
/// create mutex", "Service already running", and "Could not connect to service controller". If the
/// program was started by hand, raises "This program must be started as service" after a person has
/// read why.
void runService(const std::string& name);

/// The entry on the service thread. Reports START_PENDING and RUNNING and then does the work. After
/// that it does not return; it ends with the process. It returns if the service manager refuses the
/// control handler or one of the two reports; whoever started the program has been told then, and
/// the process ends with exit code 1.
void ServiceMain(std::uint32_t count, char16_t** arguments);

/// Receives the controls, on the dispatcher's thread. The stop control is served at once; others
/// are ignored.
void serviceControlHandler(std::uint32_t control);

/// Reports STOP_PENDING, calls the stop hook and reports STOPPED. Does nothing more if the first
/// report is refused. Any thread. Raises what the stop hook raises.
void reportStop();

}  // namespace kv500

#endif
