// The plugged-in USB devices.
#ifndef KV500_PLATFORM_USB_DEVICES_H
#define KV500_PLATFORM_USB_DEVICES_H

#include <string>
#include <vector>

namespace platform {

/// The device paths of all USB devices that are plugged in now. They have the form of Windows'
/// paths of the interface class GUID_DEVINTERFACE_USB_DEVICE: lower case, parts separated by "#".
/// The part with "vid_xxxx&pid_xxxx" is followed by the serial number and the class. A device whose
/// path is not available is left out. The list is empty if it is not available at all. Any thread.
std::vector<std::u16string> listUsbDevices();

}  // namespace platform

#endif
