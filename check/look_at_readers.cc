#include "check/known_devices.h"
#include "check/looks.h"
#include "check/pcsc_look.h"
#include "check/printable.h"
#include "check/texts.h"

namespace check {
namespace {

Finding judgeNames(const std::vector<std::string>& names) {
  const auto served = servedReaders(names);
  if (served.size() > 1) {
    return {Level::Fail, {texts::readersSeveral, {joined(served)}}, texts::oneReaderAdvice};
  }
  if (served.empty() && names.empty()) {
    return {Level::Fail, texts::readersNone, texts::readersNoneAdvice};
  }
  if (served.empty()) {
    return {Level::Fail, {texts::readersOthers, {joined(names)}}, texts::readersNoneAdvice};
  }
  if (knownDevices().empty()) {
    return {Level::Fail, {texts::readersNoUsb, {served.front()}}, texts::readersNoUsbAdvice};
  }
  return {Level::Ok, {texts::readersOne, {served.front()}}};
}

}  // namespace

Findings lookAtReaders(const Services& services) {
  const PcscLook pcsc(services);
  std::vector<std::string> names;
  if (pcsc.listReaders(names) != platform::SCARD_S_SUCCESS) {
    return {{pcsc.wouldStart() ? Level::Warn : Level::Fail, texts::readersUnknown,
             pcsc.wouldStart() ? texts::readersUnknownAdvice : texts::seeSmartcard}};
  }
  return {judgeNames(names)};
}

}  // namespace check
