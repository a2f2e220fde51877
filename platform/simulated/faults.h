// Failures on demand: any platform operation can be told to fail or to wait.
#ifndef KV500_PLATFORM_SIMULATED_FAULTS_H
#define KV500_PLATFORM_SIMULATED_FAULTS_H

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/simulated/mutex.h"
#include "platform/simulated/virtual_time.h"

namespace simulated {

/// Which calls of an operation fail or are held. All operations may be called from any thread.
class Faults {
 public:
  struct Plan {
    std::uint32_t code = 1;  ///< The result for operations that give an error code.
    unsigned skip = 0;       ///< Calls that still succeed before.
    unsigned times = 1;      ///< Calls that fail after those.
    std::optional<std::uint32_t> detail = {};  ///< Only calls with this detail count.
  };

  void fail(const std::string& operation) { fail(operation, Plan{}); }
  void fail(const std::string& operation, Plan plan);
  /// From now on no call fails any more.
  void clear();

  /// Asks `decide` about each call before the plans: it gives the code with which the call fails,
  /// or none. It is called under a lock of the world and may not call the platform.
  using Decision =
      std::function<std::optional<std::uint32_t>(std::string_view operation, std::uint32_t detail)>;
  void leaveTo(Decision decide);

  /// Holds the next call of the operation until it is released. The call then continues.
  void hold(const std::string& operation);
  void letGo(const std::string& operation);

  /// Counts a call and holds it if it is to be held. Tells whether it must fail, and with what
  /// code.
  std::optional<std::uint32_t> take(std::string_view operation, std::uint32_t detail = 0);

  /// The number of calls so far, failed ones included.
  unsigned calls(const std::string& operation) const;

 private:
  mutable Mutex mutex_;
  Decision decide_;
  // Found by the name as it comes: every call of the platform looks here.
  std::map<std::string, std::list<Plan>, std::less<>> plans_;
  std::map<std::string, unsigned, std::less<>> calls_;
  std::set<std::string, std::less<>> toHold_;  ///< The next call of each is held.
  std::set<std::string, std::less<>> held_;    ///< Not released yet.
  Condition letGo_;
};

}  // namespace simulated

#endif
