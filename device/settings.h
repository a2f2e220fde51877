// The settings, as config.txt gives them.
#ifndef KV500_DEVICE_SETTINGS_H
#define KV500_DEVICE_SETTINGS_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/config_file.h"

namespace kv500 {

/// Every setting has a default. It applies without the file and instead of a bad value.
struct Settings {
  std::uint16_t port = 5724;
  std::string allowOrigin = "*";
  std::string url;
  bool callBrowser = false;
  bool appendCardId = false;
  std::string browserCommand;
  std::vector<std::string> allowedHosts;  ///< AllowHost; an empty list allows every name.
  bool onlyActiveUser = false;
};

/// The names of all settings, in the order of the installed file.
inline const std::vector<std::string> settingNames = {
    "Port",        "AllowOrigin",    "AllowHost", "OnlyActiveUser",
    "CallBrowser", "BrowserCommand", "URL",       "AppendCardId"};

/// Puts the values of the file into `settings` and leaves the other settings unchanged. Gives the
/// names of the settings with bad values, in the order in which they are reported. Any thread.
std::vector<std::string> readSettings(const ConfigFile& config, Settings& settings);

}  // namespace kv500

#endif
