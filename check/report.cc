#include "check/report.h"

#include <algorithm>

#include "check/output.h"
#include "check/printable.h"
#include "check/program.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"
#include "support/log.h"

namespace check {
namespace {

constexpr std::size_t largestConfig = std::size_t{1} << 20;  // Bytes that the service reads.
constexpr std::size_t mostConfig = 65536;  // Bytes, far more than a person writes.
constexpr std::size_t mostLog = 65536;     // Bytes, in which the lines are looked for.
constexpr int logLines = 50;

std::string lastLines(const std::string& text) {
  std::size_t begin = text.size();
  for (int i = 0; i <= logLines && begin != std::string::npos && begin > 0; ++i) {
    begin = text.rfind('\n', begin - 1);
  }
  return begin == std::string::npos || begin == 0 ? text : text.substr(begin + 1);
}

}  // namespace

std::string composeReport(const Folder& folder, const Findings& findings, Language language) {
  const auto say = [language](const Phrase& phrase, const std::string& argument = "") {
    return Message(phrase, {argument}).in(language) + "\n";
  };
  const auto section = [&](const std::string& title, std::string content) {
    std::erase(content, '\r');
    if (content.empty()) {
      content = say(texts::reportNothing);
    } else if (!content.ends_with('\n')) {
      content += '\n';
    }
    return "\n== " + title + "\n" + printable(content, true);
  };
  // Not as the service reads it: then each failure to read it would be told as the service's own.
  const std::string config = platform::readFileEnd(folder.path / "config.txt", largestConfig);
  const std::string log = platform::readFileEnd(folder.path / "log.txt", mostLog);
  return say(texts::reportTitle, programVersion) + say(texts::reportTime, kv500::logTimestamp()) +
         say(texts::reportSystem, platform::systemDescription()) +
         say(texts::reportFolder, platform::toUtf8(folder.path)) +
         "\n== " + say(texts::reportFindings) + asLines(findings, language) +
         section("config.txt", shortened(config, mostConfig)) +
         section(Message(texts::reportLog).in(language), lastLines(log));
}

bool writeReport(const std::string& path, const Folder& folder, const std::string& report) {
  using Kind = platform::FileFacts::Kind;
  const std::filesystem::path file = platform::fromUtf8(path);
  const Kind kind = platform::inspectFile(file).kind;
  std::error_code error;  // A file that is not there is no other file.
  const bool isService = std::filesystem::equivalent(file, folder.path / "config.txt", error) ||
                         std::filesystem::equivalent(file, folder.path / "log.txt", error);
  return (kind == Kind::Absent || kind == Kind::Ordinary) && !isService &&
         platform::writeFile(file, report);
}

}  // namespace check
