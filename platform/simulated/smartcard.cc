#include "platform/smartcard.h"

#include <algorithm>
#include <string>

#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"

namespace platform {
namespace {

using simulated::Bytes;
using simulated::refuse;
using simulated::world;

/// Gives a value as PC/SC does: only its length, or the value and its length if the buffer is large
/// enough. Overwrites the whole buffer, as a driver may do.
template <typename Value, typename Unit>
std::uint32_t give(const Value& value, Unit* buffer, std::uint32_t& length) {
  const auto needed = static_cast<std::uint32_t>(value.size());
  const bool fits = buffer == nullptr || needed <= length;
  if (buffer != nullptr && fits) {
    std::fill(std::copy(value.begin(), value.end(), buffer), buffer + length, Unit{'?'});
  }
  length = needed;
  return fits ? SCARD_S_SUCCESS : SCARD_E_INSUFFICIENT_BUFFER;
}

bool isKnownProtocol(std::uint32_t protocol) {
  return protocol == SCARD_PROTOCOL_T0 || protocol == SCARD_PROTOCOL_T1 ||
         protocol == SCARD_PROTOCOL_RAW;
}

}  // namespace

std::uint32_t SCardEstablishContext(std::uint32_t scope, SCARDCONTEXT& context) {
  if (const auto code = world().faults.take("SCardEstablishContext")) {
    return *code;
  }
  if (scope != SCARD_SCOPE_SYSTEM) {
    return refuse("SCardEstablishContext", "a scope that no service has", SCARD_E_INVALID_VALUE);
  }
  return world().readers.establishContext(context);
}

// An operation that gives something back does so even if it is told to fail: what it reports then
// is that there is nothing to give back any more.

std::uint32_t SCardReleaseContext(SCARDCONTEXT context) {
  const auto code = world().faults.take("SCardReleaseContext");
  const std::uint32_t result = world().readers.releaseContext(context);
  return code.value_or(result);
}

std::uint32_t SCardListReadersA(SCARDCONTEXT context, char* readers, std::uint32_t& length) {
  if (const auto code = world().faults.take("SCardListReadersA")) {
    return *code;
  }
  std::string list;
  const std::uint32_t result = world().readers.listReaders(context, list);
  return result == SCARD_S_SUCCESS ? give(list, readers, length) : result;
}

std::uint32_t SCardConnectA(SCARDCONTEXT context, const char* reader, std::uint32_t shareMode,
                            std::uint32_t preferredProtocols, SCARDHANDLE& card,
                            std::uint32_t& activeProtocol) {
  if (const auto code = world().faults.take("SCardConnectA")) {
    return *code;
  }
  if (reader == nullptr) {
    return refuse("SCardConnectA", "no reader", SCARD_E_INVALID_PARAMETER);
  }
  if (shareMode != SCARD_SHARE_SHARED) {
    return refuse("SCardConnectA", "other programs share the card", SCARD_E_SHARING_VIOLATION);
  }
  if (preferredProtocols == 0 ||
      (preferredProtocols & ~(SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1)) != 0) {
    return refuse("SCardConnectA", "not the protocols of cards", SCARD_E_INVALID_VALUE);
  }
  return world().readers.connect(context, reader, preferredProtocols, card, activeProtocol);
}

std::uint32_t SCardDisconnect(SCARDHANDLE card, std::uint32_t disposition) {
  const auto code = world().faults.take("SCardDisconnect");
  if (disposition != SCARD_LEAVE_CARD) {
    return refuse("SCardDisconnect", "other programs share the card", SCARD_E_INVALID_VALUE);
  }
  const std::uint32_t result = world().readers.disconnect(card);
  return code.value_or(result);
}

std::uint32_t SCardStatusA(SCARDHANDLE card, std::uint32_t& state, std::uint32_t& activeProtocol,
                           std::uint8_t* atr, std::uint32_t& atrLength) {
  if (const auto code = world().faults.take("SCardStatusA")) {
    return *code;
  }
  Bytes value;
  const std::uint32_t result = world().readers.status(card, state, activeProtocol, value);
  return result == SCARD_S_SUCCESS ? give(value, atr, atrLength) : result;
}

std::uint32_t SCardBeginTransaction(SCARDHANDLE card) {
  if (const auto code = world().faults.take("SCardBeginTransaction")) {
    return *code;
  }
  return world().readers.beginTransaction(card);
}

std::uint32_t SCardEndTransaction(SCARDHANDLE card, std::uint32_t disposition) {
  const auto code = world().faults.take("SCardEndTransaction");
  if (disposition != SCARD_LEAVE_CARD) {
    return refuse("SCardEndTransaction", "other programs share the card", SCARD_E_INVALID_VALUE);
  }
  const std::uint32_t result = world().readers.endTransaction(card);
  return code.value_or(result);
}

std::uint32_t SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST& protocol,
                            const std::uint8_t* send, std::uint32_t sendLength,
                            std::uint8_t* receive, std::uint32_t& receiveLength) {
  if (const auto code = world().faults.take("SCardTransmit")) {
    return *code;
  }
  if (!isKnownProtocol(protocol.dwProtocol) || protocol.cbPciLength != sizeof(protocol)) {
    return refuse("SCardTransmit", "unknown protocol", SCARD_E_INVALID_VALUE);
  }
  if (send == nullptr || sendLength == 0 || receive == nullptr || receiveLength < 2) {
    return refuse("SCardTransmit", "no command, or no room for a response",
                  SCARD_E_INVALID_PARAMETER);
  }
  Bytes response;
  const std::uint32_t result =
      world().readers.transmit(card, protocol.dwProtocol, Bytes(send, send + sendLength), response);
  return result == SCARD_S_SUCCESS ? give(response, receive, receiveLength) : result;
}

std::uint32_t SCardGetAttrib(SCARDHANDLE card, std::uint32_t attribute, std::uint8_t* value,
                             std::uint32_t& length) {
  if (const auto code = world().faults.take("SCardGetAttrib")) {
    return *code;
  }
  if (attribute != SCARD_ATTR_ATR_STRING) {
    return refuse("SCardGetAttrib", "unknown attribute", SCARD_E_INVALID_VALUE);
  }
  Bytes atr;
  const std::uint32_t result = world().readers.atr(card, atr);
  return result == SCARD_S_SUCCESS ? give(atr, value, length) : result;
}

}  // namespace platform
