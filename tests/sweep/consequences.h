// What each failure of the platform costs.
//
// A failure that is not listed costs no more than the answer that it spoils: the service goes on,
// says nothing and has the right data again within 3 seconds.
#ifndef KV500_TESTS_SWEEP_CONSEQUENCES_H
#define KV500_TESTS_SWEEP_CONSEQUENCES_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/smartcard.h"
#include "platform/threading.h"

namespace sweep {

constexpr std::uint32_t any = 0xABABABAB;
constexpr int goesOn = -1;

/// When a failing call has the consequence.
enum class When {
  Always,
  IfLasting,  ///< Not if it fails only once.
  Perhaps     ///< There are other calls of that kind.
};

struct Consequence {
  std::string_view operation;
  std::string_view thread;  ///< Whose call fails; empty: anybody's.
  std::uint32_t detail;     ///< For some operations an argument; see the simulated platform.
  std::uint32_t call;       ///< Which call of that thread, from 1.
  std::uint32_t code;       ///< What the operation gives.
  int exitStatus;           ///< Or `goesOn`.
  std::string_view inLog;
  std::string_view told;  ///< On standard error, in the journal, in the event log.
  When when = When::Always;
};

// The first row that fits counts.
// clang-format off
inline const Consequence consequences[] = {
    // The service can't be run.
    {"CreateMutexA", "", any, any, any, 1, "", "Could not create mutex"},
    {"StartServiceCtrlDispatcherW", "", any, any, platform::ERROR_FAILED_SERVICE_CONTROLLER_CONNECT, 1, "", "This program must be started as service"},
    {"StartServiceCtrlDispatcherW", "", any, any, any, 1, "", "Could not connect to service controller"},
    {"RegisterServiceCtrlHandlerW", "", any, any, any, 1, "", "The service manager refuses the control handler"},
    {"SetServiceStatus", "service", 2, any, any, 1, "", "The service manager refuses a report"},
    {"SetServiceStatus", "service", 4, any, any, 1, "", "The service manager refuses a report"},
    {"CreateEventA", "", any, any, any, 1, "Could not create event", ""},
    {"socket", "", any, any, any, 1, "Could not open port", "", When::IfLasting},
    {"bind", "", any, any, any, 1, "Could not open port", "", When::IfLasting},
    {"listen", "", any, any, any, 1, "Could not open port", "", When::IfLasting},
    {"CreateThread", "service", any, 2, any, 1, "Could not start server main thread!", ""},
    {"CreateThread", "service", any, 3, any, 1, "Could not start PCSC service thread!", ""},
    // It can't go on.
    {"WaitForSingleObject", "service", platform::INFINITE, any, any, 1, "Could not wait for the stop event", ""},
    {"WaitForSingleObject", "PC/SC", 0, any, any, 0, "Could not check event", ""},
    {"WaitForSingleObject", "listener", 0, any, any, 1, "Could not check event", "", When::Perhaps},
    {"SetEvent", "", any, any, any, 1, "Could not set event", ""},
    {"select", "listener", any, any, any, 1, "Could not check if connection request is pending", ""},
    {"SCardEstablishContext", "", any, any, platform::SCARD_E_NO_SERVICE, goesOn, "Trying to start Smartcard service...", ""},
    {"SCardEstablishContext", "", any, any, any, 0, "Could not establish PCSC context", ""},
    {"system", "", any, any, any, 0, "Smartcard service not running!", ""},
    // It goes on, and says so.
    {"CreateThread", "service", any, 1, any, goesOn, "", "Could not start the card watcher"},
    {"SetServiceStatus", "", any, any, any, goesOn, "", "The service manager refuses a report"},
    {"readTextFile", "", any, any, any, goesOn, "", "Not read: "},
    {"canReachOtherSessions", "", any, any, any, goesOn, "the sessions of other users are out of reach", ""},
    {"_localtime64_s", "", any, any, any, goesOn, "[00-01-1900 00:00:00] ", ""},
    {"peerUser", "", any, any, any, goesOn, "User not allowed!", ""},
    {"sessionUser", "", any, any, any, goesOn, "User not allowed!", ""},
    {"listSessions", "worker", any, any, any, goesOn, "User not allowed!", ""},
    {"SCardListReadersA", "", any, any, platform::SCARD_E_SERVICE_STOPPED, goesOn, "", ""},
    {"SCardListReadersA", "", any, any, platform::SCARD_E_NO_READERS_AVAILABLE, goesOn, "", ""},
    {"SCardListReadersA", "", any, any, any, goesOn, "PCSC error 0x", ""},
    {"SCardConnectA", "", any, any, platform::SCARD_E_NO_SMARTCARD, goesOn, "", ""},
    {"SCardConnectA", "", any, any, platform::SCARD_W_REMOVED_CARD, goesOn, "", ""},
    {"SCardConnectA", "", any, any, any, goesOn, "Could not connect to card", ""},
};
// clang-format on

/// The codes with which an operation is made to fail. Most operations can only fail.
inline std::vector<std::uint32_t> codesOf(std::string_view operation) {
  using namespace platform;
  if (operation == "StartServiceCtrlDispatcherW") {
    return {ERROR_FAILED_SERVICE_CONTROLLER_CONNECT, 5};
  }
  if (!operation.starts_with("SCard")) {
    return {1};
  }
  return {SCARD_E_INVALID_HANDLE,
          SCARD_E_INSUFFICIENT_BUFFER,
          SCARD_E_UNKNOWN_READER,
          SCARD_E_SHARING_VIOLATION,
          SCARD_E_NO_SMARTCARD,
          SCARD_E_PROTO_MISMATCH,
          SCARD_E_NOT_TRANSACTED,
          SCARD_E_READER_UNAVAILABLE,
          SCARD_E_NO_SERVICE,
          SCARD_E_SERVICE_STOPPED,
          SCARD_E_NO_READERS_AVAILABLE,
          SCARD_W_RESET_CARD,
          SCARD_W_REMOVED_CARD,
          0x80100006 /* no memory */,
          0x80100013 /* communication */,
          0x8010001F /* unexpected */,
          0x80100066 /* the card is mute */,
          0x8010006A /* security violation */};
}

}  // namespace sweep

#endif
