// Texts for the person at the screen. A service has no desktop, so they go as a message box into
// the session of the user who works there.
#ifndef KV500_SUPPORT_NOTICE_H
#define KV500_SUPPORT_NOTICE_H

#include <string>

namespace kv500 {

/// Shows a message box titled "KALVERO  -  " and `heading` in the first active user session and
/// blocks, for however long, until the person has answered; returns at once if nobody is there.
/// Any thread, several at once; no lock is needed and every lock that the caller holds stays held.
/// Nothing is logged: callers that need the text on record write it there first.
void notifyUser(const std::string& heading, const std::string& text);

/// The same with both texts in 16-bit units. True if the box was shown and answered.
bool sendToActiveSession(const std::u16string& title, const std::u16string& text);

/// One 16-bit unit for each byte, with no code page: the byte is taken as a signed number, so that
/// 0x80 becomes 0xFF80.
std::u16string widenBytes(const std::string& text);

}  // namespace kv500

#endif
