#include "support/config_file.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "platform/program.h"

namespace kv500 {
namespace {

using Fault = ConfigException::Fault;

bool isSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}
bool isDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
char toLower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

}  // namespace

ConfigFile::ConfigFile(const std::string& fileName) {
  std::string content;
  if (!platform::readTextFile(platform::GetModuleFileNameW().replace_filename(fileName), content)) {
    throw ConfigException{Fault::NotOpened, "Could not open file"};
  }
  parse(content);
}

ConfigFile ConfigFile::fromText(const std::string& content) {
  ConfigFile config;
  config.parse(content);
  return config;
}

bool ConfigFile::getString(const std::string& key, std::string& value) const {
  const auto entry = values_.find(key);
  if (entry == values_.end()) {
    return false;
  }
  value = entry->second;
  return true;
}

bool ConfigFile::getInteger(const std::string& key, bool& valid, std::uint64_t& value) const {
  std::string text;
  if (!getString(key, text)) {
    return false;
  }
  valid = !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
  if (valid) {
    value = 0;
    for (const char digit : text) {
      value = value * 10 + static_cast<std::uint64_t>(digit - '0');
    }
  }
  return true;
}

bool ConfigFile::getBool(const std::string& key, bool& valid, bool& value) const {
  std::string text;
  if (!getString(key, text)) {
    return false;
  }
  std::transform(text.begin(), text.end(), text.begin(), toLower);
  const bool yes = text == "y" || text == "yes" || text == "true" || text == "enable";
  const bool no = text == "n" || text == "no" || text == "false" || text == "disable";
  valid = yes || no;
  if (valid) {
    value = yes;
  }
  return true;
}

void ConfigFile::parse(const std::string& content) {
  std::istringstream lines(content);
  // Otherwise the stream would swallow a lack of memory and end early.
  lines.exceptions(std::ios::badbit);
  std::string rawLine;
  for (std::size_t lineNumber = 1; std::getline(lines, rawLine); ++lineNumber) {
    parseLine(rawLine, lineNumber);
  }
}

void ConfigFile::parseLine(const std::string& rawLine, std::size_t lineNumber) {
  const std::string line(std::find_if_not(rawLine.begin(), rawLine.end(), isSpace), rawLine.end());
  if (line.empty() || line[0] == '#') {
    return;
  }
  const std::string number = std::to_string(lineNumber);
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos) {
    throw ConfigException{Fault::NoEquals,
                          "'=' missing in line " + number + ":\n" + number + ": " + rawLine,
                          lineNumber, rawLine};
  }
  const std::string name = line.substr(0, equals);
  if (name.empty()) {
    throw ConfigException{Fault::NoName,
                          "Name is missing in line " + number + ":\n" + number + ":" + rawLine,
                          lineNumber, rawLine};
  }
  if (!values_.emplace(name, line.substr(equals + 1)).second) {
    throw ConfigException{Fault::SetTwice, "'" + name + "' is set multiple times!", lineNumber,
                          name};
  }
}

}  // namespace kv500
