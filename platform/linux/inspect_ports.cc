// Who listens on a port: read from the kernel's tables of sockets (proc(5)) and from the
// descriptors of processes.
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/inspection.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

struct Entry {
  std::string address;  ///< In hexadecimal, as the kernel writes it.
  std::string inode;
};

std::vector<Entry> listenersIn(const std::string& table, std::uint16_t port) {
  constexpr const char* listening = "0A";  // TCP_LISTEN
  std::ifstream file(table);
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
    if (colon != std::string::npos && column[3] == listening &&
        std::stoul(column[1].substr(colon + 1), nullptr, 16) == port) {
      entries.push_back({column[1].substr(0, colon), column[9]});
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

Listener ownerOf(const std::string& inode, bool ipv6) {
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; entry != end && !error;
       entry.increment(error)) {
    const std::string name = entry->path().filename();
    const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
    if (isProcess && hasSocket(entry->path(), inode)) {
      return {ipv6, static_cast<std::uint32_t>(std::stoul(name)), programOf(entry->path())};
    }
  }
  return {ipv6, 0, ""};
}

}  // namespace

std::vector<Listener> listenersOn(std::uint16_t port) {
  std::vector<Listener> listeners;
  for (const Entry& entry : listenersIn("/proc/net/tcp", port)) {
    // All addresses, or one of 127.0.0.0/8 in the byte order of this machine.
    if (entry.address == "00000000" || entry.address.ends_with("7F")) {
      listeners.push_back(ownerOf(entry.inode, false));
    }
  }
  const bool hasIpv4 = !listeners.empty();
  for (const Entry& entry : listenersIn("/proc/net/tcp6", port)) {
    const Listener owner = ownerOf(entry.inode, true);
    const bool isForAll = entry.address.find_first_not_of('0') == std::string::npos;
    if (isForAll && !hasIpv4) {
      listeners.push_back({false, owner.processId, owner.program});  // It accepts IPv4 as well.
    }
    if (isForAll || entry.address.ends_with("01000000")) {
      listeners.push_back(owner);
    }
  }
  return listeners;
}

std::vector<PortRange> reservedPorts() {
  return {};  // Linux keeps ports back from its own choice alone, not from a program that names
              // one.
}

}  // namespace platform
