// A small text file of name and value lines, read once.
#ifndef KV500_SUPPORT_CONFIG_FILE_H
#define KV500_SUPPORT_CONFIG_FILE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace kv500 {

/// The one error of a file.
struct ConfigException {
  enum class Fault { NotOpened, NoEquals, NoName, SetTwice };

  /// The file is optional: nobody needs to hear that it is absent.
  bool isReportable() const { return fault != Fault::NotOpened; }

  Fault fault;
  std::string message;
  std::size_t line = 0;      ///< The line of the error, from 1; 0 for no line.
  std::string subject = {};  ///< The name that is set twice, otherwise the whole line.
};

/// Each line holds a name and a value, separated by its first "="; both are taken unchanged. White
/// space at the start of a line is dropped. Empty lines and lines that begin with "#" are skipped.
/// There is no quoting, no escaping, no continuation and no character set.
///
/// One thread builds and reads it.
class ConfigFile {
 public:
  /// Reads the file of that bare name from the program's folder. Raises ConfigException on the
  /// first error. No value of such a file is available then.
  explicit ConfigFile(const std::string& fileName);

  /// The same for a text that has been read already.
  static ConfigFile fromText(const std::string& content);

  /// All settings of the file, by name.
  const std::map<std::string, std::string>& values() const { return values_; }

  /// The getters return whether the name is set; if not, they leave their outputs unchanged. A
  /// getter with `valid` also tells whether the value can be used; it writes `value` only then.

  bool getString(const std::string& key, std::string& value) const;
  /// Decimal digits only. A number too large for 64 bits wraps around.
  bool getInteger(const std::string& key, bool& valid, std::uint64_t& value) const;
  /// "y", "yes", "true", "enable", "n", "no", "false", "disable", in upper or lower case.
  bool getBool(const std::string& key, bool& valid, bool& value) const;

 private:
  ConfigFile() = default;
  void parse(const std::string& content);
  void parseLine(const std::string& rawLine, std::size_t lineNumber);

  std::map<std::string, std::string> values_;
};

}  // namespace kv500

#endif
