#include "platform/smartcard.h"

#include <algorithm>
#include <string>

#include "platform/simulated/world.h"

namespace platform {
namespace {

using simulated::Bytes;
using simulated::world;

/// Hands a value out as PC/SC does: its length alone, or value and length if the buffer holds it.
template <typename Value, typename Unit>
std::uint32_t give(const Value& value, Unit* buffer, std::uint32_t& length) {
  const auto needed = static_cast<std::uint32_t>(value.size());
  const bool fits = buffer == nullptr || needed <= length;
  if (buffer != nullptr && fits) {
    std::copy(value.begin(), value.end(), buffer);
  }
  length = needed;
  return fits ? SCARD_S_SUCCESS : SCARD_E_INSUFFICIENT_BUFFER;
}

}  // namespace

std::uint32_t SCardEstablishContext(std::uint32_t, SCARDCONTEXT& context) {
  if (const auto code = world().faults.take("SCardEstablishContext")) {
    return *code;
  }
  return world().readers.establishContext(context);
}

std::uint32_t SCardReleaseContext(SCARDCONTEXT context) {
  if (const auto code = world().faults.take("SCardReleaseContext")) {
    return *code;
  }
  return world().readers.releaseContext(context);
}

std::uint32_t SCardListReadersA(SCARDCONTEXT context, char* readers, std::uint32_t& length) {
  if (const auto code = world().faults.take("SCardListReadersA")) {
    return *code;
  }
  std::string list;
  const std::uint32_t result = world().readers.listReaders(context, list);
  return result == SCARD_S_SUCCESS ? give(list, readers, length) : result;
}

std::uint32_t SCardConnectA(SCARDCONTEXT context, const char* reader, std::uint32_t, std::uint32_t,
                            SCARDHANDLE& card, std::uint32_t& activeProtocol) {
  if (const auto code = world().faults.take("SCardConnectA")) {
    return *code;
  }
  return world().readers.connect(context, reader, card, activeProtocol);
}

std::uint32_t SCardDisconnect(SCARDHANDLE card, std::uint32_t) {
  if (const auto code = world().faults.take("SCardDisconnect")) {
    return *code;
  }
  return world().readers.disconnect(card);
}

std::uint32_t SCardStatusA(SCARDHANDLE card, std::uint32_t& state, std::uint8_t* atr,
                           std::uint32_t& atrLength) {
  if (const auto code = world().faults.take("SCardStatusA")) {
    return *code;
  }
  Bytes value;
  const std::uint32_t result = world().readers.status(card, state, value);
  return result == SCARD_S_SUCCESS ? give(value, atr, atrLength) : result;
}

std::uint32_t SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST& protocol,
                            const std::uint8_t* send, std::uint32_t sendLength,
                            std::uint8_t* receive, std::uint32_t& receiveLength) {
  if (const auto code = world().faults.take("SCardTransmit")) {
    return *code;
  }
  Bytes response;
  const std::uint32_t result =
      world().readers.transmit(card, protocol.dwProtocol, Bytes(send, send + sendLength), response);
  return result == SCARD_S_SUCCESS ? give(response, receive, receiveLength) : result;
}

std::uint32_t SCardGetAttrib(SCARDHANDLE card, std::uint32_t, std::uint8_t* value,
                             std::uint32_t& length) {
  if (const auto code = world().faults.take("SCardGetAttrib")) {
    return *code;
  }
  Bytes atr;
  std::uint32_t state = 0;
  const std::uint32_t result = world().readers.status(card, state, atr);
  return result == SCARD_S_SUCCESS ? give(atr, value, length) : result;
}

}  // namespace platform
