#include "platform/simulated/inspection.h"

#include <algorithm>

#include "platform/program.h"
#include "platform/simulated/world.h"

namespace simulated {

Inspection::Inspection() {
  service.state = platform::ServiceFacts::State::Running;
  service.account = service.usualAccount = "LocalSystem";
  service.processId = 4711;
  service.startCommand = "net start KV500Service";
  service.enableCommand = "sc.exe config KV500Service start= auto";
}

}  // namespace simulated

namespace platform {

using simulated::world;

ServiceFacts inspectService(InspectedService service) {
  const auto& inspection = world().inspection;
  if (service == InspectedService::Kv500) {
    return inspection.service;
  }
  if (inspection.smartcardService) {
    return *inspection.smartcardService;
  }
  ServiceFacts facts;
  facts.state = world().readers.isServiceRunning() ? ServiceFacts::State::Running
                                                   : ServiceFacts::State::Stopped;
  facts.startCommand = "net start SCardSvr";
  return facts;
}

std::vector<Listener> listenersOn(std::uint16_t) {
  return world().inspection.listeners;
}

std::optional<std::uint16_t> portOf(std::uint32_t process) {
  const auto& inspection = world().inspection;
  return process == inspection.service.processId ? inspection.servicePort : std::nullopt;
}

std::vector<PortRange> reservedPorts() {
  return world().inspection.reservedPorts;
}

std::uint32_t inspectReader(SCARDCONTEXT context, const std::string& reader, ReaderFacts& facts) {
  if (const auto code = world().faults.take("inspectReader")) {
    return *code;
  }
  const std::uint32_t result = world().readers.look(context, reader, facts);
  facts.state = world().inspection.readerState.value_or(facts.state);
  return result;
}

std::uint32_t deviceProblem(const std::u16string&) {
  return world().inspection.deviceProblem;
}

std::vector<Session> sessionsOfAllUsers() {
  return listSessions();
}

SessionFacts inspectSession(std::uint32_t session) {
  const auto& sessions = world().inspection.sessions;
  const auto entry = sessions.find(session);
  return entry == sessions.end() ? SessionFacts{"user", false, true} : entry->second;
}

bool hasRemoteSession() {
  const auto& sessions = world().inspection.sessions;
  return std::any_of(sessions.begin(), sessions.end(),
                     [](const auto& entry) { return entry.second.remote; });
}

std::vector<PolicyValue> browserPolicies() {
  return world().inspection.policies;
}

std::string systemDescription() {
  return "a simulated machine";
}

}  // namespace platform
