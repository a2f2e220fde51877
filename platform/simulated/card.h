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
  Bytes content;                 ///< Behind 32768 bytes no READ BINARY reaches it.
};

/// A folder of such files (ISO/IEC 7816-4: dedicated file, DF), selected by its application
/// identifier. The master file has none and is selected by the file identifier 3F00.
struct DedicatedFile {
  Bytes applicationIdentifier;
  std::vector<ElementaryFile> files;
};

/// What came of one command.
struct Exchange {
  enum class Outcome {
    Answered,  ///< The card gave `response`.
    Failed,    ///< The exchange failed; the card is still there.
    Removed,   ///< The card left the reader; taking it out is the caller's business.
  };
  Outcome outcome;
  Bytes response;                     ///< Of Answered: data, SW1, SW2; an override may be shorter.
  std::chrono::milliseconds delay{};  ///< By how much the answer comes late; the caller sleeps it.
};

/// One card. A copy is a card of its own. Not thread-safe: the caller serialises.
class Card {
 public:
  Card(Bytes atr, DedicatedFile masterFile, std::vector<DedicatedFile> applications,
       Overrides overrides);

  /// Takes one command APDU, of any length, and never fails by itself: what the card doesn't
  /// understand gets a status word. Understood are, in class 00 and as short APDUs,
  ///  - SELECT by file identifier (P1 00, and 02 for an EF alone) and by application identifier
  ///    (P1 04, the whole identifier); with P1 00 or 04 and no identifier it selects the master
  ///    file; whatever P2 asks for, no data are given;
  ///  - READ BINARY (INS B0) with and without short file identifier.
  /// Selection lasts from command to command. An overridden command doesn't touch it, unless it
  /// only waits.
  Exchange exchange(const Bytes& command);

  /// Answer to reset, ISO/IEC 7816-3.
  const Bytes& atr() const { return atr_; }

  /// Power-up: the master file is selected and no EF. The turns of the overrides go on.
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
