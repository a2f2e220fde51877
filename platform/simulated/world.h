// The simulated world around the system: everything behind the platform seam except the machine's
// threads, sockets and files.
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
#include <string_view>

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

  /// Prefix of the names of named mutexes, so that each process has its own world. It is the
  /// process id unless set before the mutexes are made.
  std::string mutexRealm;

  /// The path that the program seems to have; empty: its real path. Set it before the system
  /// starts.
  std::filesystem::path programPath;

  // Times that stand still once set; -1: the times of the machine.
  std::atomic<std::int64_t> clockTime = -1;     ///< Milliseconds, for `clock`.
  std::atomic<std::int64_t> calendarTime = -1;  ///< Seconds, for `_time64`.

  // Called if set. Set them before the system starts. They are called on any thread.
  std::function<void(std::uint16_t port)> onListening;
  /// Receives what whoever started the program is told, which otherwise goes to standard error.
  std::function<void(std::string_view text)> onTold;
  std::function<void(std::uint32_t exitCode)> onExit;  ///< The process ends when it returns.

  World* const replaced;  ///< The previous world, which a thread may still use.
};

/// The only world of this process. Any thread.
World& world();

/// Replaces the world by a new one. Threads that still use the old world find it intact.
void resetWorld();

}  // namespace simulated

#endif
