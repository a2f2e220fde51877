#include <algorithm>
#include <sstream>

#include "check/looks.h"
#include "check/nearest_name.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"

namespace check {
namespace {

using kv500::ConfigFile;
using kv500::Settings;

constexpr std::uint64_t largestFile = std::uint64_t{1} << 20;  // What the service reads.
const std::string byteOrderMark = "\xEF\xBB\xBF";

std::string inWords(const Settings& settings) {
  const auto word = [](bool on) { return on ? "yes" : "no"; };
  std::ostringstream hosts;
  for (const std::string& host : settings.allowedHosts) {
    hosts << (hosts.tellp() == 0 ? "" : ",") << host;
  }
  return "Port=" + std::to_string(settings.port) + ", AllowOrigin=" + settings.allowOrigin +
         ", CallBrowser=" + word(settings.callBrowser) +
         ", BrowserCommand=" + settings.browserCommand + ", URL=" + settings.url +
         ", AppendCardId=" + word(settings.appendCardId) + ", AllowHost=" + hosts.str() +
         ", OnlyActiveUser=" + word(settings.onlyActiveUser);
}

bool isUtf16(const std::string& content) {
  const std::string start = content.substr(0, 2);
  const bool hasMark = start == "\xFF\xFE" || start == "\xFE\xFF";
  // Without a byte order mark, one of the two bytes of each letter is zero.
  const bool hasZeros = content.size() > 1 && (content[0] == '\0') != (content[1] == '\0');
  return hasMark || hasZeros;
}

std::string withoutBlanks(const std::string& name) {
  const auto first = name.find_first_not_of(" \t");
  const auto last = name.find_last_not_of(" \t");
  return first == std::string::npos ? "" : name.substr(first, last - first + 1);
}

bool isSetting(const std::string& name) {
  return std::count(kv500::settingNames.begin(), kv500::settingNames.end(), name) != 0;
}

Finding judgeUnknownName(const std::string& name) {
  const std::string bare = withoutBlanks(name);
  if (isSetting(bare)) {
    return {Level::Fail, {texts::settingsBlanks, {name, bare}}, texts::settingsNameAdvice};
  }
  const std::string nearest = nearestName(bare, kv500::settingNames);
  if (nearest.empty()) {
    std::string all;
    for (const std::string& setting : kv500::settingNames) {
      all += (all.empty() ? "" : ", ") + setting;
    }
    return {Level::Warn, {texts::settingsUnknown, {name}}, {texts::settingsUnknownAdvice, {all}}};
  }
  // Names are letters; upper and lower case differ only in this bit.
  const bool onlyCase = std::equal(bare.begin(), bare.end(), nearest.begin(), nearest.end(),
                                   [](char a, char b) { return (a | 0x20) == (b | 0x20); });
  return {Level::Fail,
          {onlyCase ? texts::settingsCase : texts::settingsMisspelt, {name, nearest}},
          texts::settingsNameAdvice};
}

void judgeBrowser(const Settings& settings, Findings& findings) {
  const Level level = settings.callBrowser ? Level::Fail : Level::Warn;
  if (!settings.browserCommand.empty() && !platform::isProgram(settings.browserCommand)) {
    findings.push_back({level,
                        {texts::settingsNoProgram, {settings.browserCommand}},
                        texts::settingsNoProgramAdvice});
  }
  if (settings.callBrowser && settings.browserCommand.empty()) {
    findings.push_back({Level::Fail, texts::settingsNoBrowser, texts::settingsNoBrowserAdvice});
  }
  if (settings.appendCardId && settings.url.empty()) {
    findings.push_back({Level::Warn, texts::settingsNoUrl, texts::settingsNoUrlAdvice});
  }
}

Findings judgeValues(const ConfigFile& config, Settings& settings) {
  Findings findings;
  for (const std::string& key : kv500::readSettings(config, settings)) {
    findings.push_back({Level::Fail,
                        {texts::settingsBadValue, {key, config.values().at(key)}},
                        key == "Port" ? texts::settingsPortAdvice : texts::settingsSwitchAdvice});
  }
  for (const auto& [name, value] : config.values()) {
    if (name.starts_with(byteOrderMark)) {
      findings.push_back({Level::Fail, texts::settingsBom, texts::settingsEncodingAdvice});
    } else if (!isSetting(name)) {
      findings.push_back(judgeUnknownName(name));
    }
  }
  judgeBrowser(settings, findings);
  if (findings.empty()) {
    findings.push_back({Level::Ok, {texts::settingsHold, {inWords(settings)}}});
  }
  return findings;
}

Findings judgeContent(const std::string& content, Settings& settings) {
  if (isUtf16(content)) {
    return {{Level::Fail, texts::settingsUtf16, texts::settingsEncodingAdvice}};
  }
  try {
    return judgeValues(ConfigFile::fromText(content), settings);
  } catch (const kv500::ConfigException& fault) {
    Findings findings;
    if (content.starts_with(byteOrderMark)) {
      findings.push_back({Level::Fail, texts::settingsBom, texts::settingsEncodingAdvice});
    }
    findings.push_back({Level::Fail,
                        {texts::settingsFault, {std::to_string(fault.line), fault.message}},
                        texts::settingsFaultAdvice});
    return findings;
  }
}

}  // namespace

Findings lookAtSettings(const Folder& folder, Settings& settings) {
  using Kind = platform::FileFacts::Kind;
  const std::filesystem::path path = folder.path / "config.txt";
  const platform::FileFacts facts = platform::inspectFile(path);
  if (facts.kind == Kind::Absent) {
    return {{Level::Warn,
             {texts::settingsAbsent, {platform::textFromPath(folder.path), inWords(settings)}},
             texts::settingsAbsentAdvice}};
  }
  if (facts.kind == Kind::Folder || facts.kind == Kind::Other) {
    return {
        {Level::Fail, {texts::settingsNoFile, {inWords(settings)}}, texts::settingsNoFileAdvice}};
  }
  if (facts.size > largestFile) {
    return {{Level::Fail,
             {texts::settingsTooLarge, {std::to_string(facts.size)}},
             texts::settingsNoFileAdvice}};
  }
  std::string content;
  if (!facts.readable || !platform::readTextFile(path, content)) {
    return {{Level::Warn, texts::settingsUnreadable, texts::settingsUnreadableAdvice}};
  }
  return judgeContent(content, settings);
}

}  // namespace check
