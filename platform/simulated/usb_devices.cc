#include "platform/usb_devices.h"

#include "platform/simulated/world.h"

namespace platform {

std::vector<std::u16string> listUsbDevices() {
  auto& world = simulated::world();
  return world.faults.take("listUsbDevices") ? std::vector<std::u16string>()
                                             : world.readers.usbPaths();
}

}  // namespace platform
