#include "platform/linux/session_user.h"

#include <grp.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <systemd/sd-login.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace platform::linux_sessions {
namespace {

namespace fs = std::filesystem;
using Variables = std::map<std::string, std::string>;

constexpr std::size_t largestEntry = 65536;  // Bytes of a user database entry.
constexpr int mostGroups = 65536;            // The most that Linux allows one process.
constexpr const char* defaultPath = "/usr/local/bin:/usr/bin:/bin:/usr/local/games:/usr/games";

/// As long as this object lives, this thread accesses files with a user's rights. The user's own
/// things need no right to other people's files.
class WithRightsOf {
 public:
  explicit WithRightsOf(const posix::Identity& identity)
      : group_(::setfsgid(identity.group)), user_(::setfsuid(identity.user)) {}
  ~WithRightsOf() {
    ::setfsuid(static_cast<::uid_t>(user_));
    ::setfsgid(static_cast<::gid_t>(group_));
  }
  WithRightsOf(const WithRightsOf&) = delete;
  WithRightsOf& operator=(const WithRightsOf&) = delete;

 private:
  const int group_;
  const int user_;
};

std::vector<::gid_t> groupsOf(const std::string& name, ::gid_t group) {
  std::vector<::gid_t> groups(32);
  auto count = static_cast<int>(groups.size());
  // If more are needed, it tells the number.
  if (::getgrouplist(name.c_str(), group, groups.data(), &count) < 0 && count <= mostGroups) {
    groups.resize(static_cast<std::size_t>(count));
    if (::getgrouplist(name.c_str(), group, groups.data(), &count) < 0) {
      return {group};  // The list has grown meanwhile; no group is better than a wrong one.
    }
  }
  groups.resize(std::min(static_cast<std::size_t>(count), groups.size()));
  return groups;
}

std::string runtimeFolder(const SessionUser& user) {
  return "/run/user/" + std::to_string(user.identity.user);
}

bool isSocket(const std::string& path) {
  struct ::stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

bool isNumber(const std::string& text) {
  return text.find_first_not_of("0123456789") == std::string::npos;
}

Variables parseEnvironment(const std::string& block) {
  Variables variables;
  std::size_t begin = 0;
  while (begin < block.size()) {
    const std::size_t end = std::min(block.find('\0', begin), block.size());
    const std::string entry = block.substr(begin, end - begin);
    const std::size_t equals = entry.find('=');
    if (equals != std::string::npos && equals > 0) {
      variables.emplace(entry.substr(0, equals), entry.substr(equals + 1));
    }
    begin = end + 1;
  }
  return variables;
}

/// The environment of a process. Empty if the process belongs to another user or has gone.
Variables environmentOfProcess(const fs::path& process, ::uid_t user) {
  struct ::stat status;
  if (::stat(process.c_str(), &status) != 0 || status.st_uid != user) {
    return {};
  }
  std::ifstream file(process / "environ", std::ios::binary);
  return parseEnvironment({std::istreambuf_iterator<char>(file), {}});
}

/// The environment of a program with a display in the session. If no program names this session, a
/// program that names no session is taken, such as one that the user's service manager started.
Variables desktopEnvironment(const SessionUser& user) {
  const WithRightsOf rights(user.identity);
  Variables fallback;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; entry != end && !error;
       entry.increment(error)) {
    if (!isNumber(entry->path().filename())) {
      continue;
    }
    Variables variables = environmentOfProcess(entry->path(), user.identity.user);
    if (!variables.contains("DISPLAY") && !variables.contains("WAYLAND_DISPLAY")) {
      continue;
    }
    const auto session = variables.find("XDG_SESSION_ID");
    if (session == variables.end()) {
      fallback = std::move(variables);
    } else if (session->second == user.session) {
      return variables;
    }
  }
  return fallback;
}

/// What every session has, whatever programs run in it.
Variables plainEnvironment(const SessionUser& user) {
  Variables variables{{"HOME", user.home},
                      {"USER", user.name},
                      {"LOGNAME", user.name},
                      {"SHELL", user.shell},
                      {"PATH", defaultPath},
                      {"XDG_SESSION_ID", user.session},
                      {"XDG_RUNTIME_DIR", runtimeFolder(user)}};
  const WithRightsOf rights(user.identity);
  if (isSocket(runtimeFolder(user) + "/bus")) {
    variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + runtimeFolder(user) + "/bus";
  }
  char* display = nullptr;
  if (::sd_session_get_display(user.session.c_str(), &display) >= 0 && display != nullptr) {
    variables["DISPLAY"] = display;
  }
  std::free(display);
  return variables;
}

/// An entry of the user database, and the texts that it points to.
struct Account {
  bool find(::uid_t id) {
    ::passwd* found = nullptr;
    return ::getpwuid_r(id, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr;
  }
  ::passwd entry{};
  std::string texts = std::string(largestEntry, '\0');
};

}  // namespace

bool hasAccount(::uid_t user) {
  return Account().find(user);
}

std::optional<SessionUser> findSessionUser(const std::string& session) {
  ::uid_t id = 0;
  if (::sd_session_get_uid(session.c_str(), &id) < 0) {
    return std::nullopt;
  }
  Account account;
  if (!account.find(id)) {
    return std::nullopt;
  }
  const ::passwd& entry = account.entry;
  const std::string name = entry.pw_name;
  return SessionUser{session,
                     {id, entry.pw_gid, groupsOf(name, entry.pw_gid)},
                     name,
                     entry.pw_dir,
                     entry.pw_shell};
}

std::vector<std::string> environmentOf(const SessionUser& user) {
  Variables variables = desktopEnvironment(user);
  variables.merge(plainEnvironment(user));
  std::vector<std::string> environment;
  for (const auto& [name, value] : variables) {
    environment.push_back(name);
    environment.back().append("=").append(value);
  }
  return environment;
}

bool hasServiceManager(const SessionUser& user) {
  const WithRightsOf rights(user.identity);
  return isSocket(runtimeFolder(user) + "/systemd/private") &&
         isSocket(runtimeFolder(user) + "/bus");
}

}  // namespace platform::linux_sessions
