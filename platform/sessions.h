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

/// The sessions of this machine. Those that are not active may be left out. Also empty if the list
/// is not available.
std::vector<Session> listSessions();

/// Shows a message box with an OK button in a session. Lengths are in bytes, two per character.
/// With `wait` and a `timeoutSeconds` of 0xFFFFFFFF it waits without limit and returns true once
/// the person has answered. False if the box can't be shown.
bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t style,
                     std::uint32_t timeoutSeconds, std::uint32_t& response, bool wait);

/// Gets the token of the session's user. False if there is none. Close it with CloseHandle.
bool WTSQueryUserToken(std::uint32_t session, HANDLE& token);

/// Makes a primary token from a token. False on failure. Close it with CloseHandle.
bool DuplicateTokenEx(HANDLE token, std::uint32_t access, std::uint32_t impersonationLevel,
                      std::uint32_t tokenType, HANDLE& duplicate);

/// Makes the environment of the token's user. It inherits nothing of the service. False on failure.
bool CreateEnvironmentBlock(void*& environment, HANDLE token);
void DestroyEnvironmentBlock(void* environment);

/// The ids of a new process, and two handles. Close both with CloseHandle.
struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
};

/// Starts the program of a command line that is quoted by Windows' rules. It runs as the token's
/// user on that user's desktop, with the given environment and without any handle of this process.
/// No shell is involved. False if the program could not be started.
bool CreateProcessAsUserA(HANDLE token, std::string& commandLine, std::uint32_t creationFlags,
                          void* environment, PROCESS_INFORMATION& process);

}  // namespace platform

#endif
