#include "tests/sweep/judge.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "tests/sweep/consequences.h"

namespace sweep {
namespace {

/// What the service holds with a card in the reader and one worker, who has served all requests:
/// the stop event, two of the server, the worker's; watcher, listener, PC/SC thread, worker.
const std::string heldWithACard =
    "event\nevent\nevent\nevent\nthread\nthread\nthread\nthread\nmutex\ncontext\nconnection\n"
    "socket\n";

bool is(std::uint32_t wanted, std::uint32_t given) {
  return wanted == any || wanted == given;
}

/// Whether a row is about the operation that failed.
bool isOfOperation(const Consequence& row, const Fault& fault) {
  return row.operation == fault.call.operation && is(row.code, fault.code) &&
         (row.when != When::IfLasting || fault.lasting);
}

/// Whether a row is about the very call that failed first.
bool isOfCall(const Consequence& row, const Fault& fault) {
  return isOfOperation(row, fault) && (row.thread.empty() || row.thread == fault.call.thread) &&
         is(row.detail, fault.call.detail) && is(row.call, fault.number);
}

bool isMet(const Consequence& row, const Seen& seen) {
  return row.exitStatus == (hasGoneOn(seen) ? goesOn : seen.exitStatus) &&
         seen.log.find(row.inLog) != std::string::npos &&
         seen.told.find(row.told) != std::string::npos;
}

std::string judgeCall(const Fault& fault, const Seen& seen) {
  const auto row = std::find_if(std::begin(consequences), std::end(consequences),
                                [&](const auto& it) { return isOfCall(it, fault); });
  // While an operation fails for a while, its other calls have their consequences, too.
  const bool isMetByAnother =
      fault.lasting &&
      std::any_of(std::begin(consequences), std::end(consequences),
                  [&](const auto& it) { return isOfOperation(it, fault) && isMet(it, seen); });
  if (isMetByAnother || (row != std::end(consequences) && isMet(*row, seen))) {
    return "";
  }
  if (row == std::end(consequences) || row->when == When::Perhaps) {
    return hasGoneOn(seen) ? "" : "ended, but must go on";
  }
  return "not the consequence that it must have";
}

/// A lack of memory may end the service only while it starts.
std::string judgeMemory(const Seen& seen) {
  const std::string_view thread = seen.report.thread;
  const bool isStart = thread.empty() || thread == "main" || thread == "service";
  const bool hasWord = !seen.told.empty() || !seen.log.ends_with("### Service started! ###\r\n");
  return hasGoneOn(seen) || (isStart && seen.exitStatus == 1 && hasWord)
             ? ""
             : "ended by a lack of memory";
}

/// Whether a text holds a value that stands on the card and can be told from other words.
bool tellsOfTheCard(const std::string& text, const std::string& answer) {
  static const std::regex value("\":\"([^\"]{5,})\"");
  const auto begin = std::sregex_iterator(answer.begin(), answer.end(), value);
  return std::any_of(begin, std::sregex_iterator(), [&text](const std::smatch& match) {
    return text.find(match[1]) != std::string::npos;
  });
}

std::multiset<std::string> sortedLines(const std::string& text) {
  std::istringstream lines(text);
  std::multiset<std::string> sorted;
  for (std::string line; std::getline(lines, line);) {
    sorted.insert(line);
  }
  return sorted;
}

}  // namespace

bool hasGoneOn(const Seen& seen) {
  return seen.report.isComplete && seen.exitStatus == 0;
}

std::string judge(const Fault& fault, const Seen& seen, const Report& usual) {
  if (seen.report.complaint[0] != '\0') {
    return seen.report.complaint;
  }
  if (seen.exitStatus < 0 || seen.report.hasFailed != (fault.number > 0)) {
    return seen.exitStatus < 0 ? "killed by a signal, or too slow" : "the call never came";
  }
  const std::string complaint = isOfMemory(fault.call) ? judgeMemory(seen) : judgeCall(fault, seen);
  if (!complaint.empty()) {
    return complaint;
  }
  if (tellsOfTheCard(seen.log + seen.told, usual.rightAnswer)) {
    return "the log or standard error holds something of the card";
  }
  // If the watcher could not be started, its thread is absent.
  const bool hasWatcher = seen.told.find("card watcher") == std::string::npos;
  const std::string held = seen.report.held + std::string(hasWatcher ? "" : "thread\n");
  return seen.report.isComplete && sortedLines(held) != sortedLines(heldWithACard)
             ? "does not hold what it must hold:\n" + held
             : "";
}

}  // namespace sweep
