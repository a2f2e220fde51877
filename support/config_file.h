// A small text file of name and value lines, read once.
#ifndef KV500_SUPPORT_CONFIG_FILE_H
#define KV500_SUPPORT_CONFIG_FILE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace kv500 {

/// The one fault of a file. `reportable` is false only if the file can't be opened: it is
/// optional, and a person need not hear of its absence.
struct ConfigException {
  bool reportable;
  std::string message;
  std::size_t line = 0;  ///< Where it is, from 1; 0 for no line.
};

/// Name and value stand in one line, divided by its first "="; both are taken without any change.
/// White space in front of a line is dropped; an empty line and one that begins with "#" is passed
/// over. There is no quoting, no escaping, no continuation and no character set.
///
/// Built and read on one thread.
class ConfigFile {
 public:
  /// Reads the file of that bare name from the program's folder. Raises ConfigException on the
  /// first fault; no value of such a file can be had.
  explicit ConfigFile(const std::string& fileName);

  /// The same for a text that has been read already.
  static ConfigFile fromText(const std::string& content);

  /// All that is set, by name.
  const std::map<std::string, std::string>& values() const { return values_; }

  /// The getters say whether the name is set, and leave their outputs alone if it is not. Where
  /// there is a `valid`, it tells whether the value can be used; `value` is written only then.

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
