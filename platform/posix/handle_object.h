// The objects behind the handles of platform/threading.h.
#ifndef KV500_PLATFORM_POSIX_HANDLE_OBJECT_H
#define KV500_PLATFORM_POSIX_HANDLE_OBJECT_H

#include <chrono>
#include <memory>
#include <optional>

#include "platform/threading.h"

namespace platform::posix {

class HandleObject {
 public:
  virtual ~HandleObject() = default;
  HandleObject() = default;
  HandleObject(const HandleObject&) = delete;
  HandleObject& operator=(const HandleObject&) = delete;

  virtual bool set() { return false; }

  /// Waits until the object is signalled, at most `limit`, or without limit if there is none. Gives
  /// WAIT_OBJECT_0, WAIT_TIMEOUT, or WAIT_FAILED for an object that can't be waited for.
  virtual std::uint32_t wait(std::optional<std::chrono::milliseconds>) { return WAIT_FAILED; }
};

/// A handle owns its object until CloseHandle.
inline HANDLE toHandle(std::unique_ptr<HandleObject> object) {
  return reinterpret_cast<HANDLE>(object.release());
}
inline HandleObject* toObject(HANDLE handle) {
  return reinterpret_cast<HandleObject*>(handle);
}

}  // namespace platform::posix

#endif
