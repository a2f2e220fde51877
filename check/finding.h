// What a look at the machine has found, before it is put into words of one language.
#ifndef KV500_CHECK_FINDING_H
#define KV500_CHECK_FINDING_H

#include <initializer_list>
#include <string>
#include <vector>

namespace check {

enum class Level { Ok, Warn, Fail };
enum class Language { English, German };

/// A text in both languages, in UTF-8. "{0}" to "{9}" stand for arguments.
struct Phrase {
  const char* english = "";
  const char* german = "";
};

/// A phrase and its arguments. Arguments may come from anywhere. When the message is put into
/// words, control characters and bytes that are no UTF-8 are replaced, and long arguments are cut.
class Message {
 public:
  Message() = default;
  Message(const Phrase& phrase, std::initializer_list<std::string> arguments = {})
      : phrase_(phrase), arguments_(arguments) {}

  bool isEmpty() const { return *phrase_.english == '\0'; }
  std::string in(Language language) const;

 private:
  Phrase phrase_;
  std::vector<std::string> arguments_;
};

struct Finding {
  Level level = Level::Ok;
  Message text;
  Message advice = {};  ///< Empty if all is well.
  std::string id = {};  ///< The id of the look, which never changes; set by whoever runs it.
};
using Findings = std::vector<Finding>;

/// For findings that rest on an assumption, or about what is not used here.
void notWorseThanWarn(Findings& findings);

/// The worst level of all findings.
Level worstOf(const Findings& findings);

}  // namespace check

#endif
