#include "device/pcsc_service.h"

#include "device/device.h"
#include "device/reader_list.h"
#include "platform/program.h"
#include "support/hex_digits.h"
#include "support/log.h"
#include "support/log_texts.h"
#include "support/memory_shortage.h"
#include "support/notice.h"
#include "support/process_end.h"

namespace kv500 {
namespace {

constexpr std::uint32_t passInterval = 1000;  // Milliseconds.
constexpr std::uint32_t endLimit = 3000;      // Milliseconds: enough for a pass and its work.

}  // namespace

void PcscService::takeDown() {
  // If the limit runs out, the thread waits in a message box or for the start of the smart-card
  // service. It ends with the process.
  platform::WaitForSingleObject(pcscThread.handle, endLimit);
  pcscThread.close();
}

void PcscService::runGuarded() {
  try {
    pRun();
    return;
  } catch (const std::string& text) {
    logMessage(text, "");
  } catch (...) {
    logMessage("Unhandled exception in PCSC-Service", "");
  }
  endProcess(0);
}

void PcscService::pRun() {
  bool warnedAboutSeveral = false;
  for (;;) {  // Until the stop event; each pass checks it.
    platform::Sleep(passInterval);
    if (stopEvent.isSet()) {
      if (device->isReaderPresent()) {
        device->detachReader();
      }
      releaseContext();
      return;
    }
    outlastShortage([this, &warnedAboutSeveral] { runPass(warnedAboutSeveral); });
  }
}

void PcscService::runPass(bool& warnedAboutSeveral) {
  std::vector<char> list;
  std::uint32_t result = platform::SCARD_S_SUCCESS;
  if (!listReaders(list, result) || result == platform::SCARD_E_NO_READERS_AVAILABLE) {
    return;
  }
  if (result != platform::SCARD_S_SUCCESS) {
    warnedAboutSeveral = false;
    handleListError(result);
    return;
  }
  trackReader(list, warnedAboutSeveral);
}

/// Gets the list of readers and PC/SC's result for it. False if there is no context yet because the
/// smart-card service has only just been started.
bool PcscService::listReaders(std::vector<char>& list, std::uint32_t& result) {
  const ScopedLock guard(serviceLock);
  if (context == 0 && !establishContext()) {
    return false;
  }
  std::uint32_t length = 0;
  result = platform::SCardListReadersA(context, nullptr, length);
  if (result == platform::SCARD_S_SUCCESS) {
    list.resize(length);
    result = platform::SCardListReadersA(context, list.data(), length);
  }
  return true;
}

bool PcscService::establishContext() {
  const std::uint32_t result =
      platform::SCardEstablishContext(platform::SCARD_SCOPE_SYSTEM, context);
  if (result == platform::SCARD_S_SUCCESS) {
    return true;
  }
  if (result != platform::SCARD_E_NO_SERVICE) {
    throw log_texts::noContext;
  }
  startSmartcardService();
  return false;
}

void PcscService::startSmartcardService() {
  logMessage("Trying to start Smartcard service...", "PcscService::pRun69");
  if (platform::system("net start SCardSvr") == 0) {
    return;
  }
  notifyUser(name,
             "The Smartcard service is not running and could not be started automatically!\n\n"
             "Please contact the support for further information and help.");
  throw log_texts::noSmartcardService;
}

void PcscService::releaseContext() {
  const ScopedLock guard(serviceLock);
  platform::SCardReleaseContext(context);
  context = 0;
}

void PcscService::handleListError(std::uint32_t result) {
  if (result == platform::SCARD_E_SERVICE_STOPPED) {
    if (device->isReaderPresent()) {
      device->detachReader();
    }
  } else {
    logMessage(log_texts::pcscError + hexDigits(result, 8), "PcscService::pRun120");
  }
  releaseContext();
}

void PcscService::trackReader(const std::vector<char>& list, bool& warnedAboutSeveral) {
  const ReaderMatch match = findReaders(list, name);
  if (match.matchCount == 1 && !device->isReaderPresent()) {
    device->attachReader(match.matchName);
  } else if (match.matchCount == 2) {
    if (!warnedAboutSeveral) {
      notifyUser(name, "Only one " + name + " can be connected!");
      warnedAboutSeveral = true;
    }
    device->detachReader();
  }
}

}  // namespace kv500
