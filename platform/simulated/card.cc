#include "platform/simulated/card.h"

#include <algorithm>
#include <utility>

namespace simulated {
namespace {

// ISO/IEC 7816-4.
constexpr std::uint8_t interindustryClass = 0x00;  // Channel 0, no chaining, no secure messaging.
constexpr std::uint8_t insSelect = 0xA4;
constexpr std::uint8_t insReadBinary = 0xB0;
constexpr std::size_t headerSize = 4;  // CLA, INS, P1, P2.
constexpr std::uint16_t masterFileIdentifier = 0x3F00;

constexpr std::uint16_t swOk = 0x9000;
constexpr std::uint16_t swEndOfFileBeforeLe = 0x6282;
constexpr std::uint16_t swWrongLength = 0x6700;
constexpr std::uint16_t swSecurityStatusNotSatisfied = 0x6982;
constexpr std::uint16_t swNoCurrentFile = 0x6986;
constexpr std::uint16_t swFileNotFound = 0x6A82;
constexpr std::uint16_t wrongP1P2 = 0x6A86;
constexpr std::uint16_t swOffsetBehindEnd = 0x6B00;
constexpr std::uint16_t swInstructionNotSupported = 0x6D00;
constexpr std::uint16_t swClassNotSupported = 0x6E00;

std::uint16_t bigEndian(std::uint8_t high, std::uint8_t low) {
  return static_cast<std::uint16_t>(high << 8 | low);
}

Bytes respond(std::uint16_t statusWord, Bytes data = {}) {
  data.push_back(static_cast<std::uint8_t>(statusWord >> 8));
  data.push_back(static_cast<std::uint8_t>(statusWord & 0xFF));
  return data;
}

}  // namespace

/// What comes after the header of a command.
struct Card::Body {
  Bytes data;
  std::optional<std::uint8_t> le;  ///< 00 asks for as much as there is, up to 256 bytes.
};

Card::Card(Bytes atr, DedicatedFile masterFile, std::vector<DedicatedFile> applications,
           Overrides overrides)
    : atr_(std::move(atr)),
      directories_(std::move(applications)),
      overrides_(std::move(overrides)) {
  directories_.insert(directories_.begin(), std::move(masterFile));
}

Exchange Card::exchange(const Bytes& command) {
  const Override* instead = overrides_.next(command);
  if (!instead) {
    return {Exchange::Outcome::Answered, answer(command)};
  }
  switch (instead->kind) {
    case Override::Kind::Respond:
      return {Exchange::Outcome::Answered, instead->response};
    case Override::Kind::Wait:
      return {Exchange::Outcome::Answered, answer(command), instead->delay};
    case Override::Kind::Remove:
      return {Exchange::Outcome::Removed, {}};
    case Override::Kind::Fail:
      break;
  }
  return {Exchange::Outcome::Failed, {}};
}

void Card::reset() {
  directory_ = 0;
  file_.reset();
}

Bytes Card::answer(const Bytes& command) {
  if (command.size() < headerSize) {
    return respond(swWrongLength);
  }
  const std::uint8_t instruction = command[1];
  if (command[0] != interindustryClass) {
    return respond(swClassNotSupported);
  }
  if (instruction != insSelect && instruction != insReadBinary) {
    return respond(swInstructionNotSupported);
  }
  const std::optional<Body> body = parseBody(command);
  if (!body) {
    return respond(swWrongLength);
  }
  return instruction == insSelect ? select(command[2], command[3], body->data)
                                  : readBinary(command[2], command[3], *body);
}

/// ISO/IEC 7816-4, the four cases of a short APDU: no more bytes; Le; Lc and data; Lc, data and Le.
std::optional<Card::Body> Card::parseBody(const Bytes& command) {
  if (command.size() == headerSize) {
    return Body{};
  }
  const std::uint8_t first = command[headerSize];
  if (command.size() == headerSize + 1) {
    return Body{{}, first};
  }
  const auto data = command.begin() + headerSize + 1;
  const std::size_t behindLc = command.size() - (headerSize + 1);
  if (first == 0 || behindLc < first || behindLc > first + 1u) {
    return std::nullopt;
  }
  Body body{Bytes(data, data + first), std::nullopt};
  if (behindLc > first) {
    body.le = command.back();
  }
  return body;
}

Bytes Card::select(std::uint8_t p1, std::uint8_t p2, const Bytes& data) {
  // Bits 4 and 3 of P2 choose the control information that is returned; there is none here. The
  // other bits are 0 for the first or only file of that name.
  if ((p2 & 0xF3) != 0) {
    return respond(wrongP1P2);
  }
  switch (p1) {
    case 0x00:
      return selectByFileIdentifier(data, false);
    case 0x02:
      return selectByFileIdentifier(data, true);
    case 0x04:
      return selectByApplicationIdentifier(data);
    default:
      return respond(wrongP1P2);
  }
}

Bytes Card::selectByFileIdentifier(const Bytes& data, bool elementaryFileOnly) {
  if (data.empty() && !elementaryFileOnly) {
    return selectDirectory(0);
  }
  if (data.size() != 2) {
    return respond(swWrongLength);
  }
  const std::uint16_t identifier = bigEndian(data[0], data[1]);
  if (identifier == masterFileIdentifier && !elementaryFileOnly) {
    return selectDirectory(0);
  }
  const bool found =
      selectFile([=](const ElementaryFile& file) { return file.identifier == identifier; });
  return respond(found ? swOk : swFileNotFound);
}

Bytes Card::selectByApplicationIdentifier(const Bytes& data) {
  const auto found = std::find_if(
      directories_.begin(), directories_.end(),
      [&](const DedicatedFile& directory) { return directory.applicationIdentifier == data; });
  if (found == directories_.end()) {
    return respond(swFileNotFound);
  }
  return selectDirectory(static_cast<std::size_t>(found - directories_.begin()));
}

Bytes Card::selectDirectory(std::size_t index) {
  directory_ = index;
  file_.reset();
  return respond(swOk);
}

/// P1 with bit 8 holds a short file identifier in bits 5 to 1 (0: the current EF) and P2 the
/// offset; without it P1 and P2 hold the offset into the current EF.
Bytes Card::readBinary(std::uint8_t p1, std::uint8_t p2, const Body& body) {
  if (!body.data.empty() || !body.le) {
    return respond(swWrongLength);
  }
  std::size_t offset = bigEndian(p1, p2);
  if ((p1 & 0x80) != 0) {
    if ((p1 & 0x60) != 0) {
      return respond(wrongP1P2);
    }
    const int wanted = p1 & 0x1F;
    const auto matches = [=](const ElementaryFile& file) { return file.shortIdentifier == wanted; };
    if (wanted != 0 && !selectFile(matches)) {
      return respond(swFileNotFound);
    }
    offset = p2;
  }
  if (!file_) {
    return respond(swNoCurrentFile);
  }
  const ElementaryFile& file = directories_[directory_].files[*file_];
  if (!file.isReadable) {
    return respond(swSecurityStatusNotSatisfied);
  }
  const Bytes& content = file.content;
  if (offset >= content.size()) {
    return respond(swOffsetBehindEnd);
  }
  const std::size_t wanted = *body.le == 0 ? 256 : *body.le;
  const std::size_t count = std::min(wanted, content.size() - offset);
  const auto first = content.begin() + static_cast<Bytes::difference_type>(offset);
  return respond(count < *body.le ? swEndOfFileBeforeLe : swOk,
                 Bytes(first, first + static_cast<Bytes::difference_type>(count)));
}

/// Makes the first matching file of the current DF the current EF. If there is none, nothing
/// changes.
template <class Predicate>
bool Card::selectFile(Predicate wanted) {
  const std::vector<ElementaryFile>& files = directories_[directory_].files;
  const auto found = std::find_if(files.begin(), files.end(), wanted);
  if (found == files.end()) {
    return false;
  }
  file_ = static_cast<std::size_t>(found - files.begin());
  return true;
}

}  // namespace simulated
