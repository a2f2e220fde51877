#include "simulator/commands.h"

#include "platform/simulated/card_folder.h"
#include "platform/simulated/world.h"
#include "simulator/path.h"

namespace simulator {
namespace {

using simulated::Readers;

Readers::Refusal insert(Readers& readers, const std::string& folder) {
  if (folder.empty()) {
    return "insert needs a card folder";
  }
  try {
    return readers.insert(simulated::loadCardFolder(toPath(folder)));
  } catch (const simulated::CardFolderError& error) {
    return error.message;
  }
}

/// Another program's action on the card. None if there is no such command.
std::optional<Readers::Refusal> runOther(Readers& readers, const std::string& line) {
  if (line == "other lock") {
    return readers.otherLock();
  }
  if (line == "other unlock") {
    readers.otherUnlock();
    return Readers::Refusal();
  }
  if (line == "other reset") {
    return readers.otherReset();
  }
  if (line == "other exclusive on" || line == "other exclusive off") {
    return readers.holdExclusively(line == "other exclusive on");
  }
  return std::nullopt;
}

Readers::Refusal run(const std::string& line) {
  Readers& readers = simulated::world().readers;
  const std::string insertWord = "insert";
  if (line == insertWord || line.starts_with(insertWord + " ")) {
    return insert(readers, line.substr(std::min(insertWord.size() + 1, line.size())));
  }
  if (line == "remove") {
    return readers.remove();
  }
  if (line == "plug") {
    readers.plug();
    return std::nullopt;
  }
  if (line == "unplug") {
    return readers.unplug();
  }
  if (line == "pcsc stop") {
    readers.stopService();
    return std::nullopt;
  }
  if (line == "pcsc start") {
    return readers.startService();
  }
  if (line == "pcsc break") {
    readers.breakService();
    return std::nullopt;
  }
  if (line == "usb hide" || line == "usb show") {
    readers.showUsb(line == "usb show");
    return std::nullopt;
  }
  if (const auto refusal = runOther(readers, line)) {
    return *refusal;
  }
  return "unknown command '" + line + "' (see --help)";
}

}  // namespace

std::string runCommand(const std::string& line) {
  const Readers::Refusal refusal = run(line);
  return refusal ? "error: " + *refusal : "ok";
}

}  // namespace simulator
