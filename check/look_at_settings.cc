#include <algorithm>
#include <cctype>

#include "check/looks.h"
#include "check/nearest_name.h"
#include "check/origin.h"
#include "check/printable.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"

namespace check {
namespace {

using kv500::ConfigException;
using kv500::ConfigFile;
using kv500::Settings;

constexpr std::uint64_t largestFile = std::uint64_t{1} << 20;  // What the service reads.
constexpr std::size_t mostUnknown = 20;                        // Names that are told one by one.
constexpr std::size_t longestLine = 80;  // Bytes of a faulty line that are shown.
const std::string byteOrderMark = "\xEF\xBB\xBF";

std::string inWords(const Settings& settings) {
  constexpr std::size_t longestValue = 100;  // Bytes: one value must not hide the others.
  const auto word = [](bool on) { return on ? "yes" : "no"; };
  const auto text = [](const std::string& value) { return shortened(value, longestValue); };
  return "Port=" + std::to_string(settings.port) + ", AllowOrigin=" + text(settings.allowOrigin) +
         ", AllowHost=" + text(joined(settings.allowedHosts, ",")) +
         ", OnlyActiveUser=" + word(settings.onlyActiveUser) +
         ", CallBrowser=" + word(settings.callBrowser) +
         ", BrowserCommand=" + text(settings.browserCommand) + ", URL=" + text(settings.url) +
         ", AppendCardId=" + word(settings.appendCardId);
}

bool isUtf16(const std::string& content) {
  const std::string start = content.substr(0, 2);
  const bool hasMark = start == "\xFF\xFE" || start == "\xFE\xFF";
  // Without a byte order mark, one of the two bytes of each letter is zero.
  const bool hasZeros = content.size() > 1 && (content[0] == '\0') != (content[1] == '\0');
  return hasMark || hasZeros;
}

std::string withoutBlanks(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  const auto last = text.find_last_not_of(" \t");
  return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

bool isSetting(const std::string& name) {
  return std::count(kv500::settingNames.begin(), kv500::settingNames.end(), name) != 0;
}

Finding judgeUnknownName(const std::string& name) {
  const std::string bare = withoutBlanks(name);
  if (isSetting(bare)) {
    return {Level::Fail, {texts::settingsBlanks, {bare}}, texts::settingsBlanksAdvice};
  }
  const std::string nearest = nearestName(bare, kv500::settingNames);
  if (nearest.empty()) {
    return {Level::Warn,
            {texts::settingsUnknown, {name}},
            {texts::settingsUnknownAdvice, {joined(kv500::settingNames)}}};
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
  if (settings.url != withoutBlanks(settings.url)) {
    findings.push_back(
        {Level::Warn, {texts::settingsBlankUrl, {settings.url}}, texts::settingsBlanksAdvice});
  }
  if (settings.appendCardId && settings.url.empty()) {
    findings.push_back({Level::Warn, texts::settingsNoUrl, texts::settingsNoUrlAdvice});
  }
}

void judgeHosts(const Settings& settings, Findings& findings) {
  std::vector<std::string> bad = settings.allowedHosts;
  std::erase_if(bad, [](std::string host) {
    std::transform(host.begin(), host.end(), host.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return isHost(host);
  });
  if (!bad.empty()) {
    findings.push_back(
        {Level::Fail, {texts::settingsBadHost, {joined(bad)}}, texts::settingsHostAdvice});
  }
}

/// For a value that the service does not take.
Finding judgeBadValue(const std::string& key, const std::string& value) {
  const bool isGuard = key == "AllowHost" || key == "OnlyActiveUser";
  return {Level::Fail,
          {isGuard ? texts::settingsBadGuard : texts::settingsBadValue, {key, value}},
          key == "Port"        ? texts::settingsPortAdvice
          : key == "AllowHost" ? texts::settingsHostAdvice
                               : texts::settingsSwitchAdvice};
}

Findings judgeValues(const ConfigFile& config, Settings& settings) {
  Findings findings;
  for (const std::string& key : kv500::readSettings(config, settings)) {
    findings.push_back(judgeBadValue(key, config.values().at(key)));
  }
  std::size_t unknown = 0;
  for (const auto& [name, value] : config.values()) {
    if (name.starts_with(byteOrderMark)) {
      findings.push_back({Level::Fail, texts::settingsBom, texts::settingsEncodingAdvice});
    } else if (!isSetting(name) && ++unknown <= mostUnknown) {
      findings.push_back(judgeUnknownName(name));
    }
  }
  if (unknown > mostUnknown) {
    findings.push_back({Level::Warn,
                        {texts::settingsManyUnknown, {std::to_string(unknown - mostUnknown)}},
                        texts::settingsNameAdvice});
  }
  judgeHosts(settings, findings);
  judgeBrowser(settings, findings);
  findings.push_back({Level::Ok, {texts::settingsHold, {inWords(settings)}}});
  return findings;
}

/// For a fault that makes the whole file count for nothing.
Finding judgeFault(const ConfigException& fault) {
  const Phrase& phrase = fault.fault == ConfigException::Fault::SetTwice ? texts::settingsTwice
                         : fault.fault == ConfigException::Fault::NoName ? texts::settingsNoName
                                                                         : texts::settingsNoEquals;
  return {Level::Fail,
          {phrase, {std::to_string(fault.line), shortened(fault.subject, longestLine)}},
          texts::settingsFaultAdvice};
}

/// For a file that counts for nothing, or that is not there. `problems` tell why.
Findings withDefaults(Findings problems) {
  problems.push_back({Level::Ok, {texts::settingsDefaults, {inWords(Settings())}}});
  return problems;
}

Findings judgeContent(const std::string& content, Settings& settings) {
  if (isUtf16(content)) {
    return withDefaults({{Level::Fail, texts::settingsUtf16, texts::settingsEncodingAdvice}});
  }
  try {
    return judgeValues(ConfigFile::fromText(content), settings);
  } catch (const ConfigException& fault) {
    Findings findings;
    if (content.starts_with(byteOrderMark)) {
      findings.push_back({Level::Fail, texts::settingsBom, texts::settingsEncodingAdvice});
    }
    findings.push_back(judgeFault(fault));
    return withDefaults(findings);
  }
}

/// For a file that this user can't read: the service may.
Findings judgeUnknown(const Phrase& phrase, const Services& services, WorkingSettings& settings) {
  const auto port = platform::portOf(services.kv500.processId);
  settings.values.port = port.value_or(settings.values.port);
  settings.portIsKnown = port.has_value();
  return {{Level::Warn, phrase, texts::settingsUnreadableAdvice}};
}

}  // namespace

Findings lookAtSettings(const Folder& folder, const Services& services, WorkingSettings& settings) {
  using Kind = platform::FileFacts::Kind;
  const std::filesystem::path path = folder.path / "config.txt";
  const platform::FileFacts facts = platform::inspectFile(path);
  if (facts.kind == Kind::Hidden) {
    return judgeUnknown(texts::settingsHidden, services, settings);
  }
  std::string content;
  const bool shouldBeRead = facts.kind == Kind::Ordinary && facts.size <= largestFile;
  if (shouldBeRead && (!facts.readable || !platform::readTextFile(path, content))) {
    return judgeUnknown(texts::settingsUnreadable, services, settings);
  }
  settings.areKnown = settings.portIsKnown = true;
  if (facts.kind == Kind::Absent) {
    return withDefaults({{Level::Warn,
                          {texts::settingsAbsent, {platform::toUtf8(folder.path)}},
                          texts::settingsAbsentAdvice}});
  }
  if (facts.kind != Kind::Ordinary) {
    return withDefaults({{Level::Fail, texts::settingsNoFile, texts::settingsNoFileAdvice}});
  }
  if (!shouldBeRead) {
    return withDefaults({{Level::Fail,
                          {texts::settingsTooLarge, {std::to_string(facts.size)}},
                          texts::settingsNoFileAdvice}});
  }
  if (!facts.readableForService && isServiceIn(folder, services)) {
    return withDefaults({{Level::Fail, texts::settingsNotForService, texts::settingsRightsAdvice}});
  }
  return judgeContent(content, settings.values);
}

}  // namespace check
