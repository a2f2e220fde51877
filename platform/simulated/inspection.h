// What the simulated machine tells about itself.
#ifndef KV500_PLATFORM_SIMULATED_INSPECTION_H
#define KV500_PLATFORM_SIMULATED_INSPECTION_H

#include <map>
#include <optional>

#include "platform/inspection.h"

namespace simulated {

/// A test sets it before anything asks for it.
struct Inspection {
  Inspection();

  platform::ServiceFacts service;  ///< Running unless set.
  /// If this is not set, the smart-card service has the state of the readers' model.
  std::optional<platform::ServiceFacts> smartcardService;
  std::vector<platform::Listener> listeners;  ///< At every port.
  std::optional<std::uint16_t> servicePort;   ///< That of the service's process, if known.
  std::vector<platform::PortRange> reservedPorts;
  std::uint32_t deviceProblem = 0;
  std::map<std::uint32_t, platform::SessionFacts> sessions;  ///< Others have a user at the screen.
  std::vector<platform::PolicyValue> policies;
  /// Replaces what the model of the reader says, for example for a card that does not answer.
  std::optional<std::uint32_t> readerState;
};

}  // namespace simulated

#endif
