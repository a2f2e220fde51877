// What requests write to the log, within bounds. Anybody who can reach the port, every web page
// included, can cause log lines and would otherwise fill the disk.
#ifndef KV500_DEVICE_REQUEST_LOG_H
#define KV500_DEVICE_REQUEST_LOG_H

#include <cstdint>
#include <string>

#include "support/lock.h"

namespace kv500 {

/// A token bucket of bytes: 1 MB at once, then 1 MB an hour. Lines beyond that are dropped and
/// counted. Any thread.
class RequestLog {
 public:
  /// Writes a line with its full text, or drops it.
  void write(const std::string& text) EXCLUDES(lock);

  /// Writes how many lines were dropped since the last such report, if there are any. The first
  /// dropped line is reported at once, later ones at most once in 5 minutes. `write` reports too;
  /// this operation is for the time when no more lines come.
  void reportDropped() EXCLUDES(lock);

 private:
  bool take(std::int64_t size) REQUIRES(lock);

  Lock lock;
  std::int64_t spent GUARDED_BY(lock) = 0;       ///< In the unit of the refill; see the source.
  std::int64_t refilledAt GUARDED_BY(lock) = 0;  ///< Ticks of platform::clock.
  std::uint64_t dropped GUARDED_BY(lock) = 0;    ///< Lines since the last report.
  std::int64_t nextReport GUARDED_BY(lock) = 0;  ///< No report before this tick.
};

}  // namespace kv500

#endif
