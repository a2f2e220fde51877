#include "platform/usb_devices.h"

#include <cstddef>

#include "platform/win32/native.h"
// Needs windows.h.
#include <setupapi.h>

namespace platform {
namespace {

/// GUID_DEVINTERFACE_USB_DEVICE.
constexpr ::GUID usbDeviceInterface{
    0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}};

/// A list of device interfaces, given back at the end.
class DeviceList {
 public:
  DeviceList()
      : list_(::SetupDiGetClassDevsW(&usbDeviceInterface, nullptr, nullptr,
                                     DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}
  ~DeviceList() {
    if (list_ != INVALID_HANDLE_VALUE) {
      ::SetupDiDestroyDeviceInfoList(list_);
    }
  }
  DeviceList(const DeviceList&) = delete;
  DeviceList& operator=(const DeviceList&) = delete;

  /// The interface at `index`. False behind the last one, and if there is no list.
  bool get(DWORD index, ::SP_DEVICE_INTERFACE_DATA& device) const {
    device = {};
    device.cbSize = sizeof(device);
    return ::SetupDiEnumDeviceInterfaces(list_, nullptr, &usbDeviceInterface, index, &device);
  }

  /// The device path of an interface, empty if it can't be had.
  std::u16string pathOf(::SP_DEVICE_INTERFACE_DATA& device) const {
    DWORD size = 0;
    ::SetupDiGetDeviceInterfaceDetailW(list_, &device, nullptr, 0, &size, nullptr);
    if (size <= offsetof(::SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath)) {
      return {};
    }
    // Of a type that is aligned as the record's size field has to be; what lies behind the record
    // stays zero.
    std::vector<DWORD> buffer(size / sizeof(DWORD) + 2);
    auto* const detail = reinterpret_cast<::SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof(*detail);
    if (!::SetupDiGetDeviceInterfaceDetailW(list_, &device, detail, size, nullptr, nullptr)) {
      return {};
    }
    return reinterpret_cast<const char16_t*>(detail->DevicePath);
  }

 private:
  const ::HDEVINFO list_;
};

}  // namespace

std::vector<std::u16string> listUsbDevices() {
  const DeviceList list;
  std::vector<std::u16string> paths;
  ::SP_DEVICE_INTERFACE_DATA device;
  for (DWORD i = 0; list.get(i, device); ++i) {  // Bounded by the list, which ends somewhere.
    const std::u16string path = list.pathOf(device);
    if (!path.empty()) {
      paths.push_back(path);
    }
  }
  return paths;
}

}  // namespace platform
