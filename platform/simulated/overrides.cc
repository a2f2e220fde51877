#include "platform/simulated/overrides.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <system_error>
#include <utility>

namespace simulated {
namespace {

/// Longer than any reader waits for a card, but short enough to end a test that forgot about it.
constexpr unsigned longestWait = 600000;

/// ISO/IEC 7816-4: an extended Le asks for at most 65536 bytes of data; then SW1 SW2.
constexpr std::size_t longestResponse = 65536 + 2;

constexpr std::string_view blanks = " \t\r";

std::vector<std::string_view> splitWords(std::string_view line) {
  std::vector<std::string_view> words;
  std::size_t begin = line.find_first_not_of(blanks);
  while (begin != std::string_view::npos) {
    const std::size_t end = std::min(line.find_first_of(blanks, begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = line.find_first_not_of(blanks, end);
  }
  return words;
}

std::optional<unsigned> parseMilliseconds(std::string_view text) {
  unsigned value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value > longestWait) {
    return std::nullopt;
  }
  return value;
}

/// If the words after the command are invalid, throws the message as a text.
Override parseAction(const std::vector<std::string_view>& words) {
  const std::string_view action = words[1];
  if (action == "wait") {
    const auto delay = words.size() == 3 ? parseMilliseconds(words[2]) : std::nullopt;
    if (!delay) {
      throw std::string("\"wait\" needs a number of milliseconds, 0 to 600000");
    }
    return {Override::Kind::Wait, {}, std::chrono::milliseconds(*delay)};
  }
  if (words.size() > 2) {
    throw std::string("more words than a command and what happens; bytes stand without blanks");
  }
  if (action == "fail") {
    return {Override::Kind::Fail, {}, {}};
  }
  if (action == "remove") {
    return {Override::Kind::Remove, {}, {}};
  }
  std::optional<Bytes> response = parseHex(action);
  if (!response) {
    throw std::string("the response is neither hexadecimal nor \"fail\", \"wait N\" or \"remove\"");
  }
  if (response->size() > longestResponse) {
    throw std::string("the response is longer than 65538 bytes");
  }
  return {Override::Kind::Respond, std::move(*response), {}};
}

void parseLine(std::string_view line, Overrides& overrides) {
  const std::vector<std::string_view> words = splitWords(line);
  if (words.empty() || line.front() == '#') {
    return;
  }
  const std::optional<Bytes> command = parseHex(words[0]);
  if (!command) {
    throw std::string("the command is not hexadecimal with two digits a byte");
  }
  if (words.size() == 1) {
    throw std::string("nothing says what happens at the command");
  }
  overrides.add(*command, parseAction(words));
}

}  // namespace

void Overrides::add(const Bytes& command, Override what) {
  turns_[command].list.push_back(std::move(what));
}

const Override* Overrides::next(const Bytes& command) {
  const auto found = turns_.find(command);
  if (found == turns_.end()) {
    return nullptr;
  }
  Turns& turns = found->second;
  const Override& what = turns.list[turns.next];
  if (turns.next + 1 < turns.list.size()) {
    ++turns.next;
  }
  return &what;
}

Overrides parseOverrides(std::string_view text) {
  Overrides overrides;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    try {
      parseLine(text.substr(0, end), overrides);
    } catch (const std::string& message) {
      throw OverridesError{number, message};
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return overrides;
}

}  // namespace simulated
