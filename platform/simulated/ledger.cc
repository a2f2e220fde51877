#include "platform/simulated/ledger.h"

#include <iostream>

namespace simulated {
namespace {

constexpr const char* kindNames[] = {"event",       "thread",      "mutex",   "token",
                                     "process",     "environment", "context", "connection",
                                     "transaction", "socket"};

std::string nameOf(Ledger::Kind kind) {
  return kindNames[static_cast<int>(kind)];
}

}  // namespace

void Ledger::note(const std::string& operation, const std::string& what) {
  const std::lock_guard guard(mutex_);
  const std::string line = operation + ": " + what + "\n";
  if (notes_.find(line) == std::string::npos) {
    notes_ += line;
    std::cerr << "wrong use of the platform: " + line << std::flush;
  }
}

std::string Ledger::notes() const {
  const std::lock_guard guard(mutex_);
  return notes_;
}

std::uint64_t Ledger::newNumber() {
  const std::lock_guard guard(mutex_);
  return lastNumber_ += 2;  // Odd, because addresses and Windows' handles are even.
}

void Ledger::give(Kind kind, std::uint64_t number, std::uint32_t detail) {
  const std::lock_guard guard(mutex_);
  entries_[{kind, number}] = Entry{detail};
}

void Ledger::end(Kind kind, std::uint64_t number) {
  const std::lock_guard guard(mutex_);
  const auto entry = entries_.find({kind, number});
  if (entry != entries_.end()) {
    entry->second.ended = true;
  }
}

void Ledger::endSmartcards() {
  const std::lock_guard guard(mutex_);
  for (auto& [key, entry] : entries_) {
    if (key.first == Kind::Context || key.first == Kind::Connection ||
        key.first == Kind::Transaction) {
      entry.ended = entry.mayStay = true;
    }
  }
}

std::optional<std::uint32_t> Ledger::find(const char* operation, Kind kind, std::uint64_t number) {
  {
    const std::lock_guard guard(mutex_);
    const auto entry = entries_.find({kind, number});
    if (entry != entries_.end()) {
      return entry->second.ended ? std::nullopt : std::optional(entry->second.detail);
    }
  }
  note(operation, "no such " + nameOf(kind));
  return std::nullopt;
}

std::optional<std::uint32_t> Ledger::takeBack(const char* operation, Kind kind,
                                              std::uint64_t number) {
  const auto detail = find(operation, kind, number);
  const std::lock_guard guard(mutex_);
  entries_.erase({kind, number});
  return detail;
}

bool Ledger::isWaitable(std::uint64_t number) {
  {
    const std::lock_guard guard(mutex_);
    if (entries_.contains({Kind::Event, number}) || entries_.contains({Kind::Thread, number})) {
      return true;
    }
  }
  note("WaitForSingleObject", "no such event or thread");
  return false;
}

std::optional<Ledger::Kind> Ledger::takeBackHandle(std::uint64_t number) {
  {
    const std::lock_guard guard(mutex_);
    for (const Kind kind : {Kind::Event, Kind::Thread, Kind::Mutex, Kind::Token, Kind::Process}) {
      if (entries_.erase({kind, number}) == 1) {
        return kind;
      }
    }
  }
  note("CloseHandle", "no such handle");
  return std::nullopt;
}

void Ledger::beginTest() {
  const std::lock_guard guard(mutex_);
  notes_.clear();
  for (auto& [key, entry] : entries_) {
    entry.mayStay = true;
  }
}

std::string Ledger::notGivenBack() const {
  const std::lock_guard guard(mutex_);
  std::string lines;
  for (const auto& [key, entry] : entries_) {
    if (!entry.mayStay) {
      lines += nameOf(key.first) + "\n";
    }
  }
  return lines;
}

Ledger& ledger() {
  static auto& only = *new Ledger;  // Used until the process has ended.
  return only;
}

}  // namespace simulated
