// Who listens on a port, and which ports Windows reserves.
#include <array>
#include <chrono>
#include <sstream>
#include <thread>

#include "platform/inspection.h"
#include "platform/win32/native.h"
#include "platform/windows/system_program.h"
// Both need winsock2.h.
#include <ws2ipdef.h>

#include <iphlpapi.h>

namespace platform {
namespace {

/// A table of listeners with their processes, in a buffer of the size that Windows asks for.
std::vector<std::uint64_t> listenerTable(ULONG family) {
  std::vector<std::uint64_t> buffer(1024);
  for (int i = 0; i < 8; ++i) {  // The table may grow between two calls.
    auto size = static_cast<DWORD>(buffer.size() * sizeof(buffer[0]));
    const DWORD result =
        ::GetExtendedTcpTable(buffer.data(), &size, FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0);
    if (result == NO_ERROR) {
      return buffer;
    }
    if (result != ERROR_INSUFFICIENT_BUFFER) {
      break;
    }
    buffer.resize(size / sizeof(buffer[0]) + 1);
  }
  return {0};
}

/// The entries of a table of the given record.
template <typename Table>
auto entriesOf(const std::vector<std::uint64_t>& buffer) {
  const auto& table = *reinterpret_cast<const Table*>(buffer.data());
  return std::vector(table.table, table.table + table.dwNumEntries);
}

std::vector<::MIB_TCPROW_OWNER_PID> listenersAt(DWORD address) {
  auto rows = entriesOf<::MIB_TCPTABLE_OWNER_PID>(listenerTable(AF_INET));
  std::erase_if(rows, [=](const auto& row) { return ::ntohl(row.dwLocalAddr) != address; });
  return rows;
}

/// The file name of a process' program. Empty if this user has no right to know it.
std::string programOf(DWORD process) {
  const ::HANDLE handle = ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
  if (handle == nullptr) {
    return {};
  }
  std::wstring path(32768, L'\0');
  auto length = static_cast<DWORD>(path.size());
  const bool isKnown = ::QueryFullProcessImageNameW(handle, 0, path.data(), &length);
  ::CloseHandle(handle);
  path.resize(isKnown ? length : 0);
  return toUtf8(std::filesystem::path(path).filename());
}

template <typename Row>
std::uint16_t portOfRow(const Row& row) {
  return ::ntohs(static_cast<std::uint16_t>(row.dwLocalPort));
}

}  // namespace

std::vector<Listener> listenersOn(std::uint16_t port) {
  std::vector<Listener> listeners;
  const auto add = [&listeners](bool ipv6, DWORD process) {
    listeners.push_back({ipv6, process, programOf(process)});
  };
  // Windows prefers the listener that names the address. A socket for all IPv6 addresses that takes
  // IPv4 as well is in both tables.
  for (const DWORD address : {DWORD{INADDR_LOOPBACK}, DWORD{INADDR_ANY}}) {
    for (const auto& row : listenersAt(address)) {
      if (portOfRow(row) == port) {
        add(false, row.dwOwningPid);
      }
    }
  }
  constexpr std::array<UCHAR, 16> loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  for (const auto& row : entriesOf<::MIB_TCP6TABLE_OWNER_PID>(listenerTable(AF_INET6))) {
    std::array<UCHAR, 16> address{};
    std::copy(std::begin(row.ucLocalAddr), std::end(row.ucLocalAddr), address.begin());
    const bool isForAll = address == std::array<UCHAR, 16>{};
    if (portOfRow(row) == port && (isForAll || address == loopback)) {
      add(true, row.dwOwningPid);
    }
  }
  return listeners;
}

std::optional<std::uint16_t> portOf(std::uint32_t process) {
  for (const auto& row : listenersAt(INADDR_LOOPBACK)) {
    if (row.dwOwningPid == process) {
      return portOfRow(row);
    }
  }
  return std::nullopt;
}

std::vector<PortRange> reservedPorts() {
  // No operation of Windows lists the ports that its virtual networks have reserved, but this
  // program does. It prints one range of two numbers per line. A "*" marks a range that an
  // administrator has reserved; a program that names its port may use that range.
  std::istringstream lines(
      outputOfSystemProgram("netsh", "netsh interface ipv4 show excludedportrange protocol=tcp"));
  std::vector<PortRange> ranges;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    unsigned first = 0;
    unsigned last = 0;
    std::string mark;
    if (words >> first >> last && !(words >> mark) && first <= last && last <= 65535) {
      ranges.push_back({static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(last)});
    }
  }
  return ranges;
}

}  // namespace platform
