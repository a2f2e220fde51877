// Overrides: commands that a simulated card does not answer as usual. Testers can see how the
// system handles a bad status word, a slow card or a failed exchange.
#ifndef KV500_PLATFORM_SIMULATED_OVERRIDES_H
#define KV500_PLATFORM_SIMULATED_OVERRIDES_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/simulated/bytes.h"

namespace simulated {

/// What happens at an overridden command.
struct Override {
  enum class Kind {
    Respond,  ///< The card answers with `response`.
    Fail,     ///< The exchange fails.
    Wait,     ///< The normal answer comes `delay` later.
    Remove,   ///< The card leaves the reader.
  };
  Kind kind;
  Bytes response;                     ///< For Respond: data and status word, 1 to 65538 bytes.
  std::chrono::milliseconds delay{};  ///< For Wait: at most 600000.
};

/// The overrides of one card, and which is next. Not thread-safe; a copy counts for itself.
class Overrides {
 public:
  /// Adds an override for a command, after those that the command already has.
  void add(const Bytes& command, Override what);

  /// What happens this time; null if the command is not overridden. Several overrides of one
  /// command apply in turn; the last one then stays in effect. The result is valid until the next
  /// `add`.
  const Override* next(const Bytes& command);

 private:
  struct Turns {
    std::vector<Override> list;
    std::size_t next = 0;
  };
  std::map<Bytes, Turns> turns_;
};

/// Thrown by value: the line, counted from 1, and what is wrong with it.
struct OverridesError {
  std::size_t line;
  std::string message;
};

/// Reads the text of an overrides.txt. Each line holds a command in hexadecimal without blanks, a
/// blank, and one of these: a response in hexadecimal without blanks, `fail`, `wait N` with N in
/// milliseconds, or `remove`. Empty lines and lines that begin with "#" are ignored. A carriage
/// return before a line feed belongs to the line end. Throws OverridesError for anything else.
Overrides parseOverrides(std::string_view text);

}  // namespace simulated

#endif
