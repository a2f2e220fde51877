#include "device/settings.h"

#include "frontend/allowed_hosts.h"

namespace kv500 {
namespace {

constexpr std::uint64_t lowestPort = 1024;
constexpr std::uint64_t highestPort = 32766;

/// True also if the port is not set.
bool readPort(const ConfigFile& config, std::uint16_t& port) {
  bool valid = false;
  std::uint64_t value = 0;
  if (!config.getInteger("Port", valid, value)) {
    return true;
  }
  if (!valid || value < lowestPort || value > highestPort) {
    return false;
  }
  port = static_cast<std::uint16_t>(value);
  return true;
}

bool readSwitch(const ConfigFile& config, const std::string& key, bool& setting) {
  bool valid = false;
  return !config.getBool(key, valid, setting) || valid;
}

}  // namespace

std::vector<std::string> readSettings(const ConfigFile& config, Settings& settings) {
  std::vector<std::string> bad;
  if (!readPort(config, settings.port)) {
    bad.emplace_back("Port");
  }
  if (!readSwitch(config, "CallBrowser", settings.callBrowser)) {
    bad.emplace_back("CallBrowser");
  }
  if (!readSwitch(config, "AppendCardId", settings.appendCardId)) {
    bad.emplace_back("AppendCardId");
  }
  if (!readSwitch(config, "OnlyActiveUser", settings.onlyActiveUser)) {
    bad.emplace_back("OnlyActiveUser");
  }
  config.getString("URL", settings.url);
  config.getString("BrowserCommand", settings.browserCommand);
  config.getString("AllowOrigin", settings.allowOrigin);
  std::string hosts;
  config.getString("AllowHost", hosts);
  settings.allowedHosts = parseHostList(hosts);
  if (!hosts.empty() && settings.allowedHosts.empty()) {
    bad.emplace_back("AllowHost");
  }
  return bad;
}

}  // namespace kv500
