// The command line that starts the browser.
#ifndef KV500_DEVICE_BROWSER_COMMAND_H
#define KV500_DEVICE_BROWSER_COMMAND_H

#include <string>

namespace kv500 {

/// The program in quotation marks. If `url` is not empty, the address follows, also in quotation
/// marks: `url` and `cardId` with nothing between them and nothing escaped. An id that holds a
/// quotation mark or a control character is left out: it comes from a card, and a forged card must
/// not pass options of its own to the browser. Any thread.
std::string browserCommandLine(const std::string& browserCommand, const std::string& url,
                               const std::string& cardId);

}  // namespace kv500

#endif
