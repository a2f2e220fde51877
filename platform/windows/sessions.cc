#include "platform/sessions.h"

#include <memory>

#include "platform/inspection.h"
#include "platform/win32/native.h"
// Both need windows.h.
#include <userenv.h>
#include <wtsapi32.h>

namespace platform {

using win32::toNative;
using win32::toSeam;

std::vector<Session> listSessions() {
  ::WTS_SESSION_INFOA* native = nullptr;
  DWORD count = 0;
  if (!::WTSEnumerateSessionsA(WTS_CURRENT_SERVER_HANDLE, 0, 1, &native, &count)) {
    return {};
  }
  const std::unique_ptr<::WTS_SESSION_INFOA, decltype(&::WTSFreeMemory)> list(native,
                                                                              ::WTSFreeMemory);
  std::vector<Session> sessions;
  for (DWORD i = 0; i < count; ++i) {
    sessions.push_back({native[i].SessionId, static_cast<std::uint32_t>(native[i].State)});
  }
  return sessions;
}

bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t style,
                     std::uint32_t timeoutSeconds, std::uint32_t& response, bool wait) {
  // The operation takes writable texts but doesn't write to them.
  DWORD answer = 0;
  const bool shown = ::WTSSendMessageW(
      WTS_CURRENT_SERVER_HANDLE, session, const_cast<wchar_t*>(toNative(title)), titleLength,
      const_cast<wchar_t*>(toNative(message)), messageLength, style, timeoutSeconds, &answer, wait);
  response = answer;
  return shown;
}

bool WTSQueryUserToken(std::uint32_t session, HANDLE& token) {
  ::HANDLE native = nullptr;
  if (!::WTSQueryUserToken(session, &native)) {
    return false;
  }
  token = toSeam(native);
  return true;
}

bool DuplicateTokenEx(HANDLE token, std::uint32_t access, std::uint32_t impersonationLevel,
                      std::uint32_t tokenType, HANDLE& duplicate) {
  ::HANDLE native = nullptr;
  const bool made =
      ::DuplicateTokenEx(toNative(token), access, nullptr,
                         static_cast<::SECURITY_IMPERSONATION_LEVEL>(impersonationLevel),
                         static_cast<::TOKEN_TYPE>(tokenType), &native);
  duplicate = toSeam(native);
  return made;
}

bool CreateEnvironmentBlock(void*& environment, HANDLE token) {
  return ::CreateEnvironmentBlock(&environment, toNative(token), FALSE);
}
void DestroyEnvironmentBlock(void* environment) {
  ::DestroyEnvironmentBlock(environment);
}

bool CreateProcessAsUserA(HANDLE token, std::string& commandLine, std::uint32_t creationFlags,
                          void* environment, PROCESS_INFORMATION& process) {
  ::STARTUPINFOA startup{};
  startup.cb = sizeof(startup);
  ::PROCESS_INFORMATION native{};
  const bool started =
      ::CreateProcessAsUserA(toNative(token), nullptr, commandLine.data(), nullptr, nullptr, FALSE,
                             creationFlags, environment, nullptr, &startup, &native);
  process = {toSeam(native.hProcess), toSeam(native.hThread)};
  return started;
}

std::vector<Session> sessionsOfAllUsers() {
  return listSessions();
}

bool hasRemoteSession() {
  for (const Session& session : listSessions()) {
    const SessionFacts facts = inspectSession(session.id);
    if (facts.remote && !facts.user.empty()) {
      return true;
    }
  }
  return false;
}

SessionFacts inspectSession(std::uint32_t session) {
  constexpr USHORT console = 0;  // Any other client is a remote one.
  SessionFacts facts;
  wchar_t* text = nullptr;
  DWORD size = 0;
  if (::WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, ::WTSUserName, &text,
                                    &size)) {
    facts.user = toUtf8(text);
    ::WTSFreeMemory(text);
  } else {
    facts.user = "?";
  }
  if (::WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, session, ::WTSClientProtocolType,
                                    &text, &size)) {
    facts.remote = size >= sizeof(USHORT) && *reinterpret_cast<const USHORT*>(text) != console;
    ::WTSFreeMemory(text);
  }
  // Only LocalSystem gets a token. For anybody else a refusal tells nothing.
  HANDLE token = 0;
  if (WTSQueryUserToken(session, token)) {
    facts.startsPrograms = true;
    CloseHandle(token);
  } else if (::GetLastError() == ERROR_NO_TOKEN) {
    facts.startsPrograms = false;
  }
  return facts;
}

}  // namespace platform
