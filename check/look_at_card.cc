#include "check/limited.h"
#include "check/looks.h"
#include "check/pcsc_look.h"
#include "check/texts.h"
#include "platform/hex_text.h"
#include "platform/inspection.h"

namespace check {
namespace {

using platform::ReaderFacts;

/// A transaction that lasts longer than this means that another program holds the card. The
/// service, too, is in a transaction while it reads a card.
constexpr std::chrono::milliseconds transactionLimit{2500};

/// Opens a connection beside those of others, asks whether the card is there and leaves it
/// unchanged. If another program is in a transaction, this waits for its end.
Findings connectOnce(const std::string& reader, const Services& services) {
  const PcscLook pcsc(services);
  platform::SCARDHANDLE card = 0;
  std::uint32_t protocol = 0;
  std::uint32_t result = pcsc.result();
  if (result == platform::SCARD_S_SUCCESS) {
    result = platform::SCardConnectA(pcsc.context(), reader.c_str(), platform::SCARD_SHARE_SHARED,
                                     platform::SCARD_PROTOCOL_T0 | platform::SCARD_PROTOCOL_T1,
                                     card, protocol);
  }
  if (result == platform::SCARD_S_SUCCESS) {
    std::uint32_t state = 0;
    std::uint8_t atr[33];
    std::uint32_t length = sizeof(atr);
    result = platform::SCardStatusA(card, state, protocol, atr, length);
    platform::SCardDisconnect(card, platform::SCARD_LEAVE_CARD);
  }
  switch (result) {
    case platform::SCARD_S_SUCCESS:
      return {};
    case platform::SCARD_E_SHARING_VIOLATION:
      return {{Level::Fail, texts::cardExclusive, texts::cardHeldAdvice}};
    case platform::SCARD_E_NO_SMARTCARD:
    case platform::SCARD_W_REMOVED_CARD:
      return {{Level::Warn, texts::cardNone, texts::cardNoneAdvice}};
    case platform::SCARD_W_UNRESPONSIVE_CARD:
    case platform::SCARD_W_UNPOWERED_CARD:
      return {{Level::Fail, texts::cardMute, texts::cardMuteAdvice}};
    default:
      return {{Level::Fail, {texts::cardFails, {codeText(result)}}, texts::cardFailsAdvice}};
  }
}

Findings judgeReader(const std::string& reader, const ReaderFacts& facts,
                     const Services& services) {
  if ((facts.state & platform::SCARD_STATE_PRESENT) == 0) {
    return {{Level::Warn, texts::cardNone, texts::cardNoneAdvice}};
  }
  if ((facts.state & platform::SCARD_STATE_MUTE) != 0) {
    return {{Level::Fail, texts::cardMute, texts::cardMuteAdvice}};
  }
  if ((facts.state & platform::SCARD_STATE_EXCLUSIVE) != 0) {
    return {{Level::Fail, texts::cardExclusive, texts::cardHeldAdvice}};
  }
  const auto trouble = within<Findings>(
      transactionLimit, [reader, services] { return connectOnce(reader, services); });
  if (!trouble) {
    return {{Level::Fail, texts::cardTransaction, texts::cardHeldAdvice}};
  }
  return trouble->empty() ? Findings{{Level::Ok, {texts::cardIn, {platform::hexText(facts.atr)}}}}
                          : *trouble;
}

}  // namespace

Findings lookAtCard(const Services& services) {
  const PcscLook pcsc(services);
  std::vector<std::string> names;
  pcsc.listReaders(names);
  const auto served = servedReaders(names);
  if (served.size() != 1) {
    return {{Level::Warn, texts::cardNoReader, texts::seeReaders}};
  }
  ReaderFacts facts;
  const std::uint32_t result = platform::inspectReader(pcsc.context(), served.front(), facts);
  if (result != platform::SCARD_S_SUCCESS) {
    return {{Level::Fail, {texts::cardFails, {codeText(result)}}, texts::cardFailsAdvice}};
  }
  return judgeReader(served.front(), facts, services);
}

}  // namespace check
