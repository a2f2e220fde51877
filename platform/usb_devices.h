// The list of plugged-in USB devices, as SetupAPI gives it.
//
// All operations may be called from any thread; a list is used by one thread at a time.
#ifndef KV500_PLATFORM_USB_DEVICES_H
#define KV500_PLATFORM_USB_DEVICES_H

#include <cstdint>

namespace platform {

using HDEVINFO = std::uintptr_t;
inline constexpr HDEVINFO INVALID_HDEVINFO = ~HDEVINFO{0};

inline constexpr std::uint32_t DIGCF_PRESENT = 2;
inline constexpr std::uint32_t DIGCF_DEVICEINTERFACE = 0x10;

/// One device interface of a list.
struct SP_DEVICE_INTERFACE_DATA {
  std::uint32_t index;
};

/// The interfaces of class GUID_DEVINTERFACE_USB_DEVICE, {A5DCBF10-6530-11D2-901F-00C04FB951ED}, of
/// the devices that are plugged in now. INVALID_HDEVINFO on failure.
HDEVINFO SetupDiGetClassDevsW(std::uint32_t flags);

/// The interface at `index`, from 0. False behind the last one.
bool SetupDiEnumDeviceInterfaces(HDEVINFO list, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA& device);

/// The device path of an interface, a zero-ended text of 16-bit units: lower case, its parts
/// separated by "#", the part with "vid_xxxx&pid_xxxx" followed by the serial number and the class.
/// With `path` null the call fails and writes the required size in bytes, the end mark included.
/// With a buffer of `size` bytes it gives true and fills it.
bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA& device,
                                      char16_t* path, std::uint32_t size,
                                      std::uint32_t& requiredSize);

bool SetupDiDestroyDeviceInfoList(HDEVINFO list);

}  // namespace platform

#endif
