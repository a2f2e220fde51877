// What can be learned about the machine without changing it: services, files, ports, the state of a
// reader, sessions, browser policies. Also the output of what was learned.
//
// Nothing here occupies a port, starts a program that keeps running, or sends anything to a card.
// Texts are bytes from outside; they are UTF-8 only as far as their source keeps to it. All
// operations may be called from any thread. Each can take as long as the machine makes it wait: a
// caller with a time limit calls it on a thread of its own.
#ifndef KV500_PLATFORM_INSPECTION_H
#define KV500_PLATFORM_INSPECTION_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/smartcard.h"

namespace platform {

struct Session;  // See platform/sessions.h.

// Services.

enum class InspectedService { Kv500, SmartCard };

/// What the service manager says of a service.
struct ServiceFacts {
  /// Unknown: there is no service manager, or it does not say.
  enum class State { Unknown, Absent, Stopped, Starting, Running, Stopping };
  State state = State::Unknown;
  bool disabled = false;          ///< It is not started with the system; perhaps not at all.
  bool onDemand = false;          ///< Stopped, and started by the first program that asks for it.
  std::string account;            ///< The user that it runs as; empty if unknown.
  std::string usualAccount;       ///< The user that the installer has it run as.
  std::filesystem::path program;  ///< The path of its program; empty if unknown.
  std::uint32_t processId = 0;    ///< 0 if it does not run.
  std::uint32_t exitCode = 0;     ///< The exit code of its last run.
  /// How often it was restarted automatically since somebody started it. 0 if nobody counts, or if
  /// the last time is more than 10 minutes ago.
  std::uint32_t restarts = 0;
  // Commands for an administrator.
  std::string startCommand;
  std::string enableCommand;
  std::string installCommand;  ///< Empty if it is a part of the system.
};
ServiceFacts inspectService(InspectedService service);

// Files.

struct FileFacts {
  enum class Kind { Absent, Ordinary, Folder, Other, Hidden };
  Kind kind = Kind::Absent;  ///< Hidden: this user may not even know whether it exists.
  bool readable = false;     ///< This process can read it.
  /// The installed service could read it. It has fewer rights than an administrator. True if this
  /// can't be told.
  bool readableForService = true;
  bool unwritable = false;  ///< Nobody can write it, not even the service.
  std::uint64_t size = 0;   ///< Bytes.
};
FileFacts inspectFile(const std::filesystem::path& path);

/// The last `bytes` bytes of an ordinary file, or all of a shorter one. Empty if it can't be read.
std::string readFileEnd(const std::filesystem::path& path, std::size_t bytes);

/// Whether `command` names a program that can be started: a path, or a name that is looked up where
/// the system looks for programs.
bool isProgram(const std::string& command);

// Ports.

/// A program that takes connections to this machine itself.
struct Listener {
  bool ipv6 = false;            ///< Those to ::1; else those to 127.0.0.1.
  std::uint32_t processId = 0;  ///< 0 if this user has no right to know it.
  std::string program;          ///< File name of the program; empty in the same case.
};
/// The listeners at one port. If several programs listen for 127.0.0.1, the system gives the
/// connections to the first of them.
std::vector<Listener> listenersOn(std::uint16_t port);

/// The port at which a process takes connections to 127.0.0.1. None if it has no such port, or if
/// this user has no right to know it.
std::optional<std::uint16_t> portOf(std::uint32_t process);

/// A range of ports, both ends included, that the system gives to no program.
struct PortRange {
  std::uint16_t first;
  std::uint16_t last;
};
std::vector<PortRange> reservedPorts();

/// What came back on one connection to 127.0.0.1.
struct Reply {
  bool connected = false;
  bool ended = false;  ///< The peer closed the connection in time.
  std::string bytes;   ///< At most the first 64 KiB.
};
/// Connects, sends the request and reads until the peer closes, 64 KiB have arrived or
/// `milliseconds` have passed.
Reply askPort(std::uint16_t port, const std::string& request, std::uint32_t milliseconds);

// Readers.

inline constexpr std::uint32_t SCARD_STATE_EMPTY = 0x10;
inline constexpr std::uint32_t SCARD_STATE_PRESENT = 0x20;
inline constexpr std::uint32_t SCARD_STATE_EXCLUSIVE = 0x80;
inline constexpr std::uint32_t SCARD_STATE_MUTE = 0x200;

// Codes that these operations give in addition to those of platform/smartcard.h.
inline constexpr std::uint32_t SCARD_E_NO_ACCESS = 0x80100027;
inline constexpr std::uint32_t SCARD_W_UNRESPONSIVE_CARD = 0x80100066;
inline constexpr std::uint32_t SCARD_W_UNPOWERED_CARD = 0x80100067;
inline constexpr std::uint32_t SCARD_W_SECURITY_VIOLATION = 0x8010006A;

struct ReaderFacts {
  std::uint32_t state = 0;  ///< SCARD_STATE_ bits.
  std::vector<std::uint8_t> atr;
};
/// The state of a reader without a connection to the card (SCardGetStatusChange). 0 or a WinSCard
/// error code.
std::uint32_t inspectReader(SCARDCONTEXT context, const std::string& reader, ReaderFacts& facts);

/// The problem code that the device manager shows for a USB device of listUsbDevices, such as 28
/// for a missing driver. 0 if there is no problem or if the system has no such codes.
std::uint32_t deviceProblem(const std::u16string& path);

// People and browsers.

struct SessionFacts {
  std::string user;                    ///< Empty: nobody is logged on; "?": not known.
  bool remote = false;                 ///< The screen is that of another computer.
  std::optional<bool> startsPrograms;  ///< None if this user has no right to know it.
};
/// As listSessions, in the same order, but also the sessions of users whose programs this process
/// has no right to start.
std::vector<Session> sessionsOfAllUsers();

/// One of these sessions.
SessionFacts inspectSession(std::uint32_t session);

/// Whether somebody works on this machine from another computer.
bool hasRemoteSession();

enum class Browser { Chrome, Edge, Firefox };

/// One value that an administrator has set for a browser. The parts of its name are separated by
/// "/"; for an entry of a list the last part is its number.
struct PolicyValue {
  Browser browser;
  std::string name;
  std::string value;
};
/// The values whose names begin with "LocalNetworkAccess" or "LoopbackNetwork".
std::vector<PolicyValue> browserPolicies();

// This program's surroundings.

/// Conversion between UTF-8 and the form in which the system holds its texts: paths, names of users
/// and of policies. Where that form is bytes, nothing is lost.
std::filesystem::path fromUtf8(const std::string& text);
std::string toUtf8(const std::filesystem::path& native);

/// Name and version of the system, in one line.
std::string systemDescription();

/// The language of the user's texts, as a tag such as "de-DE"; empty if not set.
std::string userLanguage();

/// Writes a text to standard output, in UTF-8; a console of Windows shows it whatever its code page
/// is. False if it could not be written completely.
bool printText(const std::string& text);
/// The same to standard error.
bool printError(const std::string& text);

/// Writes a file, and replaces one of that name. False if it could not be written completely.
bool writeFile(const std::filesystem::path& path, const std::string& content);

}  // namespace platform

#endif
