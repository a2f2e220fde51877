#include "driver/pcscd/slot.h"

#include <sys/stat.h>

#include <iostream>
#include <thread>

#include "platform/simulated/card_folder.h"

namespace driver {

using simulated::Bytes;

Slot::State Slot::look() {
  const std::lock_guard guard(mutex_);
  std::error_code error;
  if (!std::filesystem::is_directory(folder_, error)) {
    card_.reset();
    powered_ = false;
    inserted_.reset();
    return State::Gone;
  }
  const auto found = identity();
  if (found != inserted_) {
    const bool wasInserted = inserted_.has_value();
    card_.reset();
    powered_ = false;
    inserted_.reset();
    if (found && !wasInserted) {
      inserted_ = found;
      load();
    }
  }
  return card_ ? State::Card : State::Empty;
}

std::optional<Bytes> Slot::powerUp() {
  const std::lock_guard guard(mutex_);
  powered_ = card_.has_value();
  if (!powered_) {
    return std::nullopt;
  }
  card_->reset();
  return card_->atr();
}

void Slot::powerDown() {
  const std::lock_guard guard(mutex_);
  powered_ = false;
}

std::optional<Bytes> Slot::atr() {
  const std::lock_guard guard(mutex_);
  return powered_ ? std::optional(card_->atr()) : std::nullopt;
}

std::optional<Bytes> Slot::transmit(const Bytes& command) {
  const std::lock_guard guard(mutex_);
  if (!powered_) {
    return std::nullopt;
  }
  const simulated::Exchange exchange = card_->exchange(command);
  std::this_thread::sleep_for(exchange.delay);
  if (exchange.outcome == simulated::Exchange::Outcome::Removed) {
    card_.reset();  // Its identity stays known: it is out until it is inserted again.
    powered_ = false;
  }
  return exchange.outcome == simulated::Exchange::Outcome::Answered
             ? std::optional(exchange.response)
             : std::nullopt;
}

std::optional<Slot::Identity> Slot::identity() const {
  struct ::stat card;
  struct ::stat link;
  const std::string path = folder_ / "card";
  if (::stat(path.c_str(), &card) != 0 || ::lstat(path.c_str(), &link) != 0 ||
      !S_ISDIR(card.st_mode)) {
    return std::nullopt;
  }
  // The times of a folder change when files in it come and go, so only those of a link count: they
  // change when the link is made.
  const bool isLink = S_ISLNK(link.st_mode);
  return Identity{card.st_dev, card.st_ino, link.st_ino, isLink ? link.st_ctim.tv_sec : 0,
                  isLink ? link.st_ctim.tv_nsec : 0};
}

void Slot::load() {
  try {
    card_ = simulated::loadCardFolder(folder_ / "card");
  } catch (const simulated::CardFolderError& error) {
    std::cerr << "kv500-simulator: no card: " << error.message << std::endl;
  }
}

}  // namespace driver
