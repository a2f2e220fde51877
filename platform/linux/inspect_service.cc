// Services are those of systemd: what "systemctl show" reports about their units.
#include <ctime>
#include <map>
#include <sstream>

#include "platform/inspection.h"
#include "platform/posix/process.h"

namespace platform {
namespace {

using Properties = std::map<std::string, std::string>;
using State = ServiceFacts::State;

constexpr const char* installedProgram = "/opt/kv500service/KV500Service";  // By the package.
constexpr std::chrono::milliseconds answerLimit{2500};
constexpr std::uint64_t lately =
    600;  // Seconds of running after which earlier restarts are history.

/// Empty if there is no service manager.
Properties propertiesOf(const std::string& unit) {
  const auto output = posix::outputOf(
      {"systemctl", "show", "--no-pager",
       "--property=LoadState,ActiveState,UnitFileState,User,ExecStart,MainPID,ExecMainStatus,"
       "NRestarts,ActiveEnterTimestampMonotonic",
       unit},
      answerLimit);
  Properties properties;
  std::istringstream lines(output.value_or(""));
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find('=');
    if (equals != std::string::npos) {
      properties[line.substr(0, equals)] = line.substr(equals + 1);
    }
  }
  return properties;
}

State stateOf(Properties& properties) {
  const std::string load = properties["LoadState"];
  const std::string active = properties["ActiveState"];
  if (load.empty()) {
    return State::Unknown;
  }
  if (load == "not-found") {
    return State::Absent;
  }
  if (active == "active" || active == "reloading") {
    return State::Running;
  }
  return active == "activating"     ? State::Starting
         : active == "deactivating" ? State::Stopping
                                    : State::Stopped;
}

std::uint64_t numberIn(const std::string& text) {
  std::uint64_t number = 0;
  std::istringstream(text) >> number;
  return number;
}

/// "{ path=/a/b ; argv[]=/a/b ; ..." names the program.
std::string programIn(const std::string& command) {
  const std::string mark = "path=";
  const auto at = command.find(mark);
  const auto begin = at + mark.size();
  return at == std::string::npos ? "" : command.substr(begin, command.find(" ;", begin) - begin);
}

std::uint64_t secondsSinceBoot() {
  std::timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec);
}

ServiceFacts factsOf(Properties& properties, const std::string& unit) {
  ServiceFacts facts;
  facts.state = stateOf(properties);
  const std::string unitFile = properties["UnitFileState"];
  facts.disabled =
      unitFile == "masked" || properties["LoadState"] == "masked" || unitFile == "disabled";
  facts.account = properties["User"].empty() ? "root" : properties["User"];
  facts.usualAccount = "root";
  facts.program = programIn(properties["ExecStart"]);
  facts.processId = static_cast<std::uint32_t>(numberIn(properties["MainPID"]));
  facts.exitCode = static_cast<std::uint32_t>(numberIn(properties["ExecMainStatus"]));
  const std::uint64_t since = numberIn(properties["ActiveEnterTimestampMonotonic"]) / 1'000'000;
  if (secondsSinceBoot() - since < lately) {
    facts.restarts = static_cast<std::uint32_t>(numberIn(properties["NRestarts"]));
  }
  facts.startCommand = "systemctl start " + unit;
  facts.enableCommand = "systemctl unmask " + unit + " && systemctl enable " + unit;
  return facts;
}

}  // namespace

ServiceFacts inspectService(InspectedService service) {
  if (service == InspectedService::Kv500) {
    Properties properties = propertiesOf("kv500service.service");
    ServiceFacts facts = factsOf(properties, "kv500service");
    std::error_code error;
    if (facts.program.empty() && std::filesystem::exists(installedProgram, error)) {
      facts.program = installedProgram;  // The service manager does not say.
    }
    return facts;
  }
  // The socket unit starts pcscd; it ends by itself when it has not been used for a while.
  Properties socket = propertiesOf("pcscd.socket");
  Properties daemon = propertiesOf("pcscd.service");
  ServiceFacts facts = factsOf(socket, "pcscd.socket");
  facts.installCommand = "apt install pcscd";
  const State daemonState = stateOf(daemon);
  facts.onDemand = facts.state == State::Running && daemonState == State::Stopped;
  if (daemonState == State::Running || daemonState == State::Starting) {
    facts.state = State::Running;
  }
  return facts;
}

}  // namespace platform
