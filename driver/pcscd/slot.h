// The only slot of a simulated reader. The slot is a folder; a card folder named "card" in it is
// the card.
#ifndef KV500_DRIVER_PCSCD_SLOT_H
#define KV500_DRIVER_PCSCD_SLOT_H

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <mutex>
#include <optional>

#include "platform/simulated/card.h"

namespace driver {

/// All operations may be called from any thread. Only one is carried out at a time.
class Slot {
 public:
  enum class State {
    Gone,   ///< The folder isn't there: the reader is unplugged.
    Empty,  ///< No card, or one that can't be read; standard error tells once why.
    Card,
  };

  /// `folder` is the reader. A folder, or a link to one, with the name "card" in it is the card in
  /// the reader; see examples/cards/README.md for what may stand in it.
  explicit Slot(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Looks at the folder. If another card has replaced the first one, the slot first seems empty.
  State look();

  /// Powers the card up, or resets it. Gives its ATR, or none without a card.
  std::optional<simulated::Bytes> powerUp();
  void powerDown();

  /// The ATR of the card that has power.
  std::optional<simulated::Bytes> atr();

  /// Sends a command to the card that has power. None if the exchange failed. Takes as long as the
  /// card takes, at most 10 minutes.
  std::optional<simulated::Bytes> transmit(const simulated::Bytes& command);

 private:
  /// What distinguishes a card in the reader from another, or from the same one inserted again.
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
  std::optional<Identity> inserted_;  ///< Of the card last loaded, even if it has left.
  std::optional<simulated::Card> card_;
  bool powered_ = false;
};

}  // namespace driver

#endif
