#include "check/pcsc_look.h"

#include <algorithm>
#include <iterator>

#include "device/reader_list.h"

namespace check {

PcscLook::PcscLook(const Services& services)
    : wouldStart_(services.smartcard.onDemand),
      result_(wouldStart_
                  ? platform::SCARD_E_NO_SERVICE
                  : platform::SCardEstablishContext(platform::SCARD_SCOPE_SYSTEM, context_)) {}

PcscLook::~PcscLook() {
  if (context_ != 0) {
    platform::SCardReleaseContext(context_);
  }
}

std::uint32_t PcscLook::listReaders(std::vector<std::string>& names) const {
  if (result_ != platform::SCARD_S_SUCCESS) {
    return result_;
  }
  std::uint32_t length = 0;
  std::uint32_t result = platform::SCardListReadersA(context_, nullptr, length);
  if (result == platform::SCARD_E_NO_READERS_AVAILABLE) {
    return platform::SCARD_S_SUCCESS;
  }
  // One more byte, which stays zero whatever is written.
  std::vector<char> list(length + 1);
  if (result == platform::SCARD_S_SUCCESS) {
    result = platform::SCardListReadersA(context_, list.data(), length);
  }
  if (result != platform::SCARD_S_SUCCESS) {
    return result;
  }
  for (auto begin = list.begin(); begin != list.end() && *begin != '\0';) {
    const auto end = std::find(begin, list.end(), '\0');
    names.emplace_back(begin, end);
    begin = end == list.end() ? end : end + 1;
  }
  return platform::SCARD_S_SUCCESS;
}

std::vector<std::string> servedReaders(const std::vector<std::string>& names) {
  std::vector<std::string> served;
  std::copy_if(names.begin(), names.end(), std::back_inserter(served), [](const std::string& name) {
    std::vector<char> list(name.begin(), name.end());
    list.insert(list.end(), 2, '\0');
    return kv500::findReaders(list, readerModel).matchCount == 1;
  });
  return served;
}

std::string codeText(std::uint32_t code) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string text;
  for (int shift = 28; shift >= 0; shift -= 4) {
    text += digits[code >> shift & 0xF];
  }
  return text;
}

}  // namespace check
