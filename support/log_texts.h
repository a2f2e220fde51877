// Log texts, or beginnings of log texts, by which a fault is recognised later.
#ifndef KV500_SUPPORT_LOG_TEXTS_H
#define KV500_SUPPORT_LOG_TEXTS_H

#include <string>

namespace kv500::log_texts {

inline const std::string started = "### Service started! ###";
inline const std::string portNotOpened = "Could not open port";
inline const std::string badFile = "Error reading config file:\n";
inline const std::string badValue = "Invalid value for '";
inline const std::string noSmartcardService = "Smartcard service not running!";
inline const std::string noContext = "Could not establish PCSC context";
inline const std::string pcscError = "PCSC error 0x";
inline const std::string severalReaders = "Only one ";

}  // namespace kv500::log_texts

#endif
