// A user is a security identifier. Windows tells which process holds a connection, and as whom a
// process runs.
#include "platform/users.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "platform/win32/native.h"
// All three need windows.h.
#include <iphlpapi.h>
#include <sddl.h>
#include <wtsapi32.h>

namespace platform {

const std::string systemUser = "S-1-5-18";  // LocalSystem.

namespace {

/// Closes a handle at the end.
class Owned {
 public:
  explicit Owned(::HANDLE handle = nullptr) : handle(handle) {}
  ~Owned() {
    if (handle != nullptr) {
      ::CloseHandle(handle);
    }
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  ::HANDLE handle;
};

std::optional<std::string> userOf(::HANDLE token) {
  // Of a type that is aligned as the record has to be.
  std::vector<::TOKEN_USER> buffer(SECURITY_MAX_SID_SIZE / sizeof(::TOKEN_USER) + 2);
  DWORD length = 0;
  char* text = nullptr;
  if (!::GetTokenInformation(token, TokenUser, buffer.data(),
                             static_cast<DWORD>(buffer.size() * sizeof(::TOKEN_USER)), &length) ||
      !::ConvertSidToStringSidA(buffer[0].User.Sid, &text)) {
    return std::nullopt;
  }
  const std::string user = text;
  ::LocalFree(text);
  return user;
}

/// The machine's TCP connections over IPv4, with their processes.
std::vector<::MIB_TCPROW_OWNER_PID> connections() {
  constexpr int tries = 5;  // The table may grow between the two steps of a try.
  std::vector<::MIB_TCPROW_OWNER_PID> buffer(64);
  for (int i = 0; i < tries; ++i) {
    auto size = static_cast<DWORD>(buffer.size() * sizeof(buffer[0]));
    const DWORD result = ::GetExtendedTcpTable(buffer.data(), &size, FALSE, AF_INET,
                                               TCP_TABLE_OWNER_PID_CONNECTIONS, 0);
    if (result == NO_ERROR) {
      const auto* const table = reinterpret_cast<const ::MIB_TCPTABLE_OWNER_PID*>(buffer.data());
      return {table->table, table->table + table->dwNumEntries};
    }
    if (result != ERROR_INSUFFICIENT_BUFFER) {
      break;
    }
    buffer.resize(size / sizeof(buffer[0]) + 64);
  }
  return {};
}

/// The process that holds the socket with these ends.
std::optional<DWORD> processOf(const ::sockaddr_in& own, const ::sockaddr_in& remote) {
  const auto rows = connections();
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& row) {
    return row.dwLocalAddr == own.sin_addr.s_addr && row.dwRemoteAddr == remote.sin_addr.s_addr &&
           (row.dwLocalPort & 0xFFFF) == own.sin_port &&
           (row.dwRemotePort & 0xFFFF) == remote.sin_port;
  });
  return found == rows.end() ? std::nullopt : std::optional(found->dwOwningPid);
}

}  // namespace

std::optional<std::string> peerUser(SOCKET connection) {
  ::sockaddr_in own{};
  ::sockaddr_in peer{};
  int ownLength = sizeof(own);
  int peerLength = sizeof(peer);
  if (::getsockname(connection, reinterpret_cast<::sockaddr*>(&own), &ownLength) != 0 ||
      ::getpeername(connection, reinterpret_cast<::sockaddr*>(&peer), &peerLength) != 0) {
    return std::nullopt;
  }
  const auto id = processOf(peer, own);
  if (!id) {
    return std::nullopt;
  }
  const Owned process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, *id));
  Owned token;
  if (process.handle == nullptr ||
      !::OpenProcessToken(process.handle, TOKEN_QUERY, &token.handle)) {
    return std::nullopt;
  }
  return userOf(token.handle);
}

std::optional<std::string> sessionUser(std::uint32_t session) {
  Owned token;
  if (!::WTSQueryUserToken(session, &token.handle)) {
    return std::nullopt;
  }
  return userOf(token.handle);
}

}  // namespace platform
