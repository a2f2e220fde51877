#include "platform/usb_devices.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/simulated/world.h"

namespace platform {
namespace {

using Paths = std::vector<std::u16string>;
using simulated::world;

const Paths& pathsOf(HDEVINFO list) {
  return *reinterpret_cast<const Paths*>(list);
}

}  // namespace

HDEVINFO SetupDiGetClassDevsW(std::uint32_t) {
  if (world().faults.take("SetupDiGetClassDevsW")) {
    return INVALID_HDEVINFO;
  }
  return reinterpret_cast<HDEVINFO>(new Paths(world().readers.usbPaths()));
}

bool SetupDiEnumDeviceInterfaces(HDEVINFO list, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA& device) {
  if (world().faults.take("SetupDiEnumDeviceInterfaces") || index >= pathsOf(list).size()) {
    return false;
  }
  device.index = index;
  return true;
}

bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA& device,
                                      char16_t* path, std::uint32_t size,
                                      std::uint32_t& requiredSize) {
  if (world().faults.take("SetupDiGetDeviceInterfaceDetailW", path == nullptr ? 0 : 1)) {
    requiredSize = 0;
    return false;
  }
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
