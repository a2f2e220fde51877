#include "platform/usb_devices.h"

#include <cstddef>
#include <cstring>
#include <vector>

#include "platform/win32/native.h"
// Needs windows.h.
#include <setupapi.h>

namespace platform {
namespace {

/// GUID_DEVINTERFACE_USB_DEVICE.
constexpr ::GUID usbDeviceInterface{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

/// Where the path begins in Windows' record.
constexpr std::size_t pathOffset = offsetof(::SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);

bool findInterface(HDEVINFO list, std::uint32_t index, ::SP_DEVICE_INTERFACE_DATA& found) {
  found = {};
  found.cbSize = sizeof(found);
  return ::SetupDiEnumDeviceInterfaces(win32::toNative(list), nullptr, &usbDeviceInterface, index,
                                       &found);
}

}  // namespace

HDEVINFO SetupDiGetClassDevsW(std::uint32_t flags) {
  return win32::toSeam(::SetupDiGetClassDevsW(&usbDeviceInterface, nullptr, nullptr, flags));
}

bool SetupDiEnumDeviceInterfaces(HDEVINFO list, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA& device) {
  device.index = index;
  ::SP_DEVICE_INTERFACE_DATA native;
  return findInterface(list, index, native);
}

bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA& device,
                                      char16_t* path, std::uint32_t size,
                                      std::uint32_t& requiredSize) {
  requiredSize = 0;
  ::SP_DEVICE_INTERFACE_DATA native;
  if (!findInterface(list, device.index, native)) {
    return false;
  }
  DWORD nativeSize = 0;
  ::SetupDiGetDeviceInterfaceDetailW(win32::toNative(list), &native, nullptr, 0, &nativeSize,
                                     nullptr);
  if (nativeSize <= pathOffset) {
    return false;
  }
  requiredSize = static_cast<std::uint32_t>(nativeSize - pathOffset);
  if (path == nullptr || size < requiredSize) {
    return false;
  }
  // Of a type that is aligned as the record's size field has to be.
  std::vector<DWORD> buffer(nativeSize / sizeof(DWORD) + 1);
  auto* const detail = reinterpret_cast<::SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
  detail->cbSize = sizeof(*detail);
  if (!::SetupDiGetDeviceInterfaceDetailW(win32::toNative(list), &native, detail, nativeSize,
                                          nullptr, nullptr)) {
    return false;
  }
  std::memcpy(path, reinterpret_cast<const std::byte*>(buffer.data()) + pathOffset, requiredSize);
  return true;
}

bool SetupDiDestroyDeviceInfoList(HDEVINFO list) {
  return ::SetupDiDestroyDeviceInfoList(win32::toNative(list));
}

}  // namespace platform
