// An event of the platform. Failures are raised as texts.
#ifndef KV500_SUPPORT_EVENT_H
#define KV500_SUPPORT_EVENT_H

#include "platform/threading.h"

namespace kv500 {

/// Owns one event. All operations may be called from any thread.
class Event {
 public:
  enum class Reset { Manual, Auto };

  /// Makes an event that is not set. Raises "Could not create event".
  explicit Event(Reset reset);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  /// Raises "Could not set event".
  void set() const;

  /// Whether the event is set. Does not wait. Raises "Could not check event".
  bool isSet() const;

  /// Waits without limit until the event is set. False if waiting fails.
  bool wait() const;

 private:
  const platform::HANDLE handle_;
};

}  // namespace kv500

#endif
