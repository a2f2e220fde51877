// The one slot of a simulated reader: a folder, in which a card folder named "card" is the card.
#ifndef KV500_DRIVER_PCSCD_SLOT_H
#define KV500_DRIVER_PCSCD_SLOT_H

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <mutex>
#include <optional>

#include "platform/simulated/card.h"

namespace driver {

/// All operations may be called from any thread; one is carried out at a time.
class Slot {
 public:
  enum class State {
    Gone,   ///< The folder isn't there: the reader is unplugged.
    Empty,  ///< No card, or one that can't be read, of which standard error tells once why.
    Card,
  };

  /// `folder` is the reader. A folder, or a link to one, with the name "card" in it is the card in
  /// the reader; see examples/cards/README.md for what may stand in it.
  explicit Slot(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Looks at the folder. A card in the place of another is seen as an empty slot first.
  State look();

  /// Powers the card up, or resets it. Gives its ATR, or none without a card.
  std::optional<simulated::Bytes> powerUp();
  void powerDown();

  /// The ATR of the card that has power.
  std::optional<simulated::Bytes> atr();

  /// Sends a command to the card that has power. None if the exchange failed. It takes the time
  /// that the card takes, 10 minutes at most.
  std::optional<simulated::Bytes> transmit(const simulated::Bytes& command);

 private:
  /// What tells a card in the reader from another, or from the same one put in again.
  struct Identity {
    ::dev_t device;
    ::ino_t file;
    ::ino_t link;
    std::time_t linkSeconds;
    long linkNanoseconds;
    bool operator==(const Identity&) const = default;
  };
  std::optional<Identity> identity() const;
  void load();

  const std::filesystem::path folder_;
  std::mutex mutex_;
  std::optional<Identity> inserted_;  ///< What `card` stands for, also if it has left the reader.
  std::optional<simulated::Card> card_;
  bool powered_ = false;
};

}  // namespace driver

#endif
