// Windows' sessions, implemented by the simulated world: who is logged on, message boxes, and the
// token of a session's user. In the system folder of a test machine it gives the real service a
// person in front of it.
//
// C:\kv500-sessions.txt has a line for each session: its number and state. Without the file nobody
// is logged on. C:\kv500-boxes.txt gets each message box, with a zero byte at its end. The person
// answers a box at once, or when C:\kv500-nobody-answers.txt goes.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/sessions.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/world.h"

// Declares what is exported here; see wtsapi32.def.
#include "platform/win32/native.h"
// Both need windows.h.
#include <winternl.h>
#include <wtsapi32.h>

namespace {

// What a thread has got. It gives all of it back before it comes again.
thread_local void* lentList = nullptr;
thread_local ::HANDLE lentToken = nullptr;  ///< Another handle to it.

void lookForLeftovers() {
  if (lentList != nullptr) {
    simulated::ledger().note("WTSFreeMemory", "not called for a list");
  }
  if (lentToken != nullptr) {
    ::PUBLIC_OBJECT_BASIC_INFORMATION facts{};
    ::NtQueryObject(lentToken, ObjectBasicInformation, &facts, sizeof(facts), nullptr);
    if (facts.HandleCount != 1) {
      simulated::ledger().note("CloseHandle", "not called for a token");
    }
    ::CloseHandle(lentToken);
    lentToken = nullptr;
  }
}

/// Performs an operation in a world with the sessions of the moment. Writes records to where the
/// tests look for them: the standard error of a service is lost.
template <typename Call>
BOOL inWorld(Call call) {
  std::vector<platform::Session> sessions;
  std::ifstream file("C:\\kv500-sessions.txt");
  for (platform::Session session{}; file >> session.id >> session.state;) {
    sessions.push_back(session);
  }
  simulated::world().sessions.set(sessions);
  const BOOL result = call();
  const std::string notes = simulated::ledger().notes();
  if (!notes.empty()) {
    std::ofstream("C:\\kv500-wrong-use-of-sessions.txt", std::ios::binary) << notes;
  }
  return result;
}

BOOL refused(const char* operation) {
  SetLastError(ERROR_INVALID_PARAMETER);
  return simulated::refuse(operation, "an argument that Windows refuses", FALSE);
}

void record(DWORD session, const std::wstring& title, const std::wstring& text) {
  const std::u8string bytes = std::filesystem::path(title + L" | " + text).u8string();
  std::ofstream("C:\\kv500-boxes.txt", std::ios::app | std::ios::binary)
      << session << " " + std::string(bytes.begin(), bytes.end()) + '\0';
}

}  // namespace

extern "C" {

BOOL WINAPI WTSEnumerateSessionsA(::HANDLE server, DWORD reserved, DWORD version,
                                  PWTS_SESSION_INFOA* list, DWORD* count) {
  return inWorld([&] {
    lookForLeftovers();
    if (server != WTS_CURRENT_SERVER_HANDLE || reserved != 0 || version != 1 || list == nullptr ||
        count == nullptr) {
      return refused("WTSEnumerateSessionsA");
    }
    const std::vector<platform::Session> sessions = platform::listSessions();
    *count = static_cast<DWORD>(sessions.size());
    *list = new WTS_SESSION_INFOA[sessions.size()];
    lentList = *list;
    for (std::size_t i = 0; i < sessions.size(); ++i) {
      (*list)[i] = {sessions[i].id, nullptr,
                    static_cast<WTS_CONNECTSTATE_CLASS>(sessions[i].state)};
    }
    return TRUE;
  });
}

void WINAPI WTSFreeMemory(void* list) {
  inWorld([&] {
    if (list == nullptr || list != lentList) {
      return refused("WTSFreeMemory");
    }
    delete[] static_cast<PWTS_SESSION_INFOA>(list);
    lentList = nullptr;
    return TRUE;
  });
}

BOOL WINAPI WTSSendMessageW(::HANDLE server, DWORD session, LPWSTR title, DWORD titleLength,
                            LPWSTR message, DWORD messageLength, DWORD style, DWORD timeoutSeconds,
                            DWORD* response, BOOL wait) {
  return inWorld([&] {
    lookForLeftovers();
    if (server != WTS_CURRENT_SERVER_HANDLE || response == nullptr) {
      return refused("WTSSendMessageW");
    }
    std::uint32_t answer = 0;
    if (!platform::WTSSendMessageW(session, reinterpret_cast<const char16_t*>(title), titleLength,
                                   reinterpret_cast<const char16_t*>(message), messageLength, style,
                                   timeoutSeconds, answer, wait)) {
      return FALSE;
    }
    record(session, {title, titleLength / 2}, {message, messageLength / 2});
    while (std::filesystem::exists("C:\\kv500-nobody-answers.txt")) {  // The test's time limit.
      Sleep(20);
    }
    *response = answer;
    return TRUE;
  });
}

/// The token is the service's own, with no more rights than a first step needs.
BOOL WINAPI WTSQueryUserToken(ULONG session, PHANDLE token) {
  return inWorld([&] {
    lookForLeftovers();
    if (token == nullptr) {
      return refused("WTSQueryUserToken");
    }
    if (!simulated::world().sessions.has(session)) {
      SetLastError(ERROR_FILE_NOT_FOUND);
      return FALSE;
    }
    ::HANDLE own = nullptr;
    const BOOL made = ::OpenProcessToken(::GetCurrentProcess(), TOKEN_DUPLICATE, &own) &&
                      ::DuplicateTokenEx(own, TOKEN_DUPLICATE | TOKEN_QUERY, nullptr,
                                         SecurityImpersonation, TokenPrimary, token) &&
                      ::DuplicateHandle(::GetCurrentProcess(), *token, ::GetCurrentProcess(),
                                        &lentToken, 0, FALSE, DUPLICATE_SAME_ACCESS);
    ::CloseHandle(own);
    return made;
  });
}

/// Nobody's name is known.
BOOL WINAPI WTSQuerySessionInformationW(::HANDLE, DWORD, WTS_INFO_CLASS, LPWSTR*, DWORD*) {
  SetLastError(ERROR_NOT_SUPPORTED);
  return FALSE;
}

}  // extern "C"
