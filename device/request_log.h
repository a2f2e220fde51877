// What requests put into the log, within bounds: anybody who can reach the port, every web page
// included, can have a line written, and would fill the disk otherwise.
#ifndef KV500_DEVICE_REQUEST_LOG_H
#define KV500_DEVICE_REQUEST_LOG_H

#include <cstdint>
#include <string>

#include "support/lock.h"

namespace kv500 {

/// A token bucket of bytes: 1 MB at once, and 1 MB an hour from then on. Lines beyond it are
/// counted. Any thread.
class RequestLog {
 public:
  /// Writes a line with its full text, or drops it.
  void write(const std::string& text) EXCLUDES(lock);

  /// Writes how many lines were dropped since it was last told, if there are any: at once for the
  /// first one, and once in 5 minutes then. `write` does so too; this is for when no more lines
  /// come.
  void reportDropped() EXCLUDES(lock);

 private:
  bool take(std::int64_t size) REQUIRES(lock);

  Lock lock;
  std::int64_t spent GUARDED_BY(lock) = 0;       ///< In the unit of the refill, see the source.
  std::int64_t refilledAt GUARDED_BY(lock) = 0;  ///< Ticks of platform::clock.
  std::uint64_t dropped GUARDED_BY(lock) = 0;    ///< Lines, since that was last told.
  std::int64_t nextReport GUARDED_BY(lock) = 0;  ///< The tick before which it is not told again.
};

}  // namespace kv500

#endif
