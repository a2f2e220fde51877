#include <algorithm>

#include "check/looks.h"
#include "check/origin.h"
#include "check/texts.h"
#include "platform/inspection.h"

namespace check {
namespace {

using platform::Browser;
using platform::PolicyValue;

const char* nameOf(Browser browser) {
  switch (browser) {
    case Browser::Chrome:
      return "Chrome";
    case Browser::Edge:
      return "Edge";
    default:
      return "Firefox";
  }
}

/// The lists of Chrome and Edge in the order of their precedence: the first list that covers the
/// page decides.
struct List {
  const char* name;
  bool allows;
};
constexpr List lists[] = {
    {"LoopbackNetworkBlockedForUrls", false},
    {"LoopbackNetworkAllowedForUrls", true},
    {"LocalNetworkAccessBlockedForUrls", false},
    {"LocalNetworkAccessAllowedForUrls", true},
};

std::string inWords(const PolicyValue& value) {
  return value.name + " = " + value.value;
}

/// What the policies of one browser say about the page, if they say anything.
class Judgement {
 public:
  Judgement(Browser browser, std::vector<PolicyValue> values, std::string origin)
      : browser_(browser), values_(std::move(values)), origin_(std::move(origin)) {
    std::erase_if(values_, [browser](const auto& value) { return value.browser != browser; });
  }

  Findings findings() const {
    for (const List& list : lists) {
      for (const PolicyValue& value : entriesOf(list)) {
        if (patternMatches(value.value, origin_)) {
          return {list.allows ? allows(value) : forbids(value)};
        }
      }
    }
    Findings findings = firefox();
    // For an unknown page only what applies to all pages is known.
    for (const List& list : lists) {
      for (const PolicyValue& value : entriesOf(list)) {
        if (origin_ == "*" && !list.allows) {
          findings.push_back({Level::Warn,
                              {texts::policyPartly, {nameOf(browser_), inWords(value)}},
                              texts::policyPartlyAdvice});
        }
      }
    }
    return findings;
  }

 private:
  std::vector<PolicyValue> entriesOf(const List& list) const {
    std::vector<PolicyValue> entries = values_;
    const std::string prefix = std::string(list.name) + "/";
    std::erase_if(entries, [&prefix](const auto& v) { return !v.name.starts_with(prefix); });
    return entries;
  }

  Finding allows(const PolicyValue& value) const {
    return {Level::Ok, {texts::policyAllows, {nameOf(browser_), inWords(value)}}};
  }
  Finding forbids(const PolicyValue& value) const {
    return {Level::Fail,
            {texts::policyForbids, {nameOf(browser_), inWords(value)}},
            texts::policyForbidsAdvice};
  }

  /// Firefox has a switch for everything, and a list of domains that are exempt from it.
  Findings firefox() const {
    for (const PolicyValue& value : values_) {
      const bool isOff = value.value == "false" || value.value == "0";
      const bool passesOver = value.name.starts_with("LocalNetworkAccess/SkipDomains/") &&
                              patternMatches(value.value, origin_);
      if ((value.name == "LocalNetworkAccess/Enabled" && isOff) || passesOver) {
        return {allows(value)};
      }
    }
    return {};
  }

  Browser browser_;
  std::vector<PolicyValue> values_;
  std::string origin_;
};

}  // namespace

Findings lookAtBrowserPolicy(const kv500::Settings& settings) {
  const auto values = platform::browserPolicies();
  Findings findings;
  std::string asking;
  for (const Browser browser : {Browser::Chrome, Browser::Edge, Browser::Firefox}) {
    const Findings found = Judgement(browser, values, settings.allowOrigin).findings();
    findings.insert(findings.end(), found.begin(), found.end());
    if (found.empty()) {
      asking += (asking.empty() ? "" : ", ") + std::string(nameOf(browser));
    }
  }
  if (!asking.empty()) {
    findings.push_back({Level::Ok, {texts::policyNone, {asking}}});
  }
  return findings;
}

}  // namespace check
