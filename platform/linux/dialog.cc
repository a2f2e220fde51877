#include "platform/linux/dialog.h"

#include "platform/linux/session_program.h"
#include "platform/posix/path_text.h"

namespace platform::linux_sessions {
namespace {

/// zenity reads backslashes in a text as the beginning of an escape.
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
  // A box that is closed has been read as well; by itself zenity would say that with the same
  // number as that it has no display.
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
  std::u16string text = posix::toUnits(bytes);
  bool inPair = false;
  for (char16_t& unit : text) {
    const bool isControl = (unit < 0x20 && unit != u'\n') || unit == 0x7F;
    const bool isStrayByte = unit >= 0xDC00 && unit <= 0xDFFF && !inPair;
    inPair = unit >= 0xD800 && unit <= 0xDBFF;
    if (isControl || isStrayByte) {
      unit = 0xFFFD;  // REPLACEMENT CHARACTER
    }
  }
  return posix::toBytes(text);
}

}  // namespace platform::linux_sessions
