// The plugged-in USB devices that udev knows, in the form of Windows' device paths.
#include "platform/usb_devices.h"

#include <libudev.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

namespace platform {
namespace {

template <auto release>
struct Release {
  template <typename Object>
  void operator()(Object* object) const {
    release(object);
  }
};
using Udev = std::unique_ptr<::udev, Release<::udev_unref>>;
using Enumeration = std::unique_ptr<::udev_enumerate, Release<::udev_enumerate_unref>>;
using Device = std::unique_ptr<::udev_device, Release<::udev_device_unref>>;

std::string attribute(::udev_device* device, const char* name) {
  const char* const value = ::udev_device_get_sysattr_value(device, name);
  return value == nullptr ? "" : value;
}

/// Characters that are safe in the rest of the path and in the answers that contain it: printable
/// ASCII without the separator of the parts and without what would end a JSON text.
bool isUsable(const std::string& serialNumber) {
  return !serialNumber.empty() && std::all_of(serialNumber.begin(), serialNumber.end(), [](char c) {
    return c > ' ' && c < 0x7F && std::strchr("#\"\\", c) == nullptr;
  });
}

/// In sysfs the ids already are four lower-case hexadecimal digits each. The serial number is
/// unchanged. A device without one is identified by its place on the bus.
std::u16string pathOf(::udev_device* device) {
  std::string serialNumber = attribute(device, "serial");
  if (!isUsable(serialNumber)) {
    serialNumber = ::udev_device_get_sysname(device);
  }
  const std::string path = "\\\\?\\usb#vid_" + attribute(device, "idVendor") + "&pid_" +
                           attribute(device, "idProduct") + "#" + serialNumber +
                           "#{a5dcbf10-6530-11d2-901f-00c04fb951ed}";
  return std::u16string(path.begin(), path.end());
}

}  // namespace

std::vector<std::u16string> listUsbDevices() {
  const Udev udev(::udev_new());
  const Enumeration devices(udev ? ::udev_enumerate_new(udev.get()) : nullptr);
  if (!devices || ::udev_enumerate_add_match_subsystem(devices.get(), "usb") < 0 ||
      ::udev_enumerate_add_match_property(devices.get(), "DEVTYPE", "usb_device") < 0 ||
      ::udev_enumerate_scan_devices(devices.get()) < 0) {
    return {};
  }
  std::vector<std::u16string> paths;
  for (auto* entry = ::udev_enumerate_get_list_entry(devices.get()); entry != nullptr;
       entry = ::udev_list_entry_get_next(entry)) {
    const char* const sysPath = ::udev_list_entry_get_name(entry);
    const Device device(::udev_device_new_from_syspath(udev.get(), sysPath));
    if (device) {  // It may have been pulled out meanwhile.
      paths.push_back(pathOf(device.get()));
    }
  }
  return paths;
}

}  // namespace platform
