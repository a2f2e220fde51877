// The plugged-in USB devices.
#ifndef KV500_PLATFORM_USB_DEVICES_H
#define KV500_PLATFORM_USB_DEVICES_H

#include <string>
#include <vector>

namespace platform {

/// The device paths of all USB devices that are plugged in now, in the form of Windows' paths of
/// the interface class GUID_DEVINTERFACE_USB_DEVICE: lower case, parts separated by "#", the part
/// with "vid_xxxx&pid_xxxx" followed by the serial number and the class. A device whose path can't
/// be had is left out; the list is empty if it can't be had at all. Any thread.
std::vector<std::u16string> listUsbDevices();

}  // namespace platform

#endif
