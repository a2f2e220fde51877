// Days of the service in virtual time: polls, reads, readers that are pulled out, restarts of the
// smart-card service, requests that nobody understands. Prints ten points of what the process holds
// and fails if it holds more and more, if the log grows beyond its bounds, or if an answer is
// wrong.
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/program.h"
#include "platform/simulated/card_folder.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"
#include "service/program.h"
#include "support/process_end.h"
#include "tests/memory_client.h"

namespace kv500 {
namespace {

using simulated::pass;
using simulated::virtualTime;
using simulated::world;
using std::chrono::milliseconds;

constexpr std::uint16_t port = 5724;
constexpr int points = 10;
constexpr int readsADay = 33'334;   // A million in 30 days.
constexpr int readsATrouble = 100;  // Ten thousand troubles of each kind in 30 days.
constexpr milliseconds readPause{86'400'000 / readsADay - 60};  // The troubles take time, too.
constexpr int floodRequests = 2400;
constexpr std::int64_t recoveryLimit = 3000;  // Milliseconds.

struct Held {
  long residentKilobytes, handles, threads;
  std::string ofTheWorld;
};

struct Run {
  double days;
  simulated::Card card;
  std::filesystem::path folder;
  std::string rightAnswer{};
  long reads = 0, wrong = 0, floods = 0;
  std::vector<std::int64_t> recoveries{};  ///< Milliseconds.
};

long entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

Held look() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return {resident * 4, entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"),
          simulated::ledger().notGivenBack()};
}

std::string ask(const std::string& action) {
  return askPort(port, "GET /?action=" + action + " HTTP/1.1\r\n\r\n");
}

bool hasCard() {
  return ask("status").find("OK_Card_Presence") != std::string::npos;
}

void awaitCard(Run& run) {
  const std::int64_t begin = virtualTime().now();
  while (!hasCard() && virtualTime().now() - begin <= recoveryLimit) {
    pass(milliseconds(50));
  }
  run.recoveries.push_back(virtualTime().now() - begin);
}

void makeTrouble(Run& run) {
  world().readers.unplug();
  pass(milliseconds(1700));  // Until a card that comes back counts as new.
  world().readers.plug();
  world().readers.insert(run.card);
  awaitCard(run);
  world().readers.stopService();
  pass(milliseconds(700));
  awaitCard(run);  // The service starts it.
}

void flood(Run& run) {
  const std::string request = std::string(4000, 'x') + "\r\n";
  for (int i = 0; i < floodRequests; ++i) {
    askPort(port, request);
    pass(milliseconds(250));
  }
  ++run.floods;
}

void read(Run& run) {
  ++run.reads;
  run.wrong += ask("read") == run.rightAnswer ? 0 : 1;
}

void print(const Run& run, const Held& held) {
  const auto polls = world().faults.calls("SCardStatusA") + world().faults.calls("SCardConnectA");
  std::printf("| %4.1f | %8u | %7ld | %5ld | %6zu | %8u | %6ld | %2ld | %2ld | %8ju |\n",
              static_cast<double>(virtualTime().now()) / 86'400'000, polls, run.reads, run.wrong,
              run.recoveries.size(), world().faults.calls("CreateProcessAsUserA"),
              held.residentKilobytes, held.handles, held.threads,
              std::uintmax_t{std::filesystem::file_size(run.folder / "log.txt")});
  std::fflush(stdout);
}

/// One thread runs at a time. It wakes the next one several times faster on its own processor.
void stayOnThisProcessor() {
  cpu_set_t processors;
  CPU_ZERO(&processors);
  CPU_SET(static_cast<std::size_t>(sched_getcpu()), &processors);
  sched_setaffinity(0, sizeof(processors), &processors);
}

/// Runs the days and gives what is wrong.
std::string live(Run& run) {
  run.rightAnswer = ask("read");
  if (run.rightAnswer.find("\"Versicherten_ID\"") == std::string::npos) {
    return "the first read gave no data";
  }
  std::cout << "| days | polls | reads | wrong | recoveries | browsers | memory, KB | handles | "
               "threads | log, bytes |\n|---|---|---|---|---|---|---|---|---|---|\n";
  std::vector<Held> held;
  for (int point = 1; point <= points; ++point) {
    flood(run);
    const auto reads = static_cast<long>(run.days * readsADay * point / points);
    while (run.reads < reads) {
      if (run.reads % readsATrouble == 0) {
        makeTrouble(run);
      }
      read(run);
      pass(readPause);
    }
    held.push_back(look());
    print(run, held.back());
  }
  std::sort(run.recoveries.begin(), run.recoveries.end());
  std::cout << "Recovery: median " << run.recoveries[run.recoveries.size() / 2] << " ms, longest "
            << run.recoveries.back() << " ms\n";
  if (run.wrong > 0 || run.recoveries.back() > recoveryLimit) {
    return "an answer was wrong, or a recovery took too long";
  }
  const Held& first = held.front();
  const Held& last = held.back();
  if (last.residentKilobytes > first.residentKilobytes + 1024 || last.handles != first.handles ||
      last.threads != first.threads || last.ofTheWorld != first.ofTheWorld) {
    return "the process holds more and more:\n" + last.ofTheWorld;
  }
  // A flood may write 1 MB and what an hour's share gives back meanwhile, each trouble two lines.
  const auto bound =
      static_cast<std::uintmax_t>(run.floods) * 1'250'000 + run.recoveries.size() * 150;
  return std::filesystem::file_size(run.folder / "log.txt") > bound ? "the log is too large" : "";
}

std::uint32_t drive(void* pointer) {
  Run& run = *static_cast<Run*>(pointer);
  world().serviceManager.waitForState(platform::SERVICE_RUNNING);
  pass(milliseconds(3000));
  const std::string fault = live(run);
  std::cout << (fault.empty() ? "All as it must be\n" : "FAILED: " + fault + "\n") << std::flush;
  std::filesystem::remove_all(run.folder);
  if (!fault.empty()) {
    endProcess(1);
  }
  world().serviceManager.post(platform::SERVICE_CONTROL_STOP);
  return 0;
}

}  // namespace
}  // namespace kv500

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "Usage: days DAYS CARD_FOLDER\n";
    return 2;
  }
  const auto folder =
      std::filesystem::temp_directory_path() / ("kv500_days_" + platform::host::processId());
  std::filesystem::create_directory(folder);
  std::ofstream(folder / "config.txt") << "CallBrowser=yes\nBrowserCommand=browser\n"
                                          "URL=https://practice.example/\nAppendCardId=yes\n";
  kv500::Run run{std::atof(arguments[1]), simulated::loadCardFolder(arguments[2]), folder};
  auto& world = simulated::world();
  world.programPath = folder / "program";
  world.sessions.setLauncher([](const std::string&) { return true; });
  world.readers.plug();
  world.readers.insert(run.card);
  kv500::stayOnThisProcessor();
  simulated::virtualTime().start();
  simulated::virtualTime().startThread(kv500::drive, &run);
  kv500::endProcess(kv500::runProgram());
}
