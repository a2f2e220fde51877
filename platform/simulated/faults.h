// Failures on demand: any platform operation can be told to fail, or to stand still.
#ifndef KV500_PLATFORM_SIMULATED_FAULTS_H
#define KV500_PLATFORM_SIMULATED_FAULTS_H

#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace simulated {

/// Which calls of an operation fail or are held. All operations may be called from any thread.
class Faults {
 public:
  struct Plan {
    std::uint32_t code = 1;  ///< The result, for operations that give an error code.
    unsigned skip = 0;       ///< Calls that still pass before.
    unsigned times = 1;      ///< Calls that fail then.
    std::optional<std::uint32_t> detail = {};  ///< Only calls with this detail count.
  };

  void fail(const std::string& operation) { fail(operation, Plan{}); }
  void fail(const std::string& operation, Plan plan);

  /// The next call of the operation stands still until it is let go, and then goes on.
  void hold(const std::string& operation);
  void letGo(const std::string& operation);

  /// Counts a call, holds it if it is to be held, and tells whether it is to fail, and with what
  /// code.
  std::optional<std::uint32_t> take(const std::string& operation, std::uint32_t detail = 0);

  /// The calls so far, failed ones included.
  unsigned calls(const std::string& operation) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::list<Plan>> plans_;
  std::map<std::string, unsigned> calls_;
  std::set<std::string> toHold_;  ///< Whose next call is to be held.
  std::set<std::string> held_;    ///< Not let go yet.
  std::condition_variable letGo_;
};

}  // namespace simulated

#endif
