#include "platform/linux/flat_json.h"

#include <algorithm>
#include <cstddef>

namespace platform {
namespace {

constexpr int deepest = 16;

class Flattener {
 public:
  explicit Flattener(const std::string& text) : text_(text) {}

  std::vector<std::pair<std::string, std::string>> values;

  /// False at an error; parsing then ends.
  bool takeValue(const std::string& name, int depth) {
    skipBlanks();
    if (depth > deepest || at_ == text_.size()) {
      return false;
    }
    if (text_[at_] == '{' || text_[at_] == '[') {
      return takeList(name, depth);
    }
    std::string value;
    if (text_[at_] == '"') {
      if (!takeText(value)) {
        return false;
      }
    } else {
      const std::size_t end = std::min(text_.find_first_of(",]} \t\r\n", at_), text_.size());
      value = text_.substr(at_, end - at_);
      at_ = end;
    }
    values.emplace_back(name, value);
    return !value.empty() || text_[at_ - 1] == '"';
  }

 private:
  bool takeList(const std::string& name, int depth) {
    const bool isObject = text_[at_++] == '{';
    const char end = isObject ? '}' : ']';
    if (take(end)) {
      return true;
    }
    for (std::size_t number = 0;; ++number) {  // Each round consumes something or leaves.
      std::string member = std::to_string(number);
      if (isObject && !(isNext('"') && takeText(member) && take(':'))) {
        return false;
      }
      if (!takeValue(name.empty() ? member : name + "/" + member, depth + 1)) {
        return false;
      }
      if (!take(',')) {
        return take(end);
      }
    }
  }

  bool takeText(std::string& value) {
    value.clear();
    for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] != '\\') {
        value += text_[at_];
      } else if (++at_ < text_.size()) {
        const bool isNumber = text_[at_] == 'u';
        value += isNumber ? '?' : text_[at_];
        at_ += isNumber ? 4 : 0;
      }
    }
    return at_++ < text_.size();
  }

  void skipBlanks() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }

  bool isNext(char c) {
    skipBlanks();
    return at_ < text_.size() && text_[at_] == c;
  }
  bool take(char c) {
    const bool isThere = isNext(c);
    at_ += isThere ? 1 : 0;
    return isThere;
  }

  const std::string& text_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<std::pair<std::string, std::string>> flattenJson(const std::string& text) {
  Flattener flattener(text);
  flattener.takeValue("", 0);
  return flattener.values;
}

}  // namespace platform
