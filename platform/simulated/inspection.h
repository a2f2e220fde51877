// What the simulated machine says of itself.
#ifndef KV500_PLATFORM_SIMULATED_INSPECTION_H
#define KV500_PLATFORM_SIMULATED_INSPECTION_H

#include <map>
#include <optional>

#include "platform/inspection.h"

namespace simulated {

/// A test sets it before anybody looks.
struct Inspection {
  Inspection();

  platform::ServiceFacts service;  ///< Runs unless set.
  /// Without one the smart-card service says of itself what the readers' model has it do.
  std::optional<platform::ServiceFacts> smartcardService;
  std::vector<platform::Listener> listeners;
  std::vector<platform::PortRange> reservedPorts;
  std::uint32_t deviceProblem = 0;
  std::map<std::uint32_t, platform::SessionFacts> sessions;  ///< Others have a user at the screen.
  std::vector<platform::PolicyValue> policies;
  /// In place of what the reader's model says, such as a card that does not answer.
  std::optional<std::uint32_t> readerState;
};

}  // namespace simulated

#endif
