// The plugged-in USB devices as udev knows them, told in the form of Windows' device paths.
#include "platform/usb_devices.h"

#include <libudev.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace platform {
namespace {

using Paths = std::vector<std::u16string>;

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

/// What the rest of the path, and the answers that carry it, can take: printable ASCII without the
/// mark that separates the parts and without what would end a JSON text.
bool isUsable(const std::string& serialNumber) {
  return !serialNumber.empty() && std::all_of(serialNumber.begin(), serialNumber.end(), [](char c) {
    return c > ' ' && c < 0x7F && std::strchr("#\"\\", c) == nullptr;
  });
}

/// The ids are four lower-case hexadecimal digits each in sysfs already. The serial number stands
/// as the device gives it; without one the device's place on the bus tells it from others.
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

const Paths& pathsOf(HDEVINFO list) {
  return *reinterpret_cast<const Paths*>(list);
}

}  // namespace

HDEVINFO SetupDiGetClassDevsW(std::uint32_t) {
  const Udev udev(::udev_new());
  const Enumeration devices(udev ? ::udev_enumerate_new(udev.get()) : nullptr);
  if (!devices || ::udev_enumerate_add_match_subsystem(devices.get(), "usb") < 0 ||
      ::udev_enumerate_add_match_property(devices.get(), "DEVTYPE", "usb_device") < 0 ||
      ::udev_enumerate_scan_devices(devices.get()) < 0) {
    return INVALID_HDEVINFO;
  }
  auto paths = std::make_unique<Paths>();
  for (auto* entry = ::udev_enumerate_get_list_entry(devices.get()); entry != nullptr;
       entry = ::udev_list_entry_get_next(entry)) {
    const char* const sysPath = ::udev_list_entry_get_name(entry);
    const Device device(::udev_device_new_from_syspath(udev.get(), sysPath));
    if (device) {  // It may have been pulled out meanwhile.
      paths->push_back(pathOf(device.get()));
    }
  }
  return reinterpret_cast<HDEVINFO>(paths.release());
}

bool SetupDiEnumDeviceInterfaces(HDEVINFO list, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA& device) {
  if (index >= pathsOf(list).size()) {
    return false;
  }
  device.index = index;
  return true;
}

bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA& device,
                                      char16_t* path, std::uint32_t size,
                                      std::uint32_t& requiredSize) {
  const std::u16string& text = pathsOf(list)[device.index];
  requiredSize = static_cast<std::uint32_t>((text.size() + 1) * sizeof(char16_t));
  if (path == nullptr || size < requiredSize) {
    return false;
  }
  std::copy_n(text.c_str(), text.size() + 1, path);
  return true;
}

bool SetupDiDestroyDeviceInfoList(HDEVINFO list) {
  delete reinterpret_cast<const Paths*>(list);
  return true;
}

}  // namespace platform
