// Who listens on a port: read from the kernel's tables of sockets (proc(5)) and from the
// descriptors of processes.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/inspection.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

/// An address at which a program takes connections to this machine itself, as the kernel writes it
/// on a little-endian machine.
struct Address {
  const char* table;
  const char* text;
  bool ipv6;
};
const Address loopback{"/proc/net/tcp", "0100007F", false};
const Address allIpv6{"/proc/net/tcp6", "00000000000000000000000000000000", true};
/// In the order in which the kernel prefers them.
const Address addresses[] = {
    loopback,
    {"/proc/net/tcp6", "0000000000000000FFFF00000100007F", false},  // ::ffff:127.0.0.1
    {"/proc/net/tcp", "00000000", false},
    {"/proc/net/tcp6", "0000000000000000FFFF000000000000", false},  // ::ffff:0.0.0.0
    {"/proc/net/tcp6", "00000000000000000000000001000000", true},   // ::1
    allIpv6,
};

struct Entry {
  std::uint16_t port;
  std::string inode;
};

std::vector<Entry> listenersAt(const Address& address) {
  constexpr const char* listening = "0A";  // TCP_LISTEN
  std::ifstream file(address.table);
  std::string line;
  std::getline(file, line);  // The names of the columns.
  std::vector<Entry> entries;
  while (std::getline(file, line)) {
    std::istringstream columns(line);
    std::array<std::string, 10> column;
    for (std::string& text : column) {
      columns >> text;
    }
    const auto colon = column[1].find(':');
    if (column[1].substr(0, colon) == address.text && column[3] == listening) {
      const auto port = std::stoul(column[1].substr(colon + 1), nullptr, 16);
      entries.push_back({static_cast<std::uint16_t>(port), column[9]});
    }
  }
  return entries;
}

bool hasSocket(const fs::path& process, const std::string& inode) {
  std::error_code error;
  const std::string wanted = "socket:[" + inode + "]";
  for (fs::directory_iterator entry(process / "fd", error), end; entry != end && !error;
       entry.increment(error)) {
    std::error_code gone;
    if (fs::read_symlink(entry->path(), gone) == wanted) {
      return true;
    }
  }
  return false;
}

std::string programOf(const fs::path& process) {
  std::error_code error;
  const fs::path program = fs::read_symlink(process / "exe", error);
  return error ? "" : program.filename().string();
}

/// The process that has the socket. Unknown if this user has no right to know it.
Listener ownerOf(const std::string& inode) {
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; entry != end && !error;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
    if (isProcess && hasSocket(entry->path(), inode)) {
      return {false, static_cast<std::uint32_t>(std::stoul(name)), programOf(entry->path())};
    }
  }
  return {};
}

/// Whether a program that listens at all IPv6 addresses takes IPv4 as well. The tables don't tell
/// (IPV6_V6ONLY); a connection that says nothing does.
bool takesIpv4(std::uint16_t port) {
  constexpr std::uint32_t shortTime = 100;  // Milliseconds.
  return askPort(port, "", shortTime).connected;
}

}  // namespace

std::vector<Listener> listenersOn(std::uint16_t port) {
  std::vector<Listener> listeners;
  for (const Address& address : addresses) {
    for (const Entry& entry : listenersAt(address)) {
      if (entry.port == port) {
        listeners.push_back(ownerOf(entry.inode));
        listeners.back().ipv6 = address.ipv6;
      }
    }
  }
  const bool isIpv6Alone = std::all_of(listeners.begin(), listeners.end(),
                                       [](const Listener& listener) { return listener.ipv6; });
  for (const Entry& entry : listenersAt(allIpv6)) {
    if (isIpv6Alone && entry.port == port && takesIpv4(port)) {
      listeners.push_back(ownerOf(entry.inode));
    }
  }
  return listeners;
}

std::optional<std::uint16_t> portOf(std::uint32_t process) {
  for (const Entry& entry : listenersAt(loopback)) {
    if (hasSocket("/proc/" + std::to_string(process), entry.inode)) {
      return entry.port;
    }
  }
  return std::nullopt;
}

std::vector<PortRange> reservedPorts() {
  return {};  // Linux keeps ports back from its own choice alone, not from a program that names
              // one.
}

}  // namespace platform
