// Sessions are those of logind.
#include "platform/sessions.h"

#include <systemd/sd-login.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/command_line.h"
#include "platform/inspection.h"
#include "platform/linux/dialog.h"
#include "platform/linux/session_program.h"
#include "platform/linux/session_user.h"
#include "platform/posix/handle_object.h"
#include "platform/users.h"

namespace platform {
namespace {

using linux_sessions::SessionUser;

constexpr const char* firstSeat =
    "seat0";  // That of the machine's own screen, which always exists.

// logind's names of sessions are numbers. If the kernel's audit gives no number, they are "c" and a
// number.
constexpr std::uint32_t ownNumbering = 0x80000000;

std::optional<std::uint32_t> toNumber(const std::string& session) {
  const bool isOwn = session.starts_with('c');
  std::uint32_t number = 0;
  const char* const end = session.data() + session.size();
  const auto [last, error] = std::from_chars(session.data() + (isOwn ? 1 : 0), end, number);
  if (error != std::errc() || last != end || number >= ownNumbering) {
    return std::nullopt;
  }
  return isOwn ? number | ownNumbering : number;
}

std::string toSession(std::uint32_t number) {
  return (number & ownNumbering) != 0 ? "c" + std::to_string(number & ~ownNumbering)
                                      : std::to_string(number);
}

/// Takes ownership of a text that libsystemd has allocated.
std::string take(char* text) {
  std::string result = text == nullptr ? "" : text;
  std::free(text);
  return result;
}

/// The seat (screen and keyboard) of the session. Empty for a terminal without one, such as ssh's.
std::string seatOf(const std::string& session) {
  char* seat = nullptr;
  ::sd_session_get_seat(session.c_str(), &seat);
  return take(seat);
}

/// Whether a person works in the session at a screen of this machine.
bool isActive(const std::string& session) {
  char* state = nullptr;
  char* sessionClass = nullptr;
  ::sd_session_get_state(session.c_str(), &state);
  ::sd_session_get_class(session.c_str(), &sessionClass);
  const bool inUse = take(state) == "active";
  const bool isPersons = take(sessionClass) == "user";
  return inUse && isPersons && !seatOf(session).empty() &&
         ::sd_session_is_remote(session.c_str()) == 0;
}

bool hasAccount(const std::string& session) {
  ::uid_t user = 0;
  return ::sd_session_get_uid(session.c_str(), &user) >= 0 && linux_sessions::hasAccount(user);
}

bool isWithinReach(const std::string& session) {
  ::uid_t user = 0;
  return ::sd_session_get_uid(session.c_str(), &user) >= 0 && linux_sessions::isWithinReach(user);
}

class Token : public posix::HandleObject {
 public:
  explicit Token(const SessionUser& tokenUser) : user(tokenUser) {}
  const SessionUser user;
};

const Token* toToken(HANDLE handle) {
  return dynamic_cast<const Token*>(posix::toObject(handle));
}

using Environment = std::vector<std::string>;

}  // namespace

std::optional<std::string> sessionUser(std::uint32_t session) {
  ::uid_t user = 0;
  return ::sd_session_get_uid(toSession(session).c_str(), &user) < 0
             ? std::nullopt
             : std::optional(std::to_string(user));
}

bool canReachOtherSessions() {
  return ::geteuid() == 0;
}

std::vector<Session> sessionsOfAllUsers() {
  char** names = nullptr;
  if (::sd_get_sessions(&names) < 0) {
    return {};
  }
  std::vector<Session> sessions;
  for (char** name = names; name != nullptr && *name != nullptr; ++name) {
    const std::string session = take(*name);
    // This may run before each request, so the expensive questions come last.
    const auto number = toNumber(session);
    if (number && isActive(session) && hasAccount(session)) {
      sessions.push_back({*number, WTSActive});
    }
  }
  std::free(names);
  const auto place = [&sessions](const Session& session) {
    // A single session needs no comparison, so its seat is not asked for.
    return std::pair(sessions.size() > 1 && seatOf(toSession(session.id)) != firstSeat, session.id);
  };
  std::sort(sessions.begin(), sessions.end(),
            [&place](const Session& a, const Session& b) { return place(a) < place(b); });
  return sessions;
}

std::vector<Session> listSessions() {
  std::vector<Session> sessions = sessionsOfAllUsers();
  if (!canReachOtherSessions()) {
    std::erase_if(sessions, [](const auto& s) { return !isWithinReach(toSession(s.id)); });
  }
  return sessions;
}

bool WTSSendMessageW(std::uint32_t session, const char16_t* title, std::uint32_t titleLength,
                     const char16_t* message, std::uint32_t messageLength, std::uint32_t,
                     std::uint32_t, std::uint32_t& response, bool) {
  const auto user = linux_sessions::findSessionUser(toSession(session));
  if (!user || !linux_sessions::isWithinReach(user->identity.user)) {
    return false;
  }
  constexpr std::uint32_t idOk = 1;
  response = idOk;
  const auto text = [](const char16_t* units, std::uint32_t bytes) {
    return linux_sessions::dialogText(std::u16string(units, bytes / sizeof(char16_t)));
  };
  return linux_sessions::showDialog(*user, text(title, titleLength), text(message, messageLength));
}

bool WTSQueryUserToken(std::uint32_t session, HANDLE& token) {
  const auto user = linux_sessions::findSessionUser(toSession(session));
  if (!user || !linux_sessions::isWithinReach(user->identity.user)) {
    return false;
  }
  token = posix::toHandle(std::make_unique<Token>(*user));
  return true;
}

bool DuplicateTokenEx(HANDLE token, std::uint32_t, std::uint32_t, std::uint32_t,
                      HANDLE& duplicate) {
  duplicate = posix::toHandle(std::make_unique<Token>(toToken(token)->user));
  return true;
}

bool CreateEnvironmentBlock(void*& environment, HANDLE token) {
  environment = new Environment(linux_sessions::environmentOf(toToken(token)->user));
  return true;
}

void DestroyEnvironmentBlock(void* environment) {
  delete static_cast<Environment*>(environment);
}

bool CreateProcessAsUserA(HANDLE token, std::string& commandLine, std::uint32_t, void* environment,
                          PROCESS_INFORMATION& process) {
  if (!linux_sessions::startInSession(toToken(token)->user, *static_cast<Environment*>(environment),
                                      splitCommandLine(commandLine))) {
    return false;
  }
  // Nobody uses the process handles; they exist only to be closed.
  process = {posix::toHandle(std::make_unique<posix::HandleObject>()),
             posix::toHandle(std::make_unique<posix::HandleObject>())};
  return true;
}

bool hasRemoteSession() {
  char** names = nullptr;
  ::sd_get_sessions(&names);
  bool found = false;
  for (char** name = names; name != nullptr && *name != nullptr; ++name) {
    found = ::sd_session_is_remote(take(*name).c_str()) > 0 || found;
  }
  std::free(names);
  return found;
}

SessionFacts inspectSession(std::uint32_t session) {
  const std::string name = toSession(session);
  SessionFacts facts;
  facts.remote = ::sd_session_is_remote(name.c_str()) > 0;
  if (const auto user = linux_sessions::findSessionUser(name)) {
    facts.user = user->name;
    if (!linux_sessions::isWithinReach(user->identity.user)) {
      return facts;
    }
    const auto environment = linux_sessions::environmentOf(*user);
    facts.startsPrograms =
        std::any_of(environment.begin(), environment.end(), [](const std::string& variable) {
          return variable.starts_with("DISPLAY=") || variable.starts_with("WAYLAND_DISPLAY=");
        });
  }
  return facts;
}

}  // namespace platform
