// PC/SC over pcsc-lite. It differs from WinSCard in its types (DWORD has the size of a long), in
// the number of the raw protocol, in its card states, which are bits, and in its result when the
// daemon has gone.
#include "platform/smartcard.h"

#include <algorithm>

#include "platform/inspection.h"
#include "platform/threading.h"

namespace platform {
namespace {

// The seam's values of names that the system's header defines as macros with another value.
constexpr std::uint32_t seamProtocolRaw = SCARD_PROTOCOL_RAW;
constexpr std::uint32_t seamStateAbsent = SCARD_ABSENT;
constexpr std::uint32_t seamStateSpecific = SCARD_SPECIFIC;
constexpr std::uint32_t seamNoService = SCARD_E_NO_SERVICE;
constexpr std::uint32_t seamServiceStopped = SCARD_E_SERVICE_STOPPED;

}  // namespace
}  // namespace platform

#include <winscard.h>

namespace platform {
namespace {

std::uint32_t code(::LONG result) {
  return static_cast<std::uint32_t>(result);
}

/// The results of pcsc-lite when its daemon does not answer: it can't be reached, or the connection
/// to it broke.
bool isDaemonGone(std::uint32_t result) {
  return result == code(SCARD_E_NO_SERVICE) || result == code(SCARD_E_SERVICE_STOPPED) ||
         result == code(SCARD_F_COMM_ERROR);
}

/// pcsc-lite's result if the daemon closes the connection without an answer. That is how it refuses
/// a user, but also what a daemon does that is killed in the middle of a question.
bool isHungUp(std::uint32_t result) {
  return result == code(SCARD_W_SECURITY_VIOLATION);
}

/// The result of an operation on a context or a connection. There was a daemon when these were
/// made.
std::uint32_t resultOf(::LONG result) {
  return isDaemonGone(code(result)) || isHungUp(code(result)) ? seamServiceStopped : code(result);
}

std::uint32_t toSeamProtocol(::DWORD protocol) {
  return protocol == SCARD_PROTOCOL_RAW ? seamProtocolRaw : static_cast<std::uint32_t>(protocol);
}

const ::SCARD_IO_REQUEST* toNativeRequest(std::uint32_t protocol) {
  switch (protocol) {
    case SCARD_PROTOCOL_T0:
      return &::g_rgSCardT0Pci;
    case SCARD_PROTOCOL_T1:
      return &::g_rgSCardT1Pci;
    default:
      return &::g_rgSCardRawPci;
  }
}

/// The upper 16 bits of pcsc-lite's state count events. Of the other bits only "absent" is used: if
/// a connection could be opened, there is a card and its protocol is agreed.
std::uint32_t toSeamState(::DWORD state) {
  return (state & SCARD_ABSENT) != 0 ? seamStateAbsent : seamStateSpecific;
}

::SCARDCONTEXT toNative(SCARDCONTEXT context) {
  return static_cast<::SCARDCONTEXT>(context);
}
::SCARDHANDLE toNativeCard(SCARDHANDLE card) {
  return static_cast<::SCARDHANDLE>(card);
}

/// Repeats a call after each reset by another program. PC/SC requires a reconnect after a reset.
template <typename Call>
::LONG pastResets(SCARDHANDLE card, Call call) {
  constexpr int mostResets = 10;  // Even a second reset in a row is unlikely.
  ::LONG result = call();
  for (int i = 0; i < mostResets && result == SCARD_W_RESET_CARD; ++i) {
    ::DWORD protocol = 0;
    ::SCardReconnect(toNativeCard(card), SCARD_SHARE_SHARED, SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1,
                     SCARD_LEAVE_CARD, &protocol);
    result = call();
  }
  return result;
}

}  // namespace

std::uint32_t SCardEstablishContext(std::uint32_t scope, SCARDCONTEXT& context) {
  constexpr int tries = 3;              // A daemon that refuses us does so each time.
  constexpr std::uint32_t pause = 100;  // Milliseconds.
  ::SCARDCONTEXT native = 0;
  std::uint32_t result = code(::SCardEstablishContext(scope, nullptr, nullptr, &native));
  for (int i = 1; i < tries && isHungUp(result); ++i) {
    Sleep(pause);
    result = code(::SCardEstablishContext(scope, nullptr, nullptr, &native));
  }
  if (isDaemonGone(result)) {
    return seamNoService;
  }
  if (result == SCARD_S_SUCCESS) {
    context = static_cast<SCARDCONTEXT>(native);
  }
  return result;
}

std::uint32_t SCardReleaseContext(SCARDCONTEXT context) {
  return resultOf(::SCardReleaseContext(toNative(context)));
}

std::uint32_t SCardListReadersA(SCARDCONTEXT context, char* readers, std::uint32_t& length) {
  ::DWORD nativeLength = length;
  const auto result =
      resultOf(::SCardListReaders(toNative(context), nullptr, readers, &nativeLength));
  length = static_cast<std::uint32_t>(nativeLength);
  return result;
}

std::uint32_t SCardConnectA(SCARDCONTEXT context, const char* reader, std::uint32_t shareMode,
                            std::uint32_t preferredProtocols, SCARDHANDLE& card,
                            std::uint32_t& activeProtocol) {
  ::SCARDHANDLE nativeCard = 0;
  ::DWORD nativeProtocol = 0;
  const std::uint32_t given = code(::SCardConnect(
      toNative(context), reader, shareMode, preferredProtocols, &nativeCard, &nativeProtocol));
  // Here the daemon may also answer that this user must not use the card.
  const std::uint32_t result = isHungUp(given) ? given : resultOf(static_cast<::LONG>(given));
  if (result == SCARD_S_SUCCESS) {
    card = static_cast<SCARDHANDLE>(nativeCard);
    activeProtocol = toSeamProtocol(nativeProtocol);
  }
  return result;
}

std::uint32_t SCardDisconnect(SCARDHANDLE card, std::uint32_t disposition) {
  return resultOf(::SCardDisconnect(toNativeCard(card), disposition));
}

std::uint32_t SCardStatusA(SCARDHANDLE card, std::uint32_t& state, std::uint32_t& activeProtocol,
                           std::uint8_t* atr, std::uint32_t& atrLength) {
  ::DWORD nativeState = 0;
  ::DWORD nativeProtocol = 0;
  ::DWORD nativeLength = 0;
  const auto result = resultOf(pastResets(card, [&] {
    nativeLength = atrLength;
    return ::SCardStatus(toNativeCard(card), nullptr, nullptr, &nativeState, &nativeProtocol, atr,
                         &nativeLength);
  }));
  if (result == SCARD_S_SUCCESS) {
    activeProtocol = toSeamProtocol(nativeProtocol);
  }
  state = toSeamState(nativeState);
  atrLength = static_cast<std::uint32_t>(nativeLength);
  return result;
}

std::uint32_t SCardBeginTransaction(SCARDHANDLE card) {
  return resultOf(pastResets(card, [&] { return ::SCardBeginTransaction(toNativeCard(card)); }));
}

std::uint32_t SCardEndTransaction(SCARDHANDLE card, std::uint32_t disposition) {
  return resultOf(::SCardEndTransaction(toNativeCard(card), disposition));
}

std::uint32_t SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST& protocol,
                            const std::uint8_t* send, std::uint32_t sendLength,
                            std::uint8_t* receive, std::uint32_t& receiveLength) {
  ::DWORD nativeLength = receiveLength;
  const auto result =
      resultOf(::SCardTransmit(toNativeCard(card), toNativeRequest(protocol.dwProtocol), send,
                               sendLength, nullptr, receive, &nativeLength));
  receiveLength = static_cast<std::uint32_t>(nativeLength);
  return result;
}

std::uint32_t SCardGetAttrib(SCARDHANDLE card, std::uint32_t attribute, std::uint8_t* value,
                             std::uint32_t& length) {
  ::DWORD nativeLength = length;
  const auto result =
      resultOf(::SCardGetAttrib(toNativeCard(card), attribute, value, &nativeLength));
  length = static_cast<std::uint32_t>(nativeLength);
  return result;
}

std::uint32_t inspectReader(SCARDCONTEXT context, const std::string& reader, ReaderFacts& facts) {
  ::SCARD_READERSTATE state{};
  state.szReader = reader.c_str();
  const auto result = resultOf(::SCardGetStatusChange(toNative(context), 0, &state, 1));
  if (result == SCARD_S_SUCCESS) {
    facts.state = static_cast<std::uint32_t>(state.dwEventState & 0xFFFF);  // Above: events.
    facts.atr.assign(state.rgbAtr, state.rgbAtr + std::min<::DWORD>(state.cbAtr, MAX_ATR_SIZE));
  }
  return result;
}

}  // namespace platform
