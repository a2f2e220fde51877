#include "platform/smartcard.h"

#include <algorithm>

#include "platform/inspection.h"
#include "platform/win32/native.h"
// Needs windows.h.
#include <winscard.h>

namespace platform {
namespace {

std::uint32_t toCode(LONG result) {
  return static_cast<std::uint32_t>(result);
}

/// Repeats a call after each reset by another program. PC/SC requires a reconnect after a reset.
template <typename Call>
LONG pastResets(SCARDHANDLE card, Call call) {
  constexpr int mostResets = 10;  // Even a second reset in a row is unlikely.
  LONG result = call();
  for (int i = 0; i < mostResets && toCode(result) == toCode(SCARD_W_RESET_CARD); ++i) {
    DWORD protocol = 0;
    ::SCardReconnect(static_cast<::SCARDHANDLE>(card), SCARD_SHARE_SHARED,
                     SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1, SCARD_LEAVE_CARD, &protocol);
    result = call();
  }
  return result;
}

}  // namespace

std::uint32_t SCardEstablishContext(std::uint32_t scope, SCARDCONTEXT& context) {
  ::SCARDCONTEXT native = 0;
  const LONG result = ::SCardEstablishContext(scope, nullptr, nullptr, &native);
  if (result == SCARD_S_SUCCESS) {
    context = native;
  }
  return toCode(result);
}

std::uint32_t SCardReleaseContext(SCARDCONTEXT context) {
  return toCode(::SCardReleaseContext(static_cast<::SCARDCONTEXT>(context)));
}

std::uint32_t SCardListReadersA(SCARDCONTEXT context, char* readers, std::uint32_t& length) {
  DWORD nativeLength = readers == nullptr ? 0 : length;
  const LONG result =
      ::SCardListReadersA(static_cast<::SCARDCONTEXT>(context), nullptr, readers, &nativeLength);
  length = nativeLength;
  return toCode(result);
}

std::uint32_t SCardConnectA(SCARDCONTEXT context, const char* reader, std::uint32_t shareMode,
                            std::uint32_t preferredProtocols, SCARDHANDLE& card,
                            std::uint32_t& activeProtocol) {
  ::SCARDHANDLE nativeCard = 0;
  DWORD protocol = 0;
  const LONG result = ::SCardConnectA(static_cast<::SCARDCONTEXT>(context), reader, shareMode,
                                      preferredProtocols, &nativeCard, &protocol);
  if (result == SCARD_S_SUCCESS) {
    card = nativeCard;
    activeProtocol = protocol;
  }
  return toCode(result);
}

std::uint32_t SCardDisconnect(SCARDHANDLE card, std::uint32_t disposition) {
  return toCode(::SCardDisconnect(static_cast<::SCARDHANDLE>(card), disposition));
}

std::uint32_t SCardStatusA(SCARDHANDLE card, std::uint32_t& state, std::uint32_t& activeProtocol,
                           std::uint8_t* atr, std::uint32_t& atrLength) {
  DWORD nativeState = 0;
  DWORD protocol = 0;
  DWORD nativeLength = 0;
  const LONG result = pastResets(card, [&] {
    nativeLength = atrLength;
    return ::SCardStatusA(static_cast<::SCARDHANDLE>(card), nullptr, nullptr, &nativeState,
                          &protocol, atr, &nativeLength);
  });
  if (result == SCARD_S_SUCCESS) {
    activeProtocol = protocol;
  }
  state = nativeState;
  atrLength = nativeLength;
  return toCode(result);
}

std::uint32_t SCardBeginTransaction(SCARDHANDLE card) {
  return toCode(
      pastResets(card, [&] { return ::SCardBeginTransaction(static_cast<::SCARDHANDLE>(card)); }));
}

std::uint32_t SCardEndTransaction(SCARDHANDLE card, std::uint32_t disposition) {
  return toCode(::SCardEndTransaction(static_cast<::SCARDHANDLE>(card), disposition));
}

std::uint32_t SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST& protocol,
                            const std::uint8_t* send, std::uint32_t sendLength,
                            std::uint8_t* receive, std::uint32_t& receiveLength) {
  const ::SCARD_IO_REQUEST request{protocol.dwProtocol, protocol.cbPciLength};
  DWORD nativeLength = receiveLength;
  const LONG result = ::SCardTransmit(static_cast<::SCARDHANDLE>(card), &request, send, sendLength,
                                      nullptr, receive, &nativeLength);
  receiveLength = nativeLength;
  return toCode(result);
}

std::uint32_t SCardGetAttrib(SCARDHANDLE card, std::uint32_t attribute, std::uint8_t* value,
                             std::uint32_t& length) {
  DWORD nativeLength = value == nullptr ? 0 : length;
  const LONG result =
      ::SCardGetAttrib(static_cast<::SCARDHANDLE>(card), attribute, value, &nativeLength);
  length = nativeLength;
  return toCode(result);
}

std::uint32_t inspectReader(SCARDCONTEXT context, const std::string& reader, ReaderFacts& facts) {
  ::SCARD_READERSTATEA state{};
  state.szReader = reader.c_str();
  const LONG result = ::SCardGetStatusChangeA(static_cast<::SCARDCONTEXT>(context), 0, &state, 1);
  if (result == SCARD_S_SUCCESS) {
    facts.state = state.dwEventState & 0xFFFF;  // The upper bits count events.
    facts.atr.assign(state.rgbAtr,
                     state.rgbAtr + std::min<std::size_t>(state.cbAtr, sizeof(state.rgbAtr)));
  }
  return toCode(result);
}

}  // namespace platform
