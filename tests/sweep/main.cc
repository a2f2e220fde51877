// The fault sweep: runs the service once for each way in which a call of the platform can fail, and
// judges the end, the traces, the time until the data are right again, and what is held.
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/simulated/card_folder.h"
#include "tests/sweep/consequences.h"
#include "tests/sweep/run.h"

namespace sweep {
namespace {

constexpr unsigned runLimit = 20;      // Seconds of the machine, for a run that hangs.
constexpr unsigned memoryPoints = 25;  // Allocations of a thread that fail in the short sweep.

struct Options {
  bool all = false;
  unsigned processes = static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN));
  std::string only;
  std::string card;
};

constexpr const char* help =
    "Usage: sweep [--all] [--only OPERATION] [--jobs N] CARD_FOLDER\n\n"
    "Runs the service from its start to its stop, with one failing call in each run: each "
    "operation\n"
    "of the platform, on each thread, with each code, once and for 2 seconds; and each "
    "allocation,\n"
    "once and for 200 ms. Of the calls the first, the middle and the last one fails.\n\n"
    "  --all              let every call fail\n"
    "  --only OPERATION   only that operation, or \"memory\"\n"
    "  --jobs N           so many runs at a time; the number of processors unless given\n";

/// What a run has left behind.
struct Seen {
  Report* report;
  int exitStatus;  ///< -1: a signal.
  std::string log;
  std::string told;  ///< On standard error.
};

std::string describe(const Fault& fault) {
  char text[160];
  std::snprintf(text, sizeof(text), "%s, thread %s, detail %u, call %u, code 0x%x, %s",
                fault.call.operation, fault.call.thread, fault.call.detail, fault.number,
                fault.code, fault.lasting ? "lasting" : "once");
  return text;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Whether a row is about what failed. If the failure lasts, other calls of the operation fail,
/// too.
bool fits(const Consequence& row, const Fault& fault, bool asTrigger) {
  const auto is = [](std::uint32_t wanted, std::uint32_t given) {
    return wanted == any || wanted == given;
  };
  return row.operation == fault.call.operation && is(row.code, fault.code) &&
         (row.when != When::IfLasting || fault.lasting) &&
         (!asTrigger || ((row.thread.empty() || row.thread == fault.call.thread) &&
                         is(row.detail, fault.call.detail) && is(row.call, fault.number)));
}

/// Whether the service did all of its work and ended by the stop.
bool hasGoneOn(const Seen& seen) {
  return seen.report->isComplete && seen.exitStatus == 0;
}

bool isMet(const Consequence& row, const Seen& seen) {
  const int status = hasGoneOn(seen) ? goesOn : seen.exitStatus;
  return status == row.exitStatus && seen.log.find(row.inLog) != std::string::npos &&
         seen.told.find(row.told) != std::string::npos;
}

/// Texts that stand on the card: all values of the right answer that are long enough to be told
/// from other words.
bool tellsOfTheCard(const std::string& text, const std::string& answer) {
  std::istringstream lines(answer.substr(answer.find("daten")));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t begin = line.find("\":\"");
    const std::string value =
        begin == std::string::npos ? "" : line.substr(begin + 3, line.rfind('"') - begin - 3);
    if (value.size() > 4 && text.find(value) != std::string::npos) {
      return true;
    }
  }
  return false;
}

/// A lack of memory may end the service only while it starts.
std::string judgeMemory(const Seen& seen) {
  if (hasGoneOn(seen)) {
    return "";
  }
  const std::string_view thread = seen.report->thread;
  const bool isStart = thread.empty() || thread == "main" || thread == "service";
  const std::string started = "### Service started! ###\r\n";
  const bool hasWord = !seen.told.empty() || !seen.log.ends_with(started);
  return isStart && seen.exitStatus == 1 && hasWord ? "" : "ended by a lack of memory";
}

std::string judgeConsequence(const Fault& fault, const Seen& seen) {
  const auto begin = std::begin(consequences);
  const auto end = std::end(consequences);
  const auto row = std::find_if(begin, end, [&](const auto& it) { return fits(it, fault, true); });
  const bool isMetByOther = fault.lasting && std::any_of(begin, end, [&](const auto& it) {
                              return fits(it, fault, false) && isMet(it, seen);
                            });
  if (isMetByOther || (row != end && isMet(*row, seen))) {
    return "";
  }
  const bool mayGoOn = row == end || row->exitStatus == goesOn || row->when == When::Perhaps;
  if (!hasGoneOn(seen)) {
    return mayGoOn ? "ended, but must go on" : "not the end that it must have";
  }
  return !mayGoOn                                   ? "goes on, but must end"
         : row == end || row->when == When::Perhaps ? ""
                                                    : "goes on without a word";
}

