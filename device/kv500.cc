#include "device/kv500.h"

#include "platform/program.h"
#include "platform/sockets.h"
#include "support/log.h"
#include "support/log_texts.h"
#include "support/notice.h"

namespace kv500 {
KV500::KV500(PcscService* owner) : Device("KV500", owner) {
  readSettings();
  const auto run = [](void* self) { static_cast<KV500*>(self)->cardCheckLoop(); };
  if (!cardCheckThread.start(run, this)) {
    // The actions still check the card themselves.
    platform::tellStarter("Could not start the card watcher: no browser will be started");
  }
}

KV500::~KV500() {
  stopRequested = true;
  // A watcher that is reading a card takes as long as the card takes. This object must not be
  // destroyed meanwhile.
  if (cardCheckThread.running) {
    platform::WaitForSingleObject(cardCheckThread.handle, platform::INFINITE);
    cardCheckThread.close();
  }
}

std::uint32_t KV500::listenAddress() {
  return platform::inet_addr("127.0.0.1");
}

void KV500::readSettings() {
  try {
    const ConfigFile config("config.txt");
    for (const std::string& key : kv500::readSettings(config, *this)) {
      reportToUser(log_texts::badValue + key + "' in config.txt!");
    }
  } catch (const ConfigException& fault) {
    if (fault.isReportable()) {
      reportToUser(log_texts::badFile + fault.message);
    }
  }
}

void KV500::reportToUser(const std::string& text) {
  logMessage(text, "");
  notifyUser(name(), text);
}

}  // namespace kv500
