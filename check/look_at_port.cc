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

/// For a listener that is not the service.
Finding judgeOther(const Listener& listener, std::uint16_t port) {
  const std::string program = listener.program.empty() ? "?" : listener.program;
  const std::string process = listener.processId == 0 ? "?" : std::to_string(listener.processId);
  return {listener.ipv6 ? Level::Warn : Level::Fail,
          {listener.ipv6 ? texts::portLocalhost : texts::portTaken,
           {std::to_string(port), program, process}},
          listener.ipv6 ? texts::portLocalhostAdvice : texts::portTakenAdvice};
}

}  // namespace

Findings lookAtPort(const kv500::Settings& settings, const Services& services) {
  const std::uint16_t port = settings.port;
  const auto listeners = platform::listenersOn(port);
  const auto ipv4 = std::find_if(listeners.begin(), listeners.end(),
                                 [](const Listener& listener) { return !listener.ipv6; });
  Findings findings;
  if (ipv4 == listeners.end()) {
    findings.push_back(judgeNobody(port));
  } else {
    if (isService(*ipv4, services.kv500.processId)) {
      findings.push_back({Level::Ok, {texts::portServed, {std::to_string(port)}}});
    } else if (ipv4->processId == 0 && ipv4->program.empty()) {
      // Its answer shows whether it is the service.
      findings.push_back({Level::Ok, {texts::portSomebody, {std::to_string(port)}}});
    } else {
      findings.push_back(judgeOther(*ipv4, port));
    }
  }
  for (const Listener& listener : listeners) {
    if (listener.ipv6) {
      findings.push_back(judgeOther(listener, port));
    }
  }
  return findings;
}

}  // namespace check
