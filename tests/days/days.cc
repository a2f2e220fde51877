// Days of the service in virtual time: polls, reads, readers that are pulled out, restarts of the
// smart-card service, requests that nobody understands. Prints ten points of what the process holds
// and fails if it holds more and more, if the log grows beyond its bounds, or if an answer is
// wrong.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
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
#include "tests/virtual_world.h"

namespace kv500 {
namespace {

using simulated::pass;
using simulated::virtualTime;
using simulated::world;
using std::chrono::milliseconds;

constexpr std::uint16_t port = 5724;
constexpr int points = 10;
constexpr int readsADay = 33'334;             // A million in 30 days.
constexpr int readsATrouble = 100;            // Ten thousand troubles of each kind in 30 days.
constexpr milliseconds readPause{2530};       // The troubles take time, too.
constexpr int floodRequests = 2400;           // In ten minutes.
constexpr std::int64_t recoveryLimit = 3500;  // Milliseconds.

/// What the process holds.
struct Held {
  long residentKilobytes, handles, threads;
  std::string ofTheWorld;
};

struct Run {
  double days;
  simulated::Card card;
  std::filesystem::path folder;
  std::string rightAnswer{};
  long reads = 0, wrong = 0;
  std::map<std::string, std::vector<std::int64_t>> recoveries{};  ///< Milliseconds, by trouble.
};

Held look() {
  const auto entries = [](const char* of) {
    return std::distance(std::filesystem::directory_iterator(of), {});
  };
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return {resident * 4, entries("/proc/self/fd"), entries("/proc/self/task"),
          simulated::ledger().notGivenBack()};
}

std::string ask(const std::string& action) {
  return askPort(port, "GET /?action=" + action + " HTTP/1.1\r\n\r\n");
}

void awaitCard(Run& run, const std::string& trouble, std::int64_t begin) {
  while (ask("status").find("OK_Card_Presence") == std::string::npos &&
         virtualTime().now() - begin <= recoveryLimit) {
    pass(milliseconds(10));
  }
  run.recoveries[trouble].push_back(virtualTime().now() - begin);
}

void makeTrouble(Run& run) {
  auto& readers = world().readers;
  const milliseconds moment(run.reads / readsATrouble % 97 * 11);  // Between two passes.
  readers.unplug();
  pass(milliseconds(1500) + moment);  // Until a card that comes back counts as new.
  readers.plug();
  readers.insert(run.card);
  awaitCard(run, "reader", virtualTime().now());
  pass(moment);
  readers.stopService();  // The service starts it again.
  awaitCard(run, "smart-card service", virtualTime().now());
}

/// Requests that nobody understands, for the log.
void flood() {
  for (int i = 0; i < floodRequests; ++i) {
    askPort(port, std::string(4000, 'x') + "\r\n");
    pass(milliseconds(250));
  }
}

void print(const Run& run, const Held& held) {
  const auto calls = [](const char* operation) { return world().faults.calls(operation); };
  std::printf("| %.1f | %u | %ld | %ld | %zu | %u | %ld | %ld | %ld | %ju |\n",
              static_cast<double>(virtualTime().now()) / 86'400'000,
              calls("SCardStatusA") + calls("SCardConnectA"), run.reads, run.wrong,
              run.recoveries.begin()->second.size(), calls("CreateProcessAsUserA"),
              held.residentKilobytes, held.handles, held.threads,
              std::uintmax_t{std::filesystem::file_size(run.folder / "log.txt")});
  std::fflush(stdout);
}

/// Runs the days and gives what is wrong.
std::string live(Run& run) {
  run.rightAnswer = ask("read");
  if (run.rightAnswer.find("\"Versicherten_ID\"") == std::string::npos) {
    return "the first read gave no data";
  }
  std::cout << "| days | polls | reads | wrong | troubles of each kind | browsers | memory, KB | "
               "handles | threads | log, bytes |\n|---|---|---|---|---|---|---|---|---|---|\n";
  std::vector<Held> held;
  for (int point = 1; point <= points; ++point) {
    flood();
    while (run.reads < static_cast<long>(run.days * readsADay * point / points)) {
      if (run.reads++ % readsATrouble == 0) {
        makeTrouble(run);
      }
      run.wrong += ask("read") == run.rightAnswer ? 0 : 1;
      pass(readPause);
    }
    held.push_back(look());
    print(run, held.back());
  }
  std::int64_t longest = 0;
  for (auto& [trouble, times] : run.recoveries) {
    std::sort(times.begin(), times.end());
    std::cout << "Recovery, " << trouble << ": median " << times[times.size() / 2]
              << " ms, longest " << times.back() << " ms\n";
    longest = std::max(longest, times.back());
  }
  if (run.wrong > 0 || longest > recoveryLimit) {
    return "an answer was wrong, or a recovery took too long";
  }
  const Held& first = held.front();
  const Held& last = held.back();
  if (last.residentKilobytes > first.residentKilobytes + 1024 || last.handles != first.handles ||
      last.threads != first.threads || last.ofTheWorld != first.ofTheWorld) {
    return "the process holds more and more:\n" + last.ofTheWorld;
  }
  // A flood may write 1 MB, and what ten minutes give back. Each trouble writes some lines.
  const std::uintmax_t bound = points * 1'170'000 + run.recoveries.begin()->second.size() * 300;
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
