// The version of the system, and problems of devices.
#include <algorithm>
#include <cstdint>

#include "platform/inspection.h"
#include "platform/win32/native.h"
// Needs windows.h.
#include <cfgmgr32.h>

namespace platform {
namespace {

/// "\\?\usb#id#number#{class}" names the interface of the device "usb\id\number".
std::u16string deviceOf(const std::u16string& path) {
  const std::u16string prefix = u"\\\\?\\";
  std::u16string device = path.substr(path.starts_with(prefix) ? prefix.size() : 0);
  device.resize(std::min(device.rfind(u'#'), device.size()));
  for (char16_t& unit : device) {
    unit = unit == u'#' ? u'\\' : unit;
  }
  return device;
}

}  // namespace

std::string systemDescription() {
  ::OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof(version);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  // It tells the truth to a program whose manifest names the system.
  ::GetVersionExW(&version);
#pragma GCC diagnostic pop
  return "Windows " + std::to_string(version.dwMajorVersion) + "." +
         std::to_string(version.dwMinorVersion) + "." + std::to_string(version.dwBuildNumber);
}

std::uint32_t deviceProblem(const std::u16string& path) {
  std::u16string device = deviceOf(path);
  ::DEVINST instance = 0;
  ULONG status = 0;
  ULONG problem = 0;
  const bool isKnown = ::CM_Locate_DevNodeW(&instance, win32::toNative(device.data()),
                                            CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS &&
                       ::CM_Get_DevNode_Status(&status, &problem, instance, 0) == CR_SUCCESS;
  return isKnown && (status & DN_HAS_PROBLEM) != 0 ? problem : 0;
}

}  // namespace platform
