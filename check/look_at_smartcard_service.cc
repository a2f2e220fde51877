#include "check/looks.h"
#include "check/pcsc_look.h"
#include "check/texts.h"
#include "platform/inspection.h"

namespace check {
namespace {

using State = platform::ServiceFacts::State;

constexpr std::uint32_t accessDenied = 5;  // ERROR_ACCESS_DENIED

bool isRefusal(std::uint32_t code) {
  return code == platform::SCARD_E_NO_ACCESS || code == platform::SCARD_W_SECURITY_VIOLATION ||
         code == accessDenied;
}

bool isAway(std::uint32_t code) {
  return code == platform::SCARD_E_NO_SERVICE || code == platform::SCARD_E_SERVICE_STOPPED;
}

}  // namespace

Findings lookAtSmartcardService(const Services& services) {
  const platform::ServiceFacts& facts = services.smartcard;
  if (facts.state == State::Absent) {
    return {{Level::Fail,
             texts::smartcardAbsent,
             {texts::smartcardAbsentAdvice, {facts.installCommand}}}};
  }
  if (facts.disabled && facts.state != State::Running) {
    return {{Level::Fail, texts::smartcardDisabled, enableAdvice(facts)}};
  }
  const PcscLook pcsc(services);
  if (pcsc.wouldStart()) {
    return {{Level::Ok, texts::smartcardOnDemand}};
  }
  if (pcsc.result() == platform::SCARD_S_SUCCESS) {
    return {{Level::Ok, texts::smartcardRuns}};
  }
  if (isRefusal(pcsc.result())) {
    return {{Level::Fail,
             {texts::smartcardRefused, {codeText(pcsc.result())}},
             texts::smartcardRefusedAdvice}};
  }
  if (isAway(pcsc.result())) {
    return {{Level::Fail,
             texts::smartcardStopped,
             {texts::smartcardStoppedAdvice, {facts.startCommand}}}};
  }
  return {{Level::Fail,
           {texts::smartcardFails, {codeText(pcsc.result())}},
           texts::smartcardFailsAdvice}};
}

}  // namespace check
