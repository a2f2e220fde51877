// What the simulated world has handed out, and what it was asked that a real machine refuses.
#ifndef KV500_PLATFORM_SIMULATED_LEDGER_H
#define KV500_PLATFORM_SIMULATED_LEDGER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace simulated {

/// What a call gets back that a real machine refuses, too. Windows' codes.
inline constexpr std::uint32_t errorAccessDenied = 5;
inline constexpr std::uint32_t errorInvalidHandle = 6;
inline constexpr std::uint32_t errorInvalidParameter = 87;

/// One for the process, as threads of an earlier world go on. All operations may be called from any
/// thread.
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

  /// Notes a wrong use of the platform, and prints it to standard error. A test that sees a note
  /// fails, and the process ends with `wrongUseStatus`.
  void note(const std::string& operation, const std::string& what);
  /// The notes since `beginTest`, a line each.
  std::string notes() const;

  /// The number of an object of memory. No handle of the machine is ever the same.
  std::uint64_t newNumber();

  void give(Kind kind, std::uint64_t number, std::uint32_t detail = 0);
  /// The world itself ended the object: it can't be used any more, and may be given back.
  void end(Kind kind, std::uint64_t number);

  /// The smart-card service of a world has gone, with all that it handed out.
  void endSmartcards();

  /// The detail of an object that is in use. None if there is no such object; that is noted as a
  /// wrong use unless the world ended it.
  std::optional<std::uint32_t> find(const char* operation, Kind kind, std::uint64_t number);
  /// The same, and the object is given back.
  std::optional<std::uint32_t> takeBack(const char* operation, Kind kind, std::uint64_t number);
  /// Whether the number is an event or a thread in use; if not, that is noted.
  bool isWaitable(std::uint64_t number);
  /// Gives back what CloseHandle takes, of whichever kind. None, and noted, if it is nothing such.
  std::optional<Kind> takeBackHandle(std::uint64_t number);

  /// Forgets all notes; what has been handed out so far may stay out.
  void beginTest();
  /// What was handed out since then and not given back, a line each.
  std::string notGivenBack() const;

 private:
  struct Entry {
    std::uint32_t detail = 0;
    bool ended = false;
    bool mayStay = false;
  };
  using Entries = std::map<std::pair<Kind, std::uint64_t>, Entry>;

  mutable std::mutex mutex_;
  Entries entries_;
  std::string notes_;
  std::uint64_t lastNumber_ = 1;
};

Ledger& ledger();

/// The exit status of a process that has used the platform wrongly.
inline constexpr int wrongUseStatus = 3;

/// Notes a wrong use and gives the result that the caller gets for it.
template <typename Result>
Result refuse(const char* operation, const std::string& what, Result result) {
  ledger().note(operation, what);
  return result;
}

}  // namespace simulated

#endif
