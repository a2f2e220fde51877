#include "check/options.h"

#include <charconv>

#include "check/texts.h"

namespace check {
namespace {

constexpr int longestWait = 3600;  // Seconds.

std::optional<std::chrono::seconds> parseWait(const std::string& text) {
  int value = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || last != end || value < 0 || value > longestWait) {
    return std::nullopt;
  }
  return std::chrono::seconds(value);
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments, Language language) {
  Options options;
  options.language = language;
  const auto fail = [&options](const Phrase& phrase, const std::string& argument) {
    throw UsageError{{phrase, {argument}}, options.language};
  };
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const std::string& option = *argument;
    const auto value = [&] {
      if (++argument == arguments.end()) {
        fail(texts::needsValue, option);
      }
      return *argument;
    };
    if (option == "--help" || option == "-h") {
      options.help = true;
    } else if (option == "--version") {
      options.version = true;
    } else if (option == "--json") {
      options.json = true;
    } else if (option == "--folder") {
      options.folder = value();
    } else if (option == "--report") {
      options.reportFile = value();
    } else if (option == "--language") {
      const std::string tag = value();
      if (tag != "de" && tag != "en") {
        fail(texts::badLanguage, tag);
      }
      options.language = tag == "de" ? Language::German : Language::English;
    } else if (option == "--wait") {
      const std::string text = value();
      const auto wait = parseWait(text);
      if (!wait) {
        fail(texts::badWait, text);
      }
      options.wait = *wait;
    } else {
      fail(texts::unknownOption, option);
    }
  }
  return options;
}

}  // namespace check
