#include "platform/program.h"

#include <cstdlib>
#include <iostream>

#include "platform/host.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"

namespace platform {
namespace {

using simulated::virtualTime;
using simulated::world;

}  // namespace

std::filesystem::path GetModuleFileNameW() {
  return world().programPath.empty() ? host::programPath() : world().programPath;
}

bool readTextFile(const std::filesystem::path& path, std::string& content) {
  if (world().faults.take("readTextFile")) {
    tellStarter("Not read: the simulated file fails");
    return false;
  }
  return host::readTextFile(path, content);
}

AppendStream::~AppendStream() {
  host::closeFile(file_);
}

void AppendStream::open(const std::filesystem::path& path) {
  file_ = world().faults.take("AppendStream::open") ? -1 : host::openToAppend(path);
}

void AppendStream::write(std::initializer_list<std::string_view> pieces) {
  if (world().faults.take("AppendStream::write") || !host::append(file_, pieces)) {
    host::closeFile(file_);
    file_ = -1;
  }
}

std::int64_t clock() {
  const std::int64_t set = world().clockTime;
  if (set != -1) {
    return set;
  }
  return virtualTime().isOn() ? virtualTime().now() : host::elapsedMilliseconds();
}

std::int64_t _time64() {
  const std::int64_t set = world().calendarTime;
  static const std::int64_t start = std::time(nullptr);
  if (set != -1) {
    return set;
  }
  return virtualTime().isOn() ? start + virtualTime().now() / 1000 : std::time(nullptr);
}

bool _localtime64_s(std::tm& result, std::int64_t time) {
  return !world().faults.take("_localtime64_s") && host::localTime(result, time);
}

void tellStarter(std::string_view text) {
  if (world().onTold) {
    world().onTold(text);
  } else {
    std::cerr << text << std::endl;
  }
}

std::int32_t system(const char* command) {
  if (const auto code = world().faults.take("system")) {
    return static_cast<std::int32_t>(*code);
  }
  const bool isKnown = std::string(command) == "net start SCardSvr";
  return isKnown && !world().readers.startService() ? 0 : 1;
}

void ExitProcess(std::uint32_t exitCode) {
  if (world().onExit) {
    world().onExit(exitCode);
  }
  const bool isUsedWell = simulated::ledger().notes().empty();
  std::_Exit(isUsedWell ? static_cast<int>(exitCode) : simulated::wrongUseStatus);
}

}  // namespace platform
