// A hostile card: detecting its kind and reading its data.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "card/card_kind.h"
#include "card/insurance_data.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Answers with the input, piece by piece: a byte with half the length, then the response.
class HostileCard final : public kv500::CardChannel {
 public:
  HostileCard(const std::uint8_t* data, std::size_t size) : rest(data, data + size) {}

  bool transmitApdu(const kv500::ByteVector& command, kv500::ByteVector& response) override {
    require(command.size() >= 5 && command.size() <= 11);
    const bool isReadBinary = command[1] == 0xB0;
    const std::uint8_t p1 = command[2];  // An offset, or from 80 on a short file identifier.
    require(!isReadBinary || p1 < 0x80 || p1 == 0x81 || p1 == 0x82 || p1 == 0x8C);
    if (rest.empty()) {
      return false;
    }
    const auto begin = rest.begin() + 1;
    const auto end = begin + std::min<std::ptrdiff_t>(2 * rest[0], rest.end() - begin);
    response.assign(begin, end);
    rest.erase(rest.begin(), end);
    return true;
  }
  bool readAtr(kv500::ByteVector&) override { return true; }

 private:
  kv500::ByteVector rest;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HostileCard card(data, size);
  kv500::detectCardKind(card);
  std::string daten;
  require(kv500::readInsuranceData(card, daten) ? daten.front() == '{' : daten.empty());
  std::string cardId;
  require(kv500::readCardId(card, cardId) != cardId.empty());
  return 0;
}
