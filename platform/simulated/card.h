// A smart card made of memory: a file system and the commands of ISO/IEC 7816-4 that read it.
#ifndef KV500_PLATFORM_SIMULATED_CARD_H
#define KV500_PLATFORM_SIMULATED_CARD_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/simulated/bytes.h"
#include "platform/simulated/overrides.h"

namespace simulated {

/// A file with content (ISO/IEC 7816-4: elementary file, EF).
struct ElementaryFile {
  std::uint16_t identifier;
  std::uint8_t shortIdentifier;  ///< 1 to 30.
  Bytes content;                 ///< READ BINARY reaches no byte beyond 32768.
  bool isReadable = true;        ///< Else only a person or card with the right to it can read it.
};

/// A folder of such files (ISO/IEC 7816-4: dedicated file, DF), selected by its application
/// identifier. The master file has none and is selected by the file identifier 3F00.
struct DedicatedFile {
  Bytes applicationIdentifier;
  std::vector<ElementaryFile> files;
};

/// The result of one command.
struct Exchange {
  enum class Outcome {
    Answered,  ///< The card gave `response`.
    Failed,    ///< The exchange failed; the card is still there.
    Removed,   ///< The card left the reader; the caller takes it out.
  };
  Outcome outcome;
  Bytes response;                     ///< For Answered: data, SW1, SW2; an override may be shorter.
  std::chrono::milliseconds delay{};  ///< How late the answer comes; the caller waits that long.
};

/// One card. A copy is a separate card. Not thread-safe: the caller serialises calls.
class Card {
 public:
  Card(Bytes atr, DedicatedFile masterFile, std::vector<DedicatedFile> applications,
       Overrides overrides);

  /// Takes one command APDU of any length. It never fails by itself: a command that the card
  /// doesn't understand gets a status word. The card understands, in class 00 and as short APDUs:
  ///  - SELECT by file identifier (P1 00, and 02 for an EF only) and by application identifier (P1
  ///    04, the whole identifier). With P1 00 or 04 and no identifier it selects the master file.
  ///    It never returns data, whatever P2 asks for.
  ///  - READ BINARY (INS B0) with and without short file identifier.
  /// The selection lasts from command to command. An overridden command doesn't change it, unless
  /// the override only waits.
  Exchange exchange(const Bytes& command);

  /// Answer to reset, ISO/IEC 7816-3.
  const Bytes& atr() const { return atr_; }

  /// Power-up: selects the master file and no EF. Does not reset the turns of the overrides.
  void reset();

 private:
  struct Body;
  static std::optional<Body> parseBody(const Bytes& command);

  Bytes answer(const Bytes& command);
  Bytes select(std::uint8_t p1, std::uint8_t p2, const Bytes& data);
  Bytes selectByFileIdentifier(const Bytes& data, bool elementaryFileOnly);
  Bytes selectByApplicationIdentifier(const Bytes& data);
  Bytes selectDirectory(std::size_t index);
  Bytes readBinary(std::uint8_t p1, std::uint8_t p2, const Body& body);
  template <class Predicate>
  bool selectFile(Predicate wanted);

  Bytes atr_;
  std::vector<DedicatedFile> directories_;  ///< The first one is the master file.
  Overrides overrides_;
  std::size_t directory_ = 0;        ///< Index of the current DF.
  std::optional<std::size_t> file_;  ///< Index of the current EF in it.
};

}  // namespace simulated

#endif
