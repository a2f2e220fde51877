// Texts for the person at the screen. A service has no desktop, so it shows them as a message box
// in the session of the user who works there.
#ifndef KV500_SUPPORT_NOTICE_H
#define KV500_SUPPORT_NOTICE_H

#include <string>

namespace kv500 {

/// Shows a message box titled "KALVERO  -  " and `heading` in the first active user session. Blocks
/// without limit until the person has answered; returns at once if nobody is there. Any thread, and
/// several at once. No lock is needed, and every lock that the caller holds stays held. Logs
/// nothing: a caller that needs the text in the log writes it there first.
void notifyUser(const std::string& heading, const std::string& text);

/// The same with both texts in 16-bit units. True if the box was shown and answered.
bool sendToActiveSession(const std::u16string& title, const std::u16string& text);

/// Makes one 16-bit unit of each byte, without a code page. The byte is taken as a signed number,
/// so 0x80 becomes 0xFF80.
std::u16string widenBytes(const std::string& text);

}  // namespace kv500

#endif
