// The world around the system, made of memory: everything behind the platform seam that threads,
// sockets and files of the machine don't give.
//
// It is a model, not a list of canned calls: a person or a test changes the world, and the system
// finds out through the same calls as on a real machine.
#ifndef KV500_PLATFORM_SIMULATED_WORLD_H
#define KV500_PLATFORM_SIMULATED_WORLD_H

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/simulated/faults.h"
#include "platform/simulated/inspection.h"
#include "platform/simulated/readers.h"
#include "platform/simulated/service_manager.h"
#include "platform/simulated/sessions.h"

namespace simulated {

struct World {
  explicit World(World* before);

  Readers readers;
  Sessions sessions;
  ServiceManager serviceManager;
  Faults faults;
  Inspection inspection;

  /// Goes in front of the names of named mutexes, so that each process has a world of its own; it
  /// is the process id unless set before they are made.
  std::string mutexRealm;

  /// Where the program seems to lie; empty: where it does. Set before the system starts.
  std::filesystem::path programPath;

  // Times that stand still once they are set; -1: the machine's.
  std::atomic<std::int64_t> clockTime = -1;     ///< Milliseconds, for `clock`.
  std::atomic<std::int64_t> calendarTime = -1;  ///< Seconds, for `_time64`.

  // Told once set, which is done before the system starts. Called on any thread.
  std::function<void(std::uint16_t port)> onListening;
  std::function<void(std::uint32_t exitCode)> onExit;  ///< The process ends when it returns.

  World* const replaced;  ///< The world before this one, which some thread may still use.
};

/// The one world of this process. Any thread.
World& world();

/// A new world in place of the one so far. Threads that still use the old one find it intact.
void resetWorld();

}  // namespace simulated

#endif
