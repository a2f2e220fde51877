#include "tests/sweep/run.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <new>
#include <string_view>

#include "platform/simulated/ledger.h"
#include "platform/simulated/mutex.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"
#include "service/program.h"
#include "support/process_end.h"
#include "tests/virtual_world.h"

namespace sweep {
namespace {

using simulated::virtualTime;
using simulated::world;
using std::chrono::milliseconds;

constexpr std::uint16_t port = 5724;
constexpr std::int64_t recoveryLimit = 3000;  // Milliseconds.
constexpr milliseconds longAbsence{1700};     // After it a card counts as new.
const std::string started = "\"browser\" \"https://practice.example/?id=";

// What the run is about. It is set before the service starts.
Fault fault;
Report* report = nullptr;
bool isStarted = false;

thread_local std::string_view thread = "";
thread_local bool isDriver = false;
unsigned callsSoFar = 0;
std::int64_t firstFailure = -1;  ///< Milliseconds of virtual time; -1: none yet.

template <std::size_t size>
void put(char (&target)[size], std::string_view text) {
  target[text.copy(target, size - 1)] = '\0';
}

/// The moment from which no call fails any more, as far as is known. -1: none has failed.
std::int64_t faultEnd() {
  const std::int64_t length = !fault.lasting ? 0 : isOfMemory(fault.call) ? 200 : 2000;
  return firstFailure < 0 ? -1 : firstFailure + length;
}

bool fails(const Call& call) {
  const bool isNext = call.thread == std::string_view(fault.call.thread) &&
                      call.detail == fault.call.detail && ++callsSoFar == fault.number;
  if (firstFailure < 0 && isNext) {
    firstFailure = virtualTime().now();
    report->hasFailed = true;
    put(report->thread, call.thread);
    return true;
  }
  return virtualTime().now() < faultEnd();
}

/// The name of a thread, by its first call.
std::string_view nameBy(std::string_view operation, std::uint32_t detail) {
  if (operation == "WaitForSingleObject") {
    return detail == platform::INFINITE ? "worker" : "PC/SC";
  }
  return operation == "AppendStream::open"            ? "main"
         : operation == "RegisterServiceCtrlHandlerW" ? "service"
         : operation == "select"                      ? "listener"
                                                      : "watcher";
}

/// Counts a call and tells whether it fails.
bool takeCall(std::string_view operation, std::uint32_t detail) {
  Call call;
  put(call.operation, operation);
  put(call.thread, thread);
  call.detail = detail;
  const auto end = report->group + report->groups;
  const auto found = std::find_if(report->group, end, [&call](const Report::Group& group) {
    return std::memcmp(&group.call, &call, sizeof(call)) == 0;
  });
  if (found == std::end(report->group)) {
    std::abort();
  }
  report->groups += found == end ? 1 : 0;
  found->call = call;
  ++found->calls;
  return operation == fault.call.operation && fails(call);
}

std::optional<std::uint32_t> decide(std::string_view operation, std::uint32_t detail) {
  if (thread.empty()) {
    thread = nameBy(operation, detail);
  }
  return takeCall(operation, detail) ? std::optional(fault.code) : std::nullopt;
}

/// The world, the driver and the time before the start keep their memory.
bool isMemoryOut() {
  return isStarted && !isDriver && !simulated::Mutex::isHeld() && takeCall(memory, 0);
}

/// Goes through the scenario and looks after each step whether all is as it must be.
class Driver {
 public:
  explicit Driver(const simulated::Card& inserted) : card(inserted) {}

  void drive() {
    auto& readers = world().readers;
    become("NO_Card_found");
    step([&] { readers.insert(card); }, "OK_Card_Presence", CardIn);
    for (const char* action : {"status", "read", "close", "read"}) {
      ask(action);
      become(expected);
    }
    step([&] { readers.remove(); }, "NO_Card_found");
    step([&] { readers.unplug(); }, "USB_device_not_found");
    step([&] { readers.plug(), readers.insert(card); }, "OK_Card_Presence", Reader);
    step([&] { readers.plug(); }, "USB_device_not_found");
    step([&] { readers.unplug(); }, "OK_Card_Presence");
    step([&] { readers.stopService(); }, "OK_Card_Presence", SmartcardService);
    wait(longAbsence);
    become(expected);
    for (const std::string& line : world().sessions.startedPrograms()) {
      if (line != started + "\"" && line != started + cardId() + "\"") {
        complain("a wrong command line");
      }
    }
    put(report->held, simulated::ledger().notGivenBack());
    report->isComplete = true;
    for (int i = 0; i < 5; ++i) {  // A person tries again if the service refuses to stop.
      world().serviceManager.post(platform::SERVICE_CONTROL_STOP);
      simulated::pass(milliseconds(1000));
    }
    complain("does not stop");
  }

