#include "support/event.h"

#include <string>

namespace kv500 {

Event::Event(Reset reset) : handle_(platform::CreateEventA(reset == Reset::Manual, false)) {
  if (handle_ == 0) {
    throw std::string("Could not create event");
  }
}

Event::~Event() {
  platform::CloseHandle(handle_);
}

void Event::set() const {
  if (!platform::SetEvent(handle_)) {
    throw std::string("Could not set event");
  }
}

bool Event::isSet() const {
  switch (platform::WaitForSingleObject(handle_, 0)) {
    case platform::WAIT_OBJECT_0:
      return true;
    case platform::WAIT_TIMEOUT:
      return false;
    default:
      throw std::string("Could not check event");
  }
}

bool Event::wait() const {
  return platform::WaitForSingleObject(handle_, platform::INFINITE) == platform::WAIT_OBJECT_0;
}

}  // namespace kv500
