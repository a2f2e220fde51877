#include "platform/linux/dialog.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/session_program.h"
#include "platform/utf8.h"

namespace platform::linux_sessions {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";  // U+FFFD in UTF-8.

/// zenity treats a backslash in a text as the beginning of an escape.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    result.append(c == '\\' ? 2 : 1, c);
  }
  return result;
}

std::vector<Arguments> dialogs(const std::string& title, const std::string& text) {
  return {
      {"zenity", "--error", "--no-markup", "--title=" + title, "--text=" + escaped(text)},
      {"kdialog", "--title", title, "--error", text},
      {"xmessage", "-center", "-buttons", "OK:0", "-default", "OK", "-title", title, text},
  };
}

}  // namespace

bool showDialog(const SessionUser& user, const std::string& title, const std::string& text) {
  std::vector<std::string> environment = environmentOf(user);
  // A box that is closed counts as read. Without this, zenity would report it with the same exit
  // status as a missing display.
  environment.insert(environment.end(), {"ZENITY_CANCEL=0", "ZENITY_ESC=0"});
  for (const Arguments& dialog : dialogs(title, text)) {
    if (runInSession(user, environment, dialog) == 0) {
      return true;
    }
    if (!isSessionThere(user.session)) {
      return false;
    }
  }
  return false;
}

std::string dialogText(const std::u16string& units) {
  std::string bytes;
  for (const char16_t unit : units) {
    bytes += static_cast<char>(unit & 0xFF);
  }
  std::string text;
  for (std::string_view rest = bytes; !rest.empty();) {
    const std::size_t length = characterLength(rest);
    const bool isControl = length == 1 && rest[0] != '\n' && (rest[0] < 32 || rest[0] == 127);
    text += length == 0 || isControl ? replacementCharacter : rest.substr(0, length);
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return text;
}

}  // namespace platform::linux_sessions