 private:
  /// Does something and waits for the state that must follow.
  void step(const std::function<void()>& change, const char* state, Recovery kind = recoveries) {
    wait(longAbsence);
    const std::int64_t begin = virtualTime().now();
    change();
    simulated::pass(milliseconds(1));
    become(state);
    if (kind != recoveries && faultEnd() < begin) {
      report->took[kind] = virtualTime().now() - begin;
    }
  }

  /// Lets time pass. If something fails meanwhile, watches the recovery.
  void wait(milliseconds time) {
    const std::int64_t end = virtualTime().now() + time.count();
    while (virtualTime().now() < end) {
      simulated::pass(milliseconds(10));
      if (faultEnd() >= 0 && report->took[AfterFault] < 0) {
        become(expected);
      }
    }
  }

  /// Waits until `status` tells the state, and `read` with a card gives the right data.
  void become(const std::string& state) {
    expected = state;
    const std::int64_t begin = virtualTime().now();
    while (!isRight() || virtualTime().now() < faultEnd()) {
      if (virtualTime().now() - std::max(begin, faultEnd()) > recoveryLimit) {
        complain("not within 3 seconds: " + expected);
      }
      simulated::pass(milliseconds(10));
    }
    if (faultEnd() >= 0 && report->took[AfterFault] < 0) {
      report->took[AfterFault] = virtualTime().now() - faultEnd();
    }
  }

  bool isRight() {
    return ask("status").find(expected) != std::string::npos &&
           (expected != "OK_Card_Presence" || ask("read") == report->rightAnswer);
  }

  /// The answer to an action. It may be absent or tell of a failure, but it may not be wrong.
  std::string ask(const std::string& action) {
    std::string answer = kv500::askPort(port, "GET /?action=" + action + " HTTP/1.1\r\n\r\n");
    const std::size_t head = answer.find("\r\n\r\n");
    if (!answer.empty() &&
        (head == std::string::npos ||
         answer.find("Content-Length: " + std::to_string(answer.size() - head - 4) + "\r\n") >
             head)) {
      complain("an answer in part: " + answer);
    }
    if (answer.find("\"Versicherten_ID\"") != std::string::npos && report->rightAnswer[0] == '\0') {
      put(report->rightAnswer, answer);
    }
    const std::size_t data = answer.find("\"daten\": \n{");
    if (data != std::string::npos && answer != report->rightAnswer) {
      complain("wrong data");
    }
    return answer;
  }

  static std::string cardId() {
    const std::string answer = report->rightAnswer;
    const std::string name = "\"Versicherten_ID\":\"";
    const std::size_t begin = answer.find(name) + name.size();
    return answer.substr(begin, answer.find('"', begin) - begin);
  }

  [[noreturn]] static void complain(const std::string& what) {
    put(report->complaint, what);
    kv500::endProcess(1);
  }

  const simulated::Card& card;
  std::string expected = "USB_device_not_found";
};

std::uint32_t drive(void* card) {
  isDriver = true;
  Driver(*static_cast<const simulated::Card*>(card)).drive();
  return 0;
}

void* allocate(std::size_t size) {
  void* const memory = isMemoryOut() ? nullptr : std::malloc(size);
  return memory == nullptr ? throw std::bad_alloc() : memory;
}

}  // namespace

void run(const Fault& toHappen, const simulated::Card& card, const std::filesystem::path& folder,
         Report& seen) {
  fault = toHappen;
  report = &seen;
  std::ofstream(folder / "config.txt")
      << "CallBrowser=yes\nAppendCardId=yes\nOnlyActiveUser=yes"
         "\nBrowserCommand=browser\nURL=https://practice.example/?id=\n";
  world().mutexRealm = folder.string();  // The world itself is that of the process that forked.
  world().programPath = folder / "program";
  world().readers.plug();
  world().faults.leaveTo(decide);
  virtualTime().start();
  virtualTime().startThread(drive, const_cast<simulated::Card*>(&card));
  isStarted = true;
  kv500::endProcess(kv500::runProgram());
}

}  // namespace sweep

void* operator new(std::size_t size) {
  return sweep::allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
