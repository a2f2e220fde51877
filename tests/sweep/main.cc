// The fault sweep: runs the service once for each way in which a call of the platform can fail.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/simulated/card_folder.h"
#include "tests/sweep/consequences.h"
#include "tests/sweep/judge.h"
#include "tests/sweep/run.h"
#include "tests/virtual_world.h"

namespace sweep {
namespace {

constexpr unsigned timeLimit = 120;    // Seconds; the machine may be busy.
constexpr ::rlim_t workLimit = 10;     // Seconds of processor time.
constexpr unsigned memoryCalls = 200;  // Allocations of a thread that fail in the short sweep.

constexpr const char* help =
    "Usage: sweep [--all] [--only OPERATION] CARD_FOLDER\n\n"
    "Runs the service from its start to its stop, with one failing call in each run: each "
    "operation\n"
    "of the platform, on each thread, with each code, once and for 2 seconds; each allocation, "
    "once\n"
    "and for 200 ms. Of a thread's calls of an operation the first, the middle and the last "
    "fail.\n\n"
    "  --all              let every call fail\n"
    "  --only OPERATION   only that operation, or \"memory\"\n";

struct Options {
  bool all = false;
  std::string only;
  std::string card;
};

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string describe(const Fault& fault) {
  char text[160];
  std::snprintf(text, sizeof(text), "%s, thread %s, detail %u, call %u, code 0x%x, %s",
                fault.call.operation, fault.call.thread, fault.call.detail, fault.number,
                fault.code, fault.lasting ? "for a while" : "once");
  return text;
}

std::string nameOf(int recovery, const Fault& fault) {
  if (recovery < AfterFault) {
    constexpr const char* steps[] = {"reader plugged in again", "card put in",
                                     "smart-card service stopped"};
    return steps[recovery];
  }
  const std::string_view operation = fault.call.operation;
  const auto isOneOf = [operation](const std::set<std::string_view>& all) {
    return all.contains(operation);
  };
  const std::string what =
      isOfMemory(fault.call) ? "memory"
      : isOneOf({"SCardEstablishContext", "SCardListReadersA", "listUsbDevices"})
          ? "list of readers"
      : operation.starts_with("SCard") ? "card"
                                       : "other call";
  return what + (fault.lasting ? " failed for a while" : " failed once");
}

class Sweep {
 public:
  explicit Sweep(const Options& chosen)
      : options(chosen),
        card(simulated::loadCardFolder(chosen.card)),
        slots(static_cast<std::size_t>(::sysconf(_SC_NPROCESSORS_ONLN))) {
    for (Slot& slot : slots) {
      slot.report = static_cast<Report*>(::mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE,
                                                MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    }
  }
  ~Sweep() { std::filesystem::remove_all(folder); }

  /// Gives the exit status.
  int sweep() {
    start({});
    usual = await();
    if (wrong > 0 || usual.rightAnswer[0] == '\0') {
      return 1;
    }
    wentOn = 0;
    const std::vector<Fault> faults = makeFaults();
    std::cout << faults.size() << " runs" << std::endl;
    for (std::size_t done = 0, begun = 0; done < faults.size(); ++done) {
      for (; begun < faults.size() && begun - done < slots.size(); ++begun) {
        start(faults[begun]);
      }
      await();
      if ((done + 1) * 10 / faults.size() > done * 10 / faults.size()) {
        std::cout << (done + 1) * 100 / faults.size() << " %" << std::endl;
      }
    }
    summarize(faults);
    return wrong == 0 ? 0 : 1;
  }

 private:
  /// A place for one run at a time.
  struct Slot {
    ::pid_t process = 0;  ///< 0: free.
    Fault fault;
    Report* report;
  };

  std::vector<Fault> makeFaults() const {
    std::vector<Fault> faults;
    for (const auto& group : usual.group) {
      const Call& call = group.call;
      const bool isWanted = options.only.empty() || options.only == call.operation;
      for (const std::uint32_t code : codesOf(call.operation)) {
        for (const unsigned number : isWanted ? numbersOf(group) : std::set<unsigned>()) {
          faults.push_back({call, number, code, false});
          faults.push_back({call, number, code, true});
        }
      }
    }
    return faults;
  }

  std::set<unsigned> numbersOf(const Report::Group& group) const {
    const unsigned count = options.all ? group.calls : isOfMemory(group.call) ? memoryCalls : 3;
    std::set<unsigned> numbers;
    for (unsigned i = 0; i < count && group.calls > 0; ++i) {
      const std::uint64_t before = std::uint64_t{group.calls - 1} * i / std::max(count - 1, 1u);
      numbers.insert(1 + static_cast<unsigned>(before));
    }
    return numbers;
  }

  std::filesystem::path folderOf(const Slot& slot) const {
    return folder / std::to_string(&slot - slots.data());
  }

  void start(const Fault& fault) {
    Slot& slot =
        *std::find_if(slots.begin(), slots.end(), [](const Slot& it) { return it.process == 0; });
    std::filesystem::remove_all(folderOf(slot));
    std::filesystem::create_directories(folderOf(slot));
    *slot.report = Report{};
    std::memcpy(slot.report->rightAnswer, usual.rightAnswer, sizeof(usual.rightAnswer));
    slot.fault = fault;
    slot.process = ::fork();
    if (slot.process == 0) {
      const ::rlimit limit{workLimit, workLimit};
      ::setrlimit(RLIMIT_CPU, &limit);
      ::alarm(timeLimit);
      kv500::stayOnProcessor(static_cast<int>(&slot - slots.data()));
      ::dup2(::creat((folderOf(slot) / "told").c_str(), 0600), STDERR_FILENO);
      run(fault, card, folderOf(slot), *slot.report);
    }
  }

  /// Waits for the end of a run and judges it.
  Report await() {
    int status = 0;
    const ::pid_t process = ::waitpid(-1, &status, 0);
    Slot& slot = *std::find_if(slots.begin(), slots.end(),
                               [process](const Slot& it) { return it.process == process; });
    slot.process = 0;
    const Seen seen{*slot.report, WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                    readFile(folderOf(slot) / "log.txt"), readFile(folderOf(slot) / "told")};
    const std::string complaint = judge(slot.fault, seen, usual.groups > 0 ? usual : seen.report);
    ++(!complaint.empty() ? wrong : hasGoneOn(seen) ? wentOn : ended);
    if (!complaint.empty()) {
      std::cout << "WRONG: " << describe(slot.fault) << ": exit status " << seen.exitStatus << ", "
                << complaint << "\n"
                << seen.log << seen.told << std::endl;
    }
    for (int i = 0; i < recoveries; ++i) {
      if (hasGoneOn(seen) && seen.report.took[i] >= 0) {
        took[nameOf(i, slot.fault)].push_back(seen.report.took[i]);
      }
    }
    return seen.report;
  }

  void summarize(const std::vector<Fault>& faults) {
    std::set<std::string> operations;
    std::set<std::uint32_t> codes;
    for (const Fault& fault : faults) {
      operations.insert(fault.call.operation);
      codes.insert(fault.code);
    }
    std::cout << "| recovery | runs | median | longest |\n|---|---|---|---|\n";
    for (auto& [name, times] : took) {
      std::sort(times.begin(), times.end());
      std::cout << "| " << name << " | " << times.size() << " | " << times[times.size() / 2]
                << " ms | " << times.back() << " ms |\n";
    }
    std::cout << faults.size() << " runs, " << operations.size() << " operations, " << codes.size()
              << " codes: " << wentOn << " went on, " << ended << " ended as they must, " << wrong
              << " wrong" << std::endl;
  }

  const Options options;
  const simulated::Card card;
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("kv500_sweep_" + platform::host::processId());
  std::vector<Slot> slots;
  Report usual;
  std::size_t wentOn = 0, ended = 0, wrong = 0;
  std::map<std::string, std::vector<std::int64_t>> took;
};

}  // namespace
}  // namespace sweep

int main(int count, char** arguments) {
  sweep::Options options;
  const std::vector<std::string> given(arguments + 1, arguments + count);
  for (std::size_t i = 0; i < given.size(); ++i) {
    if (given[i] == "--all") {
      options.all = true;
    } else if (given[i] == "--only" && i + 1 < given.size()) {
      options.only = given[++i];
    } else {
      options.card = given[i];
    }
  }
  if (!std::filesystem::is_directory(options.card)) {
    std::cerr << sweep::help;
    return options.card == "--help" ? 0 : 2;
  }
  return sweep::Sweep(options).sweep();
}
