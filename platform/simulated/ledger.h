// What the simulated world has handed out, and the wrong calls that a real machine refuses.
#ifndef KV500_PLATFORM_SIMULATED_LEDGER_H
#define KV500_PLATFORM_SIMULATED_LEDGER_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "platform/simulated/mutex.h"

namespace simulated {

/// The results of calls that a real machine refuses too. The codes are those of Windows.
inline constexpr std::uint32_t errorAccessDenied = 5;
inline constexpr std::uint32_t errorInvalidHandle = 6;
inline constexpr std::uint32_t errorInvalidParameter = 87;

/// There is one for the whole process, because threads of an earlier world may still run. All
/// operations may be called from any thread.
class Ledger {
 public:
  enum class Kind {
    Event,
    Thread,
    Mutex,
    Token,
    Process,
    Environment,
    Context,
    Connection,
    Transaction,
    Socket
  };

  /// Records a wrong use of the platform and prints it to standard error. A test with such a record
  /// fails, and the process ends with `wrongUseStatus`.
  void note(const std::string& operation, const std::string& what);
  /// The records since `beginTest`, one per line.
  std::string notes() const;

  /// The number of a new object of the simulated world. It never equals a handle of the machine.
  std::uint64_t newNumber();

  void give(Kind kind, std::uint64_t number, std::uint32_t detail = 0);
  /// The world itself ended the object: it can't be used any more, but it may still be given back.
  void end(Kind kind, std::uint64_t number);

  /// The smart-card service of a world has gone, and with it everything that it handed out.
  void endSmartcards();

  /// The detail of an object that is in use. None if there is no such object; this is recorded as a
  /// wrong use unless the world ended the object.
  std::optional<std::uint32_t> find(const char* operation, Kind kind, std::uint64_t number);
  /// The same, but also gives the object back.
  std::optional<std::uint32_t> takeBack(const char* operation, Kind kind, std::uint64_t number);
  /// Whether the number is an event or a thread in use. If not, that is recorded.
  bool isWaitable(std::uint64_t number);
  /// Gives back any object that CloseHandle takes. None, and a record, if the number is no such
  /// object.
  std::optional<Kind> takeBackHandle(std::uint64_t number);

  /// Forgets all records. What was handed out before need not be given back.
  void beginTest();
  /// What was handed out since then and not given back, one object per line.
  std::string notGivenBack() const;

 private:
  struct Entry {
    std::uint32_t detail = 0;
    bool ended = false;
    bool mayStay = false;
  };
  using Entries = std::map<std::pair<Kind, std::uint64_t>, Entry>;

  mutable Mutex mutex_;
  Entries entries_;
  std::string notes_;
  std::uint64_t lastNumber_ = 1;
};

Ledger& ledger();

/// The exit status of a process that used the platform wrongly.
inline constexpr int wrongUseStatus = 3;

/// Records a wrong use and gives the result that the caller gets for it.
template <typename Result>
Result refuse(const char* operation, const std::string& what, Result result) {
  ledger().note(operation, what);
  return result;
}

}  // namespace simulated

#endif
