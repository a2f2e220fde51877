// The name of a PC/SC reader alone does not make it usable: exactly one known USB device has to be
// plugged in, and its path tells the serial number.
#include <vector>

#include "device/kv500.h"
#include "device/usb_path.h"
#include "platform/usb_devices.h"

namespace kv500 {
namespace {

/// The path of one interface of the list. False if it can't be had.
bool getDevicePath(platform::HDEVINFO list, const platform::SP_DEVICE_INTERFACE_DATA& device,
                   std::u16string& path) {
  std::uint32_t size = 0;
  platform::SetupDiGetDeviceInterfaceDetailW(list, device, nullptr, 0, size);
  if (size == 0) {
    return false;
  }
  // One unit more than asked for, which stays zero, whatever the platform writes.
  std::vector<char16_t> buffer(size / sizeof(char16_t) + 1);
  if (!platform::SetupDiGetDeviceInterfaceDetailW(list, device, buffer.data(), size, size)) {
    return false;
  }
  path = buffer.data();
  return true;
}

}  // namespace

bool KV500::detectUsbDevice() {
  const platform::HDEVINFO list =
      platform::SetupDiGetClassDevsW(platform::DIGCF_PRESENT | platform::DIGCF_DEVICEINTERFACE);
  if (list == platform::INVALID_HDEVINFO) {
    return false;
  }
  unsigned count = 0;
  std::u16string path;
  std::u16string wideSerialNumber;
  platform::SP_DEVICE_INTERFACE_DATA device{};
  // Bounded by the list, which ends somewhere.
  for (std::uint32_t i = 0; platform::SetupDiEnumDeviceInterfaces(list, i, device); ++i) {
    if (getDevicePath(list, device, path) && serialNumberFromPath(path, wideSerialNumber)) {
      ++count;
    }
  }
  platform::SetupDiDestroyDeviceInfoList(list);
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
