#include <algorithm>

#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"

namespace check {
namespace {

using platform::Listener;

bool isService(const Listener& listener, std::uint32_t serviceProcess) {
  const bool hasItsName =
      listener.program == "KV500Service" || listener.program == "KV500Service.exe" ||
      listener.program == "kv500-simulator" || listener.program == "kv500-simulator.exe";
  return hasItsName || (listener.processId != 0 && listener.processId == serviceProcess);
}

Finding judgeNobody(std::uint16_t port) {
  const std::string number = std::to_string(port);
  for (const auto& [first, last] : platform::reservedPorts()) {
    if (port >= first && port <= last) {
      return {Level::Fail,
              {texts::portReserved, {number, std::to_string(first), std::to_string(last)}},
              {texts::portReservedAdvice, {number}}};
    }
  }
  return {Level::Fail, {texts::portNobody, {number}}, texts::portNobodyAdvice};
}

/// The ports that browsers refuse, of those that may be set: the "bad ports" of the Fetch standard.
constexpr std::uint16_t refusedByBrowsers[] = {1719, 1720, 1723, 2049, 3659, 4045, 4190,
                                               5060, 5061, 6000, 6566, 6665, 6666, 6667,
                                               6668, 6669, 6679, 6697, 10080};

/// For a listener that is not the service.
Finding judgeOther(const Listener& listener, std::uint16_t port) {
  const std::string program = listener.program.empty() ? "?" : listener.program;
  const std::string process = listener.processId == 0 ? "?" : std::to_string(listener.processId);
  return {listener.ipv6 ? Level::Warn : Level::Fail,
          {listener.ipv6 ? texts::portLocalhost : texts::portTaken,
           {std::to_string(port), program, process}},
          listener.ipv6 ? texts::portLocalhostAdvice : texts::portTakenAdvice};
}

Finding judgeIpv4(const std::vector<Listener>& listeners, std::uint16_t port,
                  std::uint32_t serviceProcess) {
  const auto first = std::find_if(listeners.begin(), listeners.end(),
                                  [](const Listener& listener) { return !listener.ipv6; });
  if (first == listeners.end()) {
    return judgeNobody(port);
  }
  if (isService(*first, serviceProcess)) {
    return {Level::Ok, {texts::portServed, {std::to_string(port)}}};
  }
  if (first->processId == 0 && first->program.empty()) {
    // Its answer shows whether it is the service.
    return {Level::Ok, {texts::portSomebody, {std::to_string(port)}}};
  }
  return judgeOther(*first, port);
}

}  // namespace

Findings lookAtPort(const WorkingSettings& settings, const Services& services) {
  const std::uint16_t port = settings.values.port;
  const auto listeners = platform::listenersOn(port);
  Findings findings{judgeIpv4(listeners, port, services.kv500.processId)};
  for (const Listener& listener : listeners) {
    if (listener.ipv6) {
      findings.push_back(judgeOther(listener, port));
    }
  }
  if (std::count(std::begin(refusedByBrowsers), std::end(refusedByBrowsers), port) != 0) {
    findings.push_back(
        {Level::Warn, {texts::portRefused, {std::to_string(port)}}, texts::portRefusedAdvice});
  }
  if (!settings.portIsKnown) {
    notWorseThanWarn(findings);
    findings.insert(
        findings.begin(),
        {Level::Warn, {texts::portAssumed, {std::to_string(port)}}, texts::seeSettings});
  }
  return findings;
}

}  // namespace check
