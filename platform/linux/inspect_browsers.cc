// Browser policies: files in JSON (RFC 8259) below /etc.
#include <algorithm>
#include <filesystem>

#include "platform/inspection.h"
#include "platform/linux/flat_json.h"
#include "platform/program.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

struct Place {
  Browser browser;
  const char* path;  ///< A file, or a folder of files.
};
constexpr Place places[] = {
    {Browser::Chrome, "/etc/opt/chrome/policies/managed"},
    {Browser::Chrome, "/etc/chromium/policies/managed"},
    {Browser::Edge, "/etc/opt/edge/policies/managed"},
    {Browser::Firefox, "/etc/firefox/policies"},
};

std::vector<fs::path> filesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; entry != end && !error;
       entry.increment(error)) {
    if (entry->path().extension() == ".json") {
      files.push_back(entry->path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

bool isWanted(const std::string& name) {
  return name.starts_with("LocalNetworkAccess") || name.starts_with("LoopbackNetwork");
}

}  // namespace

std::vector<PolicyValue> browserPolicies() {
  const std::string firefoxRoot = "policies/";
  std::vector<PolicyValue> values;
  for (const Place& place : places) {
    for (const fs::path& file : filesIn(place.path)) {
      std::string content;
      readTextFile(file, content);
      for (auto& [name, value] : flattenJson(content)) {
        if (name.starts_with(firefoxRoot)) {
          name.erase(0, firefoxRoot.size());
        }
        if (isWanted(name)) {
          values.push_back({place.browser, name, value});
        }
      }
    }
  }
  return values;
}

}  // namespace platform
