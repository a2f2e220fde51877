// The service in the foreground, with a simulated reader and commands from the keyboard.
#include <iostream>
#include <thread>

#include "platform/host.h"
#include "platform/service_control.h"
#include "platform/simulated/card_folder.h"
#include "platform/simulated/world.h"
#include "service/program.h"
#include "simulator/commands.h"
#include "simulator/options.h"
#include "simulator/output.h"
#include "simulator/path.h"
#include "simulator/trace.h"
#include "support/process_end.h"

namespace {

using simulated::world;

constexpr int badUsage = 2;

std::atomic<bool> endRequested = false;

void requestEnd() {
  endRequested = true;
  world().serviceManager.post(platform::SERVICE_CONTROL_STOP);
}

int refuse(const std::string& reason) {
  std::cerr << "kv500-simulator: " << reason << "\n";
  return badUsage;
}

/// Sets up the world according to the options. Throws UsageError and CardFolderError.
void arrangeWorld(const simulator::Options& options) {
  auto& readers = world().readers;
  if (!options.unplugged) {
    readers.plug();
  }
  if (options.cardFolder) {
    readers.insert(simulated::loadCardFolder(simulator::toPath(*options.cardFolder)));
  }
  if (options.traceFile) {
    const auto trace = simulator::traceToFile(*options.traceFile);
    if (!trace) {
      throw simulator::UsageError{"can't write the trace file " + *options.traceFile};
    }
    readers.setTrace(*trace);
  }
  readers.setApduTime(options.apduTime);
}

void reportEvents() {
  world().onListening = [](std::uint16_t port) {
    simulator::printLine("listening 127.0.0.1:" + std::to_string(port));
  };
  world().sessions.onNotice(
      [](const simulated::Notice& notice) { simulator::printLine(simulator::noticeLine(notice)); });
  world().sessions.setLauncher([](const std::string& commandLine) {
    const bool started = platform::host::startProgram(commandLine);
    if (started) {
      simulator::printLine("browser " + commandLine);
    }
    return started;
  });
  world().onExit = [](std::uint32_t exitCode) {
    if (!endRequested) {
      std::cerr << "kv500-simulator: the service has ended by itself (exit status " << exitCode
                << "); the last line of log.txt beside the program says why\n";
    }
  };
}

/// Carries out the commands on standard input. At the end of the input only this function ends.
void readCommands() {
  std::string line;
  while (std::getline(std::cin, line)) {
    if (line == "quit") {
      simulator::printLine("ok");
      requestEnd();
    } else {
      simulator::printLine(simulator::runCommand(line));
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const auto options = simulator::parseOptions({arguments + 1, arguments + count});
    if (options.help) {
      std::cout << simulator::helpText();
      return 0;
    }
    arrangeWorld(options);
  } catch (const simulator::UsageError& error) {
    return refuse(error.message + " (see --help)");
  } catch (const simulated::CardFolderError& error) {
    return refuse(error.message);
  }
  platform::host::onEndRequest(requestEnd);
  reportEvents();
  std::thread(readCommands).detach();
  kv500::endProcess(kv500::runProgram());
}
