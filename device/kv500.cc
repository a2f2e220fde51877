#include "device/kv500.h"

#include "platform/sockets.h"
#include "support/log.h"
#include "support/notice.h"

namespace kv500 {
namespace {

constexpr std::uint64_t lowestPort = 1024;
constexpr std::uint64_t highestPort = 32766;

}  // namespace

KV500::KV500(PcscService* owner) : Device("KV500", owner) {
  readSettings();
  const auto run = [](void* self) { static_cast<KV500*>(self)->cardCheckLoop(); };
  // Without the watcher the actions still check the card themselves; only the browser is missing.
  cardCheckThread.start(run, this);
}

KV500::~KV500() {
  stopRequested = true;
  // A watcher in the middle of a card read takes as long as the card takes, and nothing of this
  // object may go under it.
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
    readPort(config);
    config.getString("URL", url);
    readSwitch(config, "CallBrowser", callBrowser);
    readSwitch(config, "AppendCardId", appendCardId);
    config.getString("BrowserCommand", browserCommand);
    config.getString("AllowOrigin", allowOrigin);
  } catch (const ConfigException& fault) {
    if (fault.reportable) {
      reportToUser("Error reading config file:\n" + fault.message);
    }
  }
}

void KV500::readPort(const ConfigFile& config) {
  bool valid = false;
  std::uint64_t value = 0;
  if (!config.getInteger("Port", valid, value)) {
    return;
  }
  if (valid && value >= lowestPort && value <= highestPort) {
    port = static_cast<std::uint16_t>(value);
  } else {
    reportToUser("Invalid value for 'Port' in config.txt!");
  }
}

void KV500::readSwitch(const ConfigFile& config, const std::string& key, bool& setting) {
  bool valid = false;
  if (config.getBool(key, valid, setting) && !valid) {
    reportToUser("Invalid value for '" + key + "' in config.txt!");
  }
}

void KV500::reportToUser(const std::string& text) {
  logMessage(text, "");
  notifyUser(name(), text);
}

}  // namespace kv500
