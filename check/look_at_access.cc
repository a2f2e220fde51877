#include "check/looks.h"
#include "check/origin.h"
#include "check/texts.h"

namespace check {

Findings lookAtAccess(const WorkingSettings& settings) {
  if (!settings.areKnown) {
    return {{Level::Warn, texts::accessUnknown, texts::seeSettings}};
  }
  const std::string& origin = settings.values.allowOrigin;
  if (origin == "*") {
    return {{Level::Warn, texts::accessAll, texts::accessAdvice}};
  }
  if (!isOrigin(origin)) {
    return {{Level::Fail, {texts::accessBad, {"\"" + origin + "\""}}, texts::accessAdvice}};
  }
  return {{Level::Ok, {texts::accessOne, {origin}}}};
}

}  // namespace check
