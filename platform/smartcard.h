// PC/SC: the operations of WinSCard that the system calls, with WinSCard's values.
//
// All of them may be called from any thread. They take no lock of the system. They return 0 or a
// WinSCard error code, with the same numbers on every platform.
#ifndef KV500_PLATFORM_SMARTCARD_H
#define KV500_PLATFORM_SMARTCARD_H

#include <cstdint>

namespace platform {

using SCARDCONTEXT = std::uint64_t;  ///< 0 is no context.
using SCARDHANDLE = std::uint64_t;   ///< A card connection.

inline constexpr std::uint32_t SCARD_S_SUCCESS = 0;
inline constexpr std::uint32_t SCARD_E_INVALID_HANDLE = 0x80100003;
inline constexpr std::uint32_t SCARD_E_INVALID_PARAMETER = 0x80100004;
inline constexpr std::uint32_t SCARD_E_INSUFFICIENT_BUFFER = 0x80100008;
inline constexpr std::uint32_t SCARD_E_UNKNOWN_READER = 0x80100009;
inline constexpr std::uint32_t SCARD_E_SHARING_VIOLATION = 0x8010000B;
inline constexpr std::uint32_t SCARD_E_NO_SMARTCARD = 0x8010000C;
inline constexpr std::uint32_t SCARD_E_PROTO_MISMATCH = 0x8010000F;
inline constexpr std::uint32_t SCARD_E_INVALID_VALUE = 0x80100011;
inline constexpr std::uint32_t SCARD_E_NOT_TRANSACTED = 0x80100016;
inline constexpr std::uint32_t SCARD_E_READER_UNAVAILABLE = 0x80100017;
inline constexpr std::uint32_t SCARD_E_NO_SERVICE = 0x8010001D;
inline constexpr std::uint32_t SCARD_E_SERVICE_STOPPED = 0x8010001E;
inline constexpr std::uint32_t SCARD_E_NO_READERS_AVAILABLE = 0x8010002E;
inline constexpr std::uint32_t SCARD_W_RESET_CARD = 0x80100068;
inline constexpr std::uint32_t SCARD_W_REMOVED_CARD = 0x80100069;

inline constexpr std::uint32_t SCARD_SCOPE_SYSTEM = 2;
inline constexpr std::uint32_t SCARD_SHARE_SHARED = 2;
inline constexpr std::uint32_t SCARD_LEAVE_CARD = 0;
inline constexpr std::uint32_t SCARD_PROTOCOL_T0 = 1;
inline constexpr std::uint32_t SCARD_PROTOCOL_T1 = 2;
inline constexpr std::uint32_t SCARD_PROTOCOL_RAW = 0x10000;
inline constexpr std::uint32_t SCARD_ABSENT = 1;    ///< The state that says: no card in the reader.
inline constexpr std::uint32_t SCARD_SPECIFIC = 6;  ///< A card in place, protocol agreed.
inline constexpr std::uint32_t SCARD_ATTR_ATR_STRING = 0x90303;

/// Protocol control information that precedes a transmission.
struct SCARD_IO_REQUEST {
  std::uint32_t dwProtocol;
  std::uint32_t cbPciLength;
};
inline constexpr SCARD_IO_REQUEST g_rgSCardT0Pci{SCARD_PROTOCOL_T0, sizeof(SCARD_IO_REQUEST)};
inline constexpr SCARD_IO_REQUEST g_rgSCardT1Pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_REQUEST)};
inline constexpr SCARD_IO_REQUEST g_rgSCardRawPci{SCARD_PROTOCOL_RAW, sizeof(SCARD_IO_REQUEST)};

/// Opens a context to the smart-card service. `context` is written only on success.
/// SCARD_E_NO_SERVICE means that the service does not run and that it is worth trying to start it.
std::uint32_t SCardEstablishContext(std::uint32_t scope, SCARDCONTEXT& context);

/// Releases a context. Connections that were opened with it fail from then on.
std::uint32_t SCardReleaseContext(SCARDCONTEXT context);

/// Lists the names of all readers. Each name ends in a zero byte; one more zero byte follows the
/// last name. If `readers` is null, only the length in characters is written. Otherwise `length` is
/// the size of the buffer on entry and the length of the list afterwards. SCARD_E_SERVICE_STOPPED
/// means that the service has gone, SCARD_E_NO_READERS_AVAILABLE that there is no reader at all.
std::uint32_t SCardListReadersA(SCARDCONTEXT context, char* readers, std::uint32_t& length);

/// Connects to the card in the reader of that name. On success `card` is an open connection and
/// `activeProtocol` the protocol in use. SCARD_E_NO_SMARTCARD or SCARD_W_REMOVED_CARD: no card.
std::uint32_t SCardConnectA(SCARDCONTEXT context, const char* reader, std::uint32_t shareMode,
                            std::uint32_t preferredProtocols, SCARDHANDLE& card,
                            std::uint32_t& activeProtocol);

/// Ends a connection; `disposition` SCARD_LEAVE_CARD leaves the card as it is.
std::uint32_t SCardDisconnect(SCARDHANDLE card, std::uint32_t disposition);

/// Tells whether the card of a connection is still there. `state` is SCARD_ABSENT if not, and any
/// other number if it is. `activeProtocol` is the protocol in use. `atrLength` is the size of `atr`
/// on entry (33 bytes hold every ATR) and the length of the ATR afterwards. SCARD_W_REMOVED_CARD
/// means that the card was taken out.
///
/// If another program has reset the card, this operation and SCardBeginTransaction acknowledge the
/// reset: the connection continues, possibly with another protocol of the card. SCARD_W_RESET_CARD
/// is returned only if the acknowledgement fails, or if the card is reset again and again
/// meanwhile.
std::uint32_t SCardStatusA(SCARDHANDLE card, std::uint32_t& state, std::uint32_t& activeProtocol,
                           std::uint8_t* atr, std::uint32_t& atrLength);

/// Keeps all other connections from the card until SCardEndTransaction. Like most operations on a
/// card, it waits without limit while another program has a transaction.
std::uint32_t SCardBeginTransaction(SCARDHANDLE card);

/// Ends the transaction of this connection; SCARD_LEAVE_CARD leaves the card as it is.
std::uint32_t SCardEndTransaction(SCARDHANDLE card, std::uint32_t disposition);

/// Sends one command APDU and waits without limit for its response. `receiveLength` is the size of
/// `receive` on entry. On success it is the number of bytes written, including the two status bytes
/// of ISO/IEC 7816-4.
std::uint32_t SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST& protocol,
                            const std::uint8_t* send, std::uint32_t sendLength,
                            std::uint8_t* receive, std::uint32_t& receiveLength);

/// Gets an attribute of the connection. If `value` is null, only `length` is written. Otherwise
/// `length` is the size of the buffer on entry and the length of the value afterwards.
std::uint32_t SCardGetAttrib(SCARDHANDLE card, std::uint32_t attribute, std::uint8_t* value,
                             std::uint32_t& length);

}  // namespace platform

#endif
