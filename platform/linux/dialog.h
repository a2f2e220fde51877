// A text in a dialog on a user's desktop.
#ifndef KV500_PLATFORM_LINUX_DIALOG_H
#define KV500_PLATFORM_LINUX_DIALOG_H

#include <string>

#include "platform/linux/session_user.h"

namespace platform::linux_sessions {

/// Shows title and text with an OK button, by whichever dialog program the user has, and returns
/// true once it has been answered; false if no program could show it or the session ended.
/// Any thread.
bool showDialog(const SessionUser& user, const std::string& title, const std::string& text);

/// What a dialog can show of a text of 16-bit units that each hold one byte, in UTF-8 as far as it
/// goes: other bytes and control characters but the line feed have a stand-in.
std::string dialogText(const std::u16string& units);

}  // namespace platform::linux_sessions

#endif
