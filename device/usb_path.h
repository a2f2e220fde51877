// USB device paths, as the platform's device list gives them.
#ifndef KV500_DEVICE_USB_PATH_H
#define KV500_DEVICE_USB_PATH_H

#include <string>

namespace kv500 {

/// The USB ids of the readers that the service works with.
inline const std::u16string usbIdPrimary = u"vid_2406&pid_5003";
inline const std::u16string usbIdSecondary = u"vid_2406&pid_5004";

/// Whether a device path is that of a known reader, and the reader's serial number: the part after
/// the one with the USB ids, up to the next "#" or the end. False, with `serialNumber` unchanged,
/// if the path contains neither id exactly or has no "#" behind it. Any thread.
bool serialNumberFromPath(const std::u16string& path, std::u16string& serialNumber);

}  // namespace kv500

#endif
