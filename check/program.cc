#include "check/program.h"

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "check/limited.h"
#include "check/looks.h"
#include "check/options.h"
#include "check/output.h"
#include "check/report.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"

namespace check {
namespace {

using Clock = Limited<Findings>::Clock;

constexpr std::chrono::milliseconds passPause{1000};
/// For the work before and after the two rounds of looks, so that everything ends within 10
/// seconds.
constexpr std::chrono::milliseconds managerLimit{1500};
constexpr std::chrono::milliseconds shortLimit{700};

struct Look {
  const char* id;
  std::function<Findings()> work;
};

/// Runs looks in parallel. A look that hangs is not started a second time.
class Runner {
 public:
  Findings run(const std::vector<Look>& looks) {
    for (const Look& look : looks) {
      pending_.try_emplace(look.id, look.work);
    }
    const auto deadline = Clock::now() + lookLimit;
    Findings all;
    for (const Look& look : looks) {
      const auto entry = pending_.find(look.id);
      const auto result = entry->second.resultBy(deadline);
      if (result) {
        pending_.erase(entry);
      }
      for (Finding finding :
           result.value_or(Findings{{Level::Fail, texts::noAnswerInTime, texts::noAnswerAdvice}})) {
        finding.id = look.id;
        all.push_back(std::move(finding));
      }
    }
    return all;
  }

 private:
  std::map<std::string, Limited<Findings>> pending_;
};

/// The settings. A look may still set them after its time limit.
class LockedSettings {
 public:
  WorkingSettings get() const {
    const std::lock_guard guard(mutex_);
    return settings_;
  }
  void set(const WorkingSettings& settings) {
    const std::lock_guard guard(mutex_);
    settings_ = settings;
  }

 private:
  mutable std::mutex mutex_;
  WorkingSettings settings_;
};

/// Runs all looks, in two rounds: the settings tell where the second round must look.
Findings lookAround(const Folder& folder, const Services& services, Runner& runner) {
  const auto read = std::make_shared<LockedSettings>();
  const auto lookAndKeep = [folder, services, read] {
    WorkingSettings settings;
    Findings found = lookAtSettings(folder, services, settings);
    read->set(settings);
    return found;
  };
  const Findings settingsFindings = runner.run({{"settings", lookAndKeep}});
  const WorkingSettings settings = read->get();
  // Where a simulator is tried, nobody needs what the machine itself has.
  const auto ofMachine = [folder, services](const std::function<Findings()>& look) {
    return [=] {
      Findings found = look();
      if (isSimulator(folder, services)) {
        notWorseThanWarn(found);
      }
      return found;
    };
  };
  Findings findings = runner.run({
      {"service", [folder, services] { return lookAtService(folder, services); }},
      {"access", [settings] { return lookAtAccess(settings); }},
      {"port", [settings, services] { return lookAtPort(settings, services); }},
      {"answer", [settings] { return lookAtAnswer(settings); }},
      {"log", [folder, services] { return lookAtLog(folder, services); }},
      {"smartcard-service", ofMachine([services] { return lookAtSmartcardService(services); })},
      {"readers", ofMachine([services] { return lookAtReaders(services); })},
      {"usb", ofMachine(lookAtUsb)},
      {"card", ofMachine([services] { return lookAtCard(services); })},
      {"session", [settings] { return lookAtSession(settings.values); }},
      {"browser-policy", [settings] { return lookAtBrowserPolicy(settings.values); }},
  });
  const auto behindService = std::find_if(findings.begin(), findings.end(),
                                          [](const Finding& f) { return f.id != "service"; });
  findings.insert(behindService, settingsFindings.begin(), settingsFindings.end());
  return findings;
}

/// Called before any other thread is at work: if the service manager is a program that must be
/// started, a process with few threads starts it best. If it does not tell about a service, nothing
/// is known about that service.
Services askServices() {
  return within<Services>(managerLimit, askServiceManager).value_or(Services());
}

/// Repeats the looks until nothing fails or the time is over, but runs them at least once.
Findings lookUntil(Clock::time_point end, const Folder& folder, const Services& first) {
  Runner runner;
  Findings findings = lookAround(folder, first, runner);
  while (worstOf(findings) == Level::Fail && Clock::now() + passPause < end) {
    std::this_thread::sleep_for(passPause);
    findings = lookAround(folder, askServices(), runner);
  }
  return findings;
}

/// The folder of the files. None if there is no such folder.
std::optional<Folder> chooseFolder(const std::optional<std::string>& given,
                                   const std::filesystem::path& service) {
  if (!given) {
    const auto program = service.empty() ? platform::GetModuleFileNameW() : service;
    return Folder{program.parent_path()};
  }
  std::error_code error;  // The path is empty then, which is no folder.
  const auto asGiven =
      std::filesystem::absolute(platform::fromUtf8(*given), error).lexically_normal();
  // Without a separator at its end.
  const auto path = asGiven.has_filename() ? asGiven : asGiven.parent_path();
  const auto facts =
      within<platform::FileFacts>(shortLimit, [path] { return platform::inspectFile(path); });
  // A folder that does not answer counts as a folder; the looks report it.
  const bool isFolder = !facts || facts->kind == platform::FileFacts::Kind::Folder;
  return isFolder ? std::optional(Folder{path, true}) : std::nullopt;
}

bool report(const std::string& path, const Folder& folder, const Findings& findings,
            Language language) {
  return within<bool>(
             shortLimit,
             [=] { return writeReport(path, folder, composeReport(folder, findings, language)); })
      .value_or(false);
}

int refuse(const Message& message, Language language) {
  platform::printError("kv500-check: " + message.in(language) + "\n");
  return exitUsage;
}

/// Gives the exit status that this alone deserves.
int print(const std::string& text, Language language) {
  return platform::printText(text) ? 0 : refuse(texts::outputUnwritable, language);
}

int check(const Options& options) {
  const auto end = Clock::now() + options.wait;
  const Services services = askServices();
  const auto folder = chooseFolder(options.folder, services.kv500.program);
  if (!folder) {
    return refuse({texts::noFolder, {*options.folder}}, options.language);
  }
  const Findings findings = lookUntil(end, *folder, services);
  const int printed =
      print(options.json ? asJson(findings, options.language) : asLines(findings, options.language),
            options.language);
  if (options.reportFile && !report(*options.reportFile, *folder, findings, options.language)) {
    return refuse({texts::reportUnwritable, {*options.reportFile}}, options.language);
  }
  return printed != 0 ? printed : static_cast<int>(worstOf(findings));
}

}  // namespace

int runProgram(const std::vector<std::string>& arguments) {
  try {
    const bool isGerman = platform::userLanguage().starts_with("de");
    const Options options =
        parseOptions(arguments, isGerman ? Language::German : Language::English);
    if (options.help) {
      return print(Message(texts::help).in(options.language), options.language);
    }
    if (options.version) {
      return print(programVersion + "\n", options.language);
    }
    return check(options);
  } catch (const UsageError& error) {
    return refuse(error.message, error.language);
  }
}

}  // namespace check
