#include "device/pcsc_service.h"
#include "service/program.h"
#include "service/service_body.h"
#include "service/single_instance_guard.h"
#include "support/process_end.h"
#include "tests/client.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

/// In these tests the process ends. Each runs in its own process, which prints what it saw.
class ServiceTest : public WorldTest {
 protected:
  ServiceTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  /// Runs the program to its end. `meanwhile` runs in parallel.
  [[noreturn]] void runToTheEnd(const std::function<void()>& meanwhile = [] {}) const {
    world().onExit = [this](std::uint32_t) {
      for (const auto& report : world().serviceManager.reports()) {
        std::cerr << "report " << report.dwServiceType << ' ' << report.dwCurrentState << ' '
                  << report.dwControlsAccepted << ' '
                  << report.dwWin32ExitCode + report.dwServiceSpecificExitCode +
                         report.dwCheckPoint + report.dwWaitHint
                  << '\n';
      }
      for (const auto& notice : world().sessions.notices()) {
        std::cerr << "notice " << std::string(notice.title.begin(), notice.title.end()) << " | "
                  << std::string(notice.text.begin(), notice.text.end()) << '\n';
      }
      std::cerr << logTexts();
      removeFolder();
    };
    std::thread(meanwhile).detach();
    endProcess(runProgram());
  }

  static void stopOnce(std::uint32_t state) {
    world().serviceManager.waitForState(state);
    world().serviceManager.post(platform::SERVICE_CONTROL_STOP);
  }

  const std::string startAndStop =
      "report 16 2 0 0\nreport 16 4 1 0\nreport 16 3 0 0\nreport 16 1 0 0\n";
  const std::string startLine = "### Service started! ###\n";
};

TEST_F(ServiceTest, ReportsInOrderAndEndsWithStatus0) {
  writeFile("config.txt", "Port=" + std::to_string(freePort()));
  const auto meanwhile = [] {
    world().serviceManager.waitForState(platform::SERVICE_RUNNING);
    for (const std::uint32_t ignored : {2u, 3u, 4u}) {  // Pause, continue, interrogate.
      world().serviceManager.post(ignored);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::cerr << "still running\n";
    stopOnce(platform::SERVICE_RUNNING);
  };
  EXPECT_EXIT(runToTheEnd(meanwhile), testing::ExitedWithCode(0), "still running\n" + startAndStop);
}

TEST_F(ServiceTest, AStopDuringTheStartIsServedAtOnce) {
  // The start waits until a person has read that the file is bad. The log already says so.
  writeFile("config.txt", "bad");
  const auto run = [this] {
    world().sessions.holdNotices(true);
    runToTheEnd([] {
      eventually([] { return !world().sessions.notices().empty(); });
      stopOnce(platform::SERVICE_RUNNING);
    });
  };
  const std::string fault = "Error reading config file:\n'=' missing in line 1:\n1: bad\n";
  EXPECT_EXIT(run(), testing::ExitedWithCode(0),
              startAndStop + "notice KALVERO  -  KV500 . " + fault + startLine + fault);
}

TEST_F(ServiceTest, AStartByHandIsRefusedInABox) {
  const auto run = [this] {
    world().programPath = folder / u"x\u00e4\u20ac \u007f\u0001program";
    world().faults.fail("StartServiceCtrlDispatcherW",
                        {.code = platform::ERROR_FAILED_SERVICE_CONTROLLER_CONNECT});
    runToTheEnd();
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(1),
              "notice KALVERO  -  .*x~~ ~~program . This programm must be started as service!\n\n"
              "Use the installer to install it as service and then restart the computer.\n"
              "If this message still appears, please contact the support.\n" +
                  startLine);
}

TEST_F(ServiceTest, ARefusedReportStopsItsSequence) {
  const auto statesAfterRefusal = [this](std::uint32_t refused) {
    newWorld();
    serviceHooks = {[](const ServiceArguments&) {}, nullptr, [] { world().clockTime = 1; }};
    world().faults.fail("SetServiceStatus", Faults::Plan{.detail = refused});
    std::string states;
    if (refused == platform::SERVICE_STOP_PENDING) {
      serviceControlHandler(platform::SERVICE_CONTROL_STOP);
      EXPECT_EQ(world().clockTime, -1) << "the stop hook is not called";
    } else {
      ServiceMain(0, nullptr);
    }
    for (const auto& report : world().serviceManager.reports()) {
      states += std::to_string(report.dwCurrentState);
    }
    return states;
  };
  EXPECT_EQ(statesAfterRefusal(platform::SERVICE_START_PENDING), "");
  EXPECT_EQ(statesAfterRefusal(platform::SERVICE_RUNNING), "2");
  EXPECT_EQ(statesAfterRefusal(platform::SERVICE_STOP_PENDING), "");
  newWorld();
  world().faults.fail("RegisterServiceCtrlHandlerW");
  ServiceMain(0, nullptr);
  EXPECT_TRUE(world().serviceManager.reports().empty());
}

TEST_F(ServiceTest, OneInstanceOfAName) {
  EXPECT_EQ(instanceMutexName("KV500Service"), "KV500Service_SingleInstance_0KV500Service");
  // Used by this process and the one that it starts, but not by the tests of another build.
  const std::size_t program = std::filesystem::hash_value(platform::host::programPath());
  world().mutexRealm = "kv500_test_" + std::to_string(program) + "_";
  std::unique_ptr<SingleInstanceGuard> first;
  try {
    first = std::make_unique<SingleInstanceGuard>("KV500Service");
  } catch (const std::string&) {
    // This is the second process, which starts the test again; the first one holds the name.
  }
  const auto second = [this] {
    try {
      const SingleInstanceGuard guard("KV500Service");
    } catch (const std::string& text) {
      std::cerr << text << '\n' << simulated::ledger().notGivenBack();
    }
    runToTheEnd();
  };
  EXPECT_EXIT(second(), testing::ExitedWithCode(1),
              "^Service already running\nService already running\n" + startLine);
  first.reset();
  EXPECT_NO_THROW(SingleInstanceGuard("KV500Service"));
}

}  // namespace
}  // namespace kv500
