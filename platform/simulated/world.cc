#include "platform/simulated/world.h"

#include "platform/host.h"
#include "platform/simulated/ledger.h"

namespace simulated {
namespace {

/// Worlds are never destroyed, because a thread of the system may use one until the process has
/// ended.
std::atomic<World*>& currentWorld() {
  static auto& current = *new std::atomic<World*>(new World(nullptr));
  return current;
}

}  // namespace

World::World(World* before) : mutexRealm(platform::host::processId() + "_"), replaced(before) {}

World& world() {
  return *currentWorld();
}

void resetWorld() {
  ledger().endSmartcards();
  currentWorld() = new World(currentWorld());
}

}  // namespace simulated
