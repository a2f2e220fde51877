#include "check/output.h"

namespace check {
namespace {

const char* nameOf(Level level) {
  switch (level) {
    case Level::Ok:
      return "ok";
    case Level::Warn:
      return "warn";
    default:
      return "fail";
  }
}

/// The texts contain no control characters any more.
std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    result.append(c == '"' || c == '\\' ? "\\" : "").append(1, c);
  }
  return result + "\"";
}

}  // namespace

std::string asLines(const Findings& findings, Language language) {
  std::string lines;
  for (const Finding& finding : findings) {
    std::string level = "[" + std::string(nameOf(finding.level)) + "]";
    level.resize(sizeof("[warn] ") - 1, ' ');
    lines += level + finding.id + ": " + finding.text.in(language) + "\n";
    if (!finding.advice.isEmpty()) {
      lines += "       -> " + finding.advice.in(language) + "\n";
    }
  }
  return lines;
}

std::string asJson(const Findings& findings, Language language) {
  std::string json = "[";
  for (const Finding& finding : findings) {
    json += json.size() > 1 ? ",\n" : "\n";
    json += "  {\"id\": " + quoted(finding.id) + ", \"level\": " + quoted(nameOf(finding.level)) +
            ",\n   \"text\": " + quoted(finding.text.in(language)) +
            ",\n   \"advice\": " + quoted(finding.advice.in(language)) + "}";
  }
  return json + "\n]\n";
}

}  // namespace check
