#include "check/looks.h"
#include "check/origin.h"
#include "check/texts.h"

namespace check {

Findings lookAtAccess(const kv500::Settings& settings) {
  const std::string& origin = settings.allowOrigin;
  if (origin == "*") {
    return {{Level::Warn, texts::accessAll, texts::accessAdvice}};
  }
  if (!isOrigin(origin)) {
    return {{Level::Fail, {texts::accessBad, {"\"" + origin + "\""}}, texts::accessAdvice}};
  }
  return {{Level::Ok, {texts::accessOne, {origin}}}};
}

}  // namespace check
