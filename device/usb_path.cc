#include "device/usb_path.h"

namespace kv500 {

bool serialNumberFromPath(const std::u16string& path, std::u16string& serialNumber) {
  std::size_t id = path.find(usbIdPrimary);
  if (id == std::u16string::npos) {
    id = path.find(usbIdSecondary);
  }
  if (id == std::u16string::npos) {
    return false;
  }
  const std::size_t separator = path.find(u'#', id);
  if (separator == std::u16string::npos) {
    return false;
  }
  const std::size_t begin = separator + 1;
  serialNumber = path.substr(begin, path.find(u'#', begin) - begin);
  return true;
}

}  // namespace kv500