/// What is wrong with a run; empty: nothing.
std::string judge(const Fault& fault, const Seen& seen, const Report& usual) {
  const Report& report = *seen.report;
  if (report.complaint[0] != '\0') {
    return report.complaint;
  }
  if (fault.number > 0 && !report.hasFailed) {
    return "the call never came";
  }
  if (seen.exitStatus < 0) {
    return "killed by a signal, or too slow";
  }
  const std::string complaint =
      isOfMemory(fault.call) ? judgeMemory(seen) : judgeConsequence(fault, seen);
  if (!complaint.empty()) {
    return complaint;
  }
  if (tellsOfTheCard(seen.log + seen.told, usual.rightAnswer)) {
    return "the log or standard error holds something of the card";
  }
  std::string held = report.held;
  if (seen.told.find("card watcher") != std::string::npos) {
    held += "thread\n";  // The one that could not be started.
  }
  const auto sorted = [](const std::string& text) {
    std::istringstream lines(text);
    std::multiset<std::string> all;
    for (std::string line; std::getline(lines, line);) {
      all.insert(line);
    }
    return all;
  };
  return report.isComplete && sorted(held) != sorted(usual.held)
             ? "does not hold what it usually holds:\n" + held
             : "";
}

/// Runs processes, several at a time.
class Sweep {
 public:
  explicit Sweep(const Options& chosen)
      : options(chosen), card(simulated::loadCardFolder(chosen.card)), slots(chosen.processes) {
    folder =
        std::filesystem::temp_directory_path() / ("kv500_sweep_" + platform::host::processId());
    for (std::size_t i = 0; i < slots.size(); ++i) {
      slots[i].folder = folder / std::to_string(i);
      slots[i].report = static_cast<Report*>(::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE,
                                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    }
  }
  ~Sweep() { std::filesystem::remove_all(folder); }

  int sweep() {
    start(slots[0], Fault{});
    const Seen first = await();
    usual = *first.report;
    if (!judge(Fault{}, first, usual).empty() || usual.rightAnswer[0] == '\0') {
      std::cerr << "Without a fault: " << usual.complaint << "\n" << first.log << first.told;
      return 1;
    }
    const std::vector<Fault> faults = makeFaults();
    std::cout << faults.size() << " runs: " << usual.groups
              << " kinds of calls (operation, thread, detail)\n";
    for (std::size_t done = 0, begun = 0; done < faults.size(); ++done) {
      while (begun < faults.size() && begun - done < slots.size()) {
        start(freeSlot(), faults[begun++]);
      }
      await();
      if (done * 10 / faults.size() != (done + 1) * 10 / faults.size()) {
        std::cout << (done + 1) * 100 / faults.size() << " %" << std::endl;
      }
    }
    return summarize(faults);
  }

 private:
  struct Slot {
    ::pid_t process = 0;
    Fault fault;
    std::filesystem::path folder;
    Report* report;
  };

  std::vector<Fault> makeFaults() const {
    std::vector<Fault> faults;
    for (unsigned i = 0; i < usual.groups; ++i) {
      const Call& call = usual.group[i].call;
      if (!options.only.empty() && options.only != call.operation) {
        continue;
      }
      for (const std::uint32_t code : codesOf(call.operation)) {
        for (const unsigned number : numbersOf(usual.group[i])) {
          faults.push_back({call, number, code, false});
          faults.push_back({call, number, code, true});
        }
      }
    }
    return faults;
  }

  std::set<unsigned> numbersOf(const Report::Group& group) const {
    const unsigned points = options.all ? group.calls : isOfMemory(group.call) ? memoryPoints : 3;
    std::set<unsigned> numbers{1, group.calls};
    for (unsigned i = 1; i < points; ++i) {
      numbers.insert(1 + (group.calls - 1) * i / (points - 1));
    }
    return numbers;
  }

  Slot& freeSlot() {
    return *std::find_if(slots.begin(), slots.end(),
                         [](const Slot& slot) { return slot.process == 0; });
  }

  void start(Slot& slot, const Fault& fault) {
    std::filesystem::remove_all(slot.folder);
    std::filesystem::create_directories(slot.folder);
    *slot.report = Report{};
    std::memcpy(slot.report->rightAnswer, usual.rightAnswer, sizeof(usual.rightAnswer));
    slot.fault = fault;
    slot.process = ::fork();
    if (slot.process == 0) {
      ::alarm(runLimit);
      stayOn(static_cast<std::size_t>(&slot - slots.data()));
      const int told = ::open((slot.folder / "told").c_str(), O_WRONLY | O_CREAT, 0600);
      ::dup2(told, STDERR_FILENO);
      run(fault, card, slot.folder, *slot.report);
    }
  }

  /// One thread runs at a time. It wakes the next one several times faster on its own processor.
  static void stayOn(std::size_t number) {
    const auto processors = static_cast<std::size_t>(::sysconf(_SC_NPROCESSORS_ONLN));
    ::cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(number % processors, &only);
    ::sched_setaffinity(0, sizeof(only), &only);
  }

  /// Waits for the end of a run and judges it.
  Seen await() {
    int status = 0;
    const ::pid_t ended = ::waitpid(-1, &status, 0);
    Slot& slot = *std::find_if(slots.begin(), slots.end(),
                               [ended](const Slot& it) { return it.process == ended; });
    slot.process = 0;
    const Seen seen{slot.report, WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                    readFile(slot.folder / "log.txt"), readFile(slot.folder / "told")};
    if (slot.fault.number > 0) {
      enter(slot.fault, seen);
    }
    return seen;
  }

  void enter(const Fault& fault, const Seen& seen) {
    const std::string complaint = judge(fault, seen, usual);
    ++(!complaint.empty() ? wrong : seen.report->isComplete ? wentOn : ended);
    if (!complaint.empty()) {
      std::cout << "WRONG: " << describe(fault) << ": exit status " << seen.exitStatus << ", "
                << complaint << "\n"
                << seen.log << seen.told << std::endl;
    }
    for (int kind = 0; kind < recoveries; ++kind) {
      if (seen.report->isComplete && seen.report->took[kind] >= 0) {
        took[recoveryName(kind, fault)].push_back(seen.report->took[kind]);
      }
    }
  }

  static std::string recoveryName(int kind, const Fault& fault) {
    const std::string_view operation = fault.call.operation;
    constexpr const char* steps[] = {"reader plugged in again, with a card", "card put in",
                                     "smart-card service stopped"};
    if (kind < AfterFault) {
      return steps[kind];
    }
    const std::string length = fault.lasting ? " failed for a while" : " failed once";
    if (isOfMemory(fault.call)) {
      return "memory" + length;
    }
    const bool isOfService = operation == "SCardEstablishContext" ||
                             operation == "SCardListReadersA" ||
                             operation == "SCardReleaseContext" || operation == "system";
    return (isOfService                      ? "a call to the smart-card service"
            : operation == "listUsbDevices"  ? "a look at the readers on the bus"
            : operation.starts_with("SCard") ? "a call to the card"
                                             : "another call of the platform") +
           length;
  }

  int summarize(const std::vector<Fault>& faults) {
    std::set<std::string> operations;
    std::set<std::uint32_t> codes;
    for (const Fault& fault : faults) {
      operations.insert(fault.call.operation);
      if (std::string_view(fault.call.operation).starts_with("SCard")) {
        codes.insert(fault.code);
      }
    }
    std::cout << "| recovery after | runs | median | longest |\n|---|---|---|---|\n";
    for (auto& [name, times] : took) {
      std::sort(times.begin(), times.end());
      std::cout << "| " << name << " | " << times.size() << " | " << times[times.size() / 2]
                << " ms | " << times.back() << " ms |\n";
    }
    std::cout << faults.size() << " runs, " << operations.size() << " operations, " << codes.size()
              << " codes of PC/SC: " << wentOn << " went on, " << ended << " ended as they must, "
              << wrong << " wrong\n";
    return wrong == 0 ? 0 : 1;
  }

  const Options options;
  const simulated::Card card;
  std::filesystem::path folder;
  std::vector<Slot> slots;
  Report usual;
  std::size_t wentOn = 0, ended = 0, wrong = 0;
  std::map<std::string, std::vector<std::int64_t>> took;
};

}  // namespace
}  // namespace sweep

int main(int count, char** arguments) {
  sweep::Options options;
  for (int i = 1; i < count; ++i) {
    const std::string argument = arguments[i];
    const bool hasValue = i + 1 < count;
    if (argument == "--all") {
      options.all = true;
    } else if (argument == "--only" && hasValue) {
      options.only = arguments[++i];
    } else if (argument == "--jobs" && hasValue) {
      options.processes = static_cast<unsigned>(std::max(1, std::atoi(arguments[++i])));
    } else if (argument == "--help" || argument.starts_with('-') || !options.card.empty()) {
      (argument == "--help" ? std::cout : std::cerr) << sweep::help;
      return argument == "--help" ? 0 : 2;
    } else {
      options.card = argument;
    }
  }
  if (options.card.empty()) {
    std::cerr << sweep::help;
    return 2;
  }
  return sweep::Sweep(options).sweep();
}
