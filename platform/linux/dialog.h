// A text in a dialog on a user's desktop.
#ifndef KV500_PLATFORM_LINUX_DIALOG_H
#define KV500_PLATFORM_LINUX_DIALOG_H

#include <string>

#include "platform/linux/session_user.h"

namespace platform::linux_sessions {

/// Shows title and text with an OK button. Uses whichever dialog program the user has. Returns true
/// once the dialog has been answered, false if no program could show it or the session ended. Any
/// thread.
bool showDialog(const SessionUser& user, const std::string& title, const std::string& text);

/// Converts a text of 16-bit units that each hold one byte to what a dialog can show. Valid UTF-8
/// is kept. Other bytes, and control characters except the line feed, are replaced.
std::string dialogText(const std::u16string& units);

}  // namespace platform::linux_sessions

#endif
