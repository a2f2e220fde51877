// User sessions: who is logged on, a message box in a session, a program in a session.
//
// All operations may be called from any thread.
#ifndef KV500_PLATFORM_SESSIONS_H
#define KV500_PLATFORM_SESSIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/threading.h"

namespace platform {

inline constexpr std::uint32_t WTSActive = 0;  ///< The state of a session that a person works in.
inline constexpr std::uint32_t MB_ICONERROR = 0x10;
inline constexpr std::uint32_t TOKEN_ALL_ACCESS = 0xF01FF;
inline constexpr std::uint32_t SecurityImpersonation = 2;
inline constexpr std::uint32_t TokenPrimary = 1;
inline constexpr std::uint32_t CREATE_UNICODE_ENVIRONMENT = 0x400;
inline constexpr std::uint32_t NORMAL_PRIORITY_CLASS = 0x20;

/// One session of this machine.
struct Session {
  std::uint32_t id;
  std::uint32_t state;  ///< WTSActive, or another number.
};

/// Whether this process has the right to start programs in the sessions of other users.
bool canReachOtherSessions();

/// The sessions of this machine, which may leave out those that are not active. Empty, too, if the
/// list can't be had.
std::vector<Session> listSessions();

/// Shows a message box with an OK button in a session. Lengths are in bytes, two a character.
/// Returns once the person has answered (`wait`, `timeoutSeconds` 0xFFFFFFFF: however long that
/// takes) with true, or with false if it can't be shown.
bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t style,
                     std::uint32_t timeoutSeconds, std::uint32_t& response, bool wait);

/// The token of the session's user. False if there is none. Closed with CloseHandle.
bool WTSQueryUserToken(std::uint32_t session, HANDLE& token);

/// A primary token from a token. False on failure. Closed with CloseHandle.
bool DuplicateTokenEx(HANDLE token, std::uint32_t access, std::uint32_t impersonationLevel,
                      std::uint32_t tokenType, HANDLE& duplicate);

/// The environment of the token's user, nothing inherited from the service. False on failure.
bool CreateEnvironmentBlock(void*& environment, HANDLE token);
void DestroyEnvironmentBlock(void* environment);

/// What a new process is known by; both handles are closed with CloseHandle.
struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
};

/// Starts the program of a command line, quoted by Windows' rules, as the token's user on that
/// user's desktop, with the given environment and without any handle of this process. No shell is
/// involved. False if the program could not be started.
bool CreateProcessAsUserA(HANDLE token, std::string& commandLine, std::uint32_t creationFlags,
                          void* environment, PROCESS_INFORMATION& process);

}  // namespace platform

#endif
