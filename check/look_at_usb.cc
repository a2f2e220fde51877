#include "check/known_devices.h"
#include "check/looks.h"
#include "check/texts.h"
#include "device/usb_path.h"
#include "platform/inspection.h"
#include "platform/usb_devices.h"

namespace check {
namespace {

/// The part of a device path that people know: "vid_2406&pid_5003, number".
std::string nameOf(const std::u16string& path) {
  std::u16string serialNumber;
  kv500::serialNumberFromPath(path, serialNumber);
  const auto& id = path.find(kv500::usbIdPrimary) != std::u16string::npos ? kv500::usbIdPrimary
                                                                          : kv500::usbIdSecondary;
  return platform::toUtf8(id + u", " + serialNumber);
}

}  // namespace

std::vector<std::u16string> knownDevices() {
  auto paths = platform::listUsbDevices();
  std::erase_if(paths, [](const std::u16string& path) {
    std::u16string serialNumber;
    return !kv500::serialNumberFromPath(path, serialNumber);
  });
  return paths;
}

Findings lookAtUsb() {
  const auto paths = knownDevices();
  if (paths.empty()) {
    return {{Level::Fail,
             {texts::usbNone,
              {platform::toUtf8(kv500::usbIdPrimary), platform::toUtf8(kv500::usbIdSecondary)}},
             texts::usbNoneAdvice}};
  }
  Findings findings;
  for (const std::u16string& path : paths) {
    if (const std::uint32_t problem = platform::deviceProblem(path)) {
      findings.push_back({Level::Fail,
                          {texts::usbNoDriver, {nameOf(path), std::to_string(problem)}},
                          texts::usbNoDriverAdvice});
    }
  }
  if (paths.size() > 1) {
    findings.push_back(
        {Level::Fail, {texts::usbSeveral, {std::to_string(paths.size())}}, texts::oneReaderAdvice});
  }
  if (findings.empty()) {
    findings.push_back({Level::Ok, {texts::usbOne, {nameOf(paths.front())}}});
  }
  return findings;
}

}  // namespace check
