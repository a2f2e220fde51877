// The name of a PC/SC reader alone does not make it usable. Exactly one known USB device must be
// plugged in; its path contains the serial number.
#include "device/kv500.h"
#include "device/usb_path.h"
#include "platform/usb_devices.h"

namespace kv500 {

bool KV500::detectUsbDevice() {
  unsigned count = 0;
  std::u16string wideSerialNumber;
  for (const std::u16string& path : platform::listUsbDevices()) {
    if (serialNumberFromPath(path, wideSerialNumber)) {
      ++count;
    }
  }
  if (count != 1) {
    return false;
  }
  serialNumber.clear();
  for (const char16_t unit : wideSerialNumber) {
    serialNumber += static_cast<char>(unit & 0xFF);
  }
  return true;
}

}  // namespace kv500
