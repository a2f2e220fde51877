// The smart-card library of Windows, implemented by the simulated world. In the system folder of a
// test machine it gives the real service a reader and cards.
//
// A text file controls the world. Each of its lines is a command of the simulator. The file only
// grows while a process follows it. Each process carries out all lines, so all of them see the same
// world.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <mutex>
#include <string>

#include "platform/inspection.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"
#include "platform/smartcard.h"
#include "simulator/commands.h"

// The seam's values of names that Windows' headers define as macros.
static constexpr std::uint32_t seamInvalidParameter = platform::SCARD_E_INVALID_PARAMETER;
static constexpr std::uint32_t bothProtocols =
    platform::SCARD_PROTOCOL_T0 | platform::SCARD_PROTOCOL_T1;

// Declares what is exported here; see winscard.def.
#include <winscard.h>
#include "platform/win32/native.h"

namespace {

using platform::SCARDCONTEXT;

/// Carries out the new commands. Called before each look at the world, except in calls about a
/// transaction, because a command may have to wait for the end of the transaction.
void followCommands() {
  static std::timed_mutex lock;
  static std::streamoff position = 0;
  // Threads that come at the same time wait for the first one, but not while that one itself waits.
  const std::unique_lock guard(lock, std::chrono::milliseconds(500));
  if (!guard || simulated::world().readers.openTransactions() > 0) {
    return;
  }
  std::ifstream commands("C:\\kv500-world.txt", std::ios::binary);
  commands.seekg(position);
  std::string line;
  // A line without an end is left for the next time.
  while (std::getline(commands, line) && !commands.eof()) {
    position += static_cast<std::streamoff>(line.size() + 1);
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    simulator::runCommand(line);
  }
}

/// Writes a record to where the tests look for it: the standard error of a service is lost.
LONG noted(std::uint32_t result) {
  const std::string notes = simulated::ledger().notes();
  if (!notes.empty()) {
    std::ofstream("C:\\kv500-wrong-use.txt", std::ios::binary) << notes;
  }
  return static_cast<LONG>(result);
}

/// For arguments that the seam doesn't have, so that the simulated world can't judge them.
std::uint32_t refused(const char* operation) {
  return simulated::refuse(operation, "an argument that the service has no use for",
                           seamInvalidParameter);
}

template <typename Call>
LONG inWorld(Call call) {
  followCommands();
  return noted(call());
}

/// Passes a length in and out with the type of the seam.
template <typename Call>
LONG inWorld(DWORD* length, Call call) {
  followCommands();
  std::uint32_t seamLength = *length;
  const LONG result = noted(call(seamLength));
  *length = seamLength;
  return result;
}

}  // namespace

extern "C" {

LONG WINAPI SCardEstablishContext(DWORD scope, LPCVOID reserved1, LPCVOID reserved2,
                                  LPSCARDCONTEXT context) {
  return inWorld([&]() -> std::uint32_t {
    if (reserved1 != nullptr || reserved2 != nullptr || context == nullptr) {
      return refused("SCardEstablishContext");
    }
    simulated::world().readers.reportResets();
    std::uint64_t made = 0;
    const auto result = platform::SCardEstablishContext(scope, made);
    *context = made;
    return result;
  });
}

LONG WINAPI SCardReleaseContext(::SCARDCONTEXT context) {
  return inWorld([&] { return platform::SCardReleaseContext(context); });
}

LONG WINAPI SCardListReadersA(::SCARDCONTEXT context, LPCSTR groups, LPSTR readers,
                              LPDWORD length) {
  return inWorld(length, [&](std::uint32_t& seamLength) {
    return groups != nullptr ? refused("SCardListReadersA")
                             : platform::SCardListReadersA(context, readers, seamLength);
  });
}

LONG WINAPI SCardGetStatusChangeA(::SCARDCONTEXT context, DWORD, LPSCARD_READERSTATEA reader,
                                  DWORD) {
  return inWorld([&] {
    platform::ReaderFacts facts;
    const auto result = platform::inspectReader(context, reader->szReader, facts);
    reader->dwEventState = facts.state;
    reader->cbAtr = static_cast<DWORD>(facts.atr.size());
    std::copy(facts.atr.begin(), facts.atr.end(), reader->rgbAtr);
    return result;
  });
}

LONG WINAPI SCardConnectA(::SCARDCONTEXT context, LPCSTR reader, DWORD share, DWORD preferred,
                          LPSCARDHANDLE card, LPDWORD active) {
  return inWorld([&] {
    std::uint64_t made = 0;
    std::uint32_t protocol = 0;
    const auto result = platform::SCardConnectA(context, reader, share, preferred, made, protocol);
    *card = made;
    *active = protocol;
    return result;
  });
}

LONG WINAPI SCardDisconnect(::SCARDHANDLE card, DWORD disposition) {
  return inWorld([&] { return platform::SCardDisconnect(card, disposition); });
}

LONG WINAPI SCardStatusA(::SCARDHANDLE card, LPSTR, LPDWORD, LPDWORD state, LPDWORD protocol,
                         LPBYTE atr, LPDWORD atrLength) {
  return inWorld([&] {
    std::uint32_t seamState = 0;
    std::uint32_t seamProtocol = 0;
    std::uint32_t seamLength = *atrLength;
    const auto result = platform::SCardStatusA(card, seamState, seamProtocol, atr, seamLength);
    *state = seamState;
    *protocol = seamProtocol;
    *atrLength = seamLength;
    return result;
  });
}

LONG WINAPI SCardReconnect(::SCARDHANDLE card, DWORD share, DWORD preferred, DWORD disposition,
                           LPDWORD protocol) {
  return inWorld([&] {
    if (share != SCARD_SHARE_SHARED || preferred != bothProtocols ||
        disposition != SCARD_LEAVE_CARD) {
      return refused("SCardReconnect");
    }
    std::uint32_t seamProtocol = 0;
    const auto result = simulated::world().readers.reconnect(card, seamProtocol);
    *protocol = seamProtocol;
    return result;
  });
}

LONG WINAPI SCardBeginTransaction(::SCARDHANDLE card) {
  return inWorld([&] { return platform::SCardBeginTransaction(card); });
}

LONG WINAPI SCardEndTransaction(::SCARDHANDLE card, DWORD disposition) {
  return inWorld([&] { return platform::SCardEndTransaction(card, disposition); });
}

LONG WINAPI SCardTransmit(::SCARDHANDLE card, LPCSCARD_IO_REQUEST protocol, LPCBYTE send,
                          DWORD sendLength, LPSCARD_IO_REQUEST answered, LPBYTE receive,
                          LPDWORD receiveLength) {
  return inWorld(receiveLength, [&](std::uint32_t& seamLength) {
    if (protocol == nullptr || answered != nullptr) {
      return refused("SCardTransmit");
    }
    const platform::SCARD_IO_REQUEST request{protocol->dwProtocol, protocol->cbPciLength};
    return platform::SCardTransmit(card, request, send, sendLength, receive, seamLength);
  });
}

LONG WINAPI SCardGetAttrib(::SCARDHANDLE card, DWORD attribute, LPBYTE value, LPDWORD length) {
  return inWorld(length, [&](std::uint32_t& seamLength) {
    return platform::SCardGetAttrib(card, attribute, value, seamLength);
  });
}

}  // extern "C"
