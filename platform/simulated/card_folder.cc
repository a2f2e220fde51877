#include "platform/simulated/card_folder.h"

#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/simulated/insurance_files.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t largestText = 65536;
constexpr std::size_t largestOverrides = std::size_t{1}
                                         << 20;  // Room for a few of the longest responses.
constexpr std::size_t longestAtr = 33;           // ISO/IEC 7816-3, TS included.

// From the German health card standard: the files' identifiers and short identifiers.
constexpr std::uint16_t atrIdentifier = 0x2F01;
constexpr std::uint8_t atrShortIdentifier = 0x1D;
constexpr std::uint16_t gdoIdentifier = 0x2F02;
constexpr std::uint8_t gdoShortIdentifier = 0x02;
constexpr std::uint16_t version2Identifier = 0x2F11;
constexpr std::uint8_t version2ShortIdentifier = 0x11;
constexpr std::uint16_t pdIdentifier = 0xD001;
constexpr std::uint8_t pdShortIdentifier = 0x01;
constexpr std::uint16_t vdIdentifier = 0xD002;
constexpr std::uint8_t vdShortIdentifier = 0x02;
constexpr std::uint16_t gvdIdentifier = 0xD003;
constexpr std::uint8_t gvdShortIdentifier = 0x03;
constexpr std::uint16_t statusVdIdentifier = 0xD00C;
constexpr std::uint8_t statusVdShortIdentifier = 0x0C;

Bytes healthCareApplication() {
  return {0xD2, 0x76, 0x00, 0x00, 0x01, 0x02};
}

/// Tag and length, then the serial number: 80 for health care, 276 for Germany, an issuer and a
/// number that is not in use.
Bytes healthCardGdo() {
  return {0x5A, 0x0A, 0x80, 0x27, 0x69, 0x99, 0x99, 0x12, 0x34, 0x56, 0x78, 0x90};
}

/// As above, but with 9 and 999 for a national card of no country.
Bytes otherCardGdo() {
  return {0x5A, 0x0A, 0x99, 0x99, 0x00, 0x00, 0x00, 0x12, 0x34, 0x56, 0x78, 0x90};
}

/// The longest command and response, without and with secure messaging: those of a short APDU. Then
/// what the card can do (ISO/IEC 7816-4): selection by whole application identifier, by file
/// identifier and by short file identifier; no extended lengths.
Bytes healthCardEfAtr() {
  return {0xE0, 0x10, 0x02, 0x02, 0x01, 0x05, 0x02, 0x02, 0x01, 0x02, 0x02, 0x02, 0x01,
          0x05, 0x02, 0x02, 0x01, 0x02, 0x66, 0x05, 0x47, 0x03, 0x94, 0x21, 0x00};
}

/// The versions of the filling rules (C0), the card's files (C1), the product (C2) and the filling
/// of EF.GDO (C4), EF.ATR (C5) and EF.Logging (C7), three bytes each behind the product's name.
Bytes healthCardVersion2() {
  return {0xEF, 0x2B, 0xC0, 0x03, 0x02, 0x00, 0x00, 0xC1, 0x03, 0x04, 0x05, 0x02, 0xC2, 0x10, 'K',
          'V',  'S',  'I',  'M',  'E',  'G',  'K',  ' ',  'G',  '2',  '.',  '1',  0x01, 0x00, 0x00,
          0xC4, 0x03, 0x01, 0x00, 0x00, 0xC5, 0x03, 0x02, 0x00, 0x00, 0xC7, 0x03, 0x01, 0x00, 0x00};
}

/// "0" for no update in progress, the time of the last update, version 5.2.0 of the XML, 5 reserved
/// bytes as published cards have them.
Bytes defaultStatusVd() {
  constexpr std::string_view state = "020190101000000";
  Bytes file(state.begin(), state.end());
  file.insert(file.end(), {0x00, 0x50, 0x02, 0x00, 0x00, 0x00, 0x30, 0x00, 0x00, 0x04});
  return file;
}

/// The ATR of a published card, ISO/IEC 7816-3: protocol T=1 with blocks of up to 254 bytes, no
/// historical bytes. The last byte is the checksum.
Bytes healthCardAtr() {
  return {0x3B, 0xD0, 0x96, 0xFF, 0x81, 0xB1, 0xFE, 0x45, 0x1F, 0x07, 0x2A};
}

/// Also only T=1, but at the speed that every reader supports. The historical bytes tell the same
/// as EF.ATR above.
Bytes otherCardAtr() {
  return {0x3B, 0x85, 0x81, 0x31, 0xFE, 0x45, 0x80, 0x73, 0x94, 0x21, 0x00, 0xC8};
}

[[noreturn]] void fail(const fs::path& path, const std::string& what) {
  const std::u8string name = path.u8string();
  throw CardFolderError{std::string(name.begin(), name.end()) + ": " + what};
}

void requireFolder(const fs::path& folder) {
  std::error_code error;
  const fs::file_status status = fs::status(folder, error);
  if (status.type() == fs::file_type::not_found) {
    fail(folder, "there is no such folder");
  }
  if (status.type() == fs::file_type::none) {
    fail(folder, "can't be reached");
  }
  if (!fs::is_directory(status)) {
    fail(folder, "is not a folder");
  }
}

/// The content of a file; std::nullopt if the file doesn't exist.
std::optional<Bytes> readFile(const fs::path& path, std::size_t largest) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) {
    return std::nullopt;
  }
  // Opening a pipe or a device could wait without end.
  if (status.type() != fs::file_type::none && !fs::is_regular_file(status)) {
    fail(path, "is not a file");
  }
  std::ifstream stream(path, std::ios::binary);
  std::string content(largest + 1, '\0');
  stream.read(content.data(), static_cast<std::streamsize>(content.size()));
  if (!stream.is_open() || stream.bad()) {
    fail(path, "can't be read");
  }
  const auto size = static_cast<std::size_t>(stream.gcount());
  if (size > largest) {
    fail(path, "is larger than " + std::to_string(largest) + " bytes");
  }
  return Bytes(content.begin(), content.begin() + stream.gcount());
}

template <typename Make>
std::optional<Bytes> readInsuranceFile(const fs::path& raw, const fs::path& xml, Make make) {
  if (std::optional<Bytes> content = readFile(raw, largestCardFile)) {
    return content;
  }
  const std::optional<Bytes> text = readFile(xml, largestText);
  if (!text) {
    return std::nullopt;
  }
  std::optional<Bytes> content = make(*text);
  if (!content) {
    fail(xml, "takes more room than a card has, even when compressed");
  }
  return content;
}

std::optional<Bytes> readAtr(const fs::path& path) {
  const std::optional<Bytes> content = readFile(path, largestText);
  if (!content) {
    return std::nullopt;
  }
  std::string digits(content->begin(), content->end());
  std::erase_if(digits, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
  std::optional<Bytes> atr = parseHex(digits);
  if (!atr) {
    fail(path, "is not hexadecimal text with two digits a byte");
  }
  if (atr->empty() || atr->size() > longestAtr) {
    fail(path, "an ATR has 1 to 33 bytes, this one has " + std::to_string(atr->size()));
  }
  return atr;
}

Overrides readOverrides(const fs::path& path) {
  const Bytes content = readFile(path, largestOverrides).value_or(Bytes{});
  try {
    return parseOverrides(std::string(content.begin(), content.end()));
  } catch (const OverridesError& error) {
    fail(path, "line " + std::to_string(error.line) + ": " + error.message);
  }
}

}  // namespace

Card loadCardFolder(const fs::path& folder) {
  requireFolder(folder);
  std::optional<Bytes> vd =
      readInsuranceFile(folder / "EF.VD", folder / "VD.xml", [&](const Bytes& text) {
        return makeVdFile(text, readFile(folder / "GVD.xml", largestText));
      });
  std::optional<Bytes> pd = readInsuranceFile(folder / "EF.PD", folder / "PD.xml", makePdFile);
  std::optional<Bytes> gdo = readFile(folder / "EF.GDO", largestCardFile);
  std::optional<Bytes> statusVd = readFile(folder / "EF.StatusVD", largestCardFile);
  std::optional<Bytes> atr = readAtr(folder / "ATR");
  Overrides overrides = readOverrides(folder / "overrides.txt");

  const bool healthCard = vd || pd;
  if (!gdo) {
    gdo = healthCard ? healthCardGdo() : otherCardGdo();
  }
  if (!atr) {
    atr = healthCard ? healthCardAtr() : otherCardAtr();
  }
  DedicatedFile masterFile;
  masterFile.files.push_back({gdoIdentifier, gdoShortIdentifier, std::move(*gdo)});
  std::vector<DedicatedFile> applications;
  if (healthCard) {
    masterFile.files.push_back({atrIdentifier, atrShortIdentifier, healthCardEfAtr()});
    masterFile.files.push_back({version2Identifier, version2ShortIdentifier, healthCardVersion2()});
    DedicatedFile& application = applications.emplace_back();
    application.applicationIdentifier = healthCareApplication();
    application.files.push_back({statusVdIdentifier, statusVdShortIdentifier,
                                 statusVd ? std::move(*statusVd) : defaultStatusVd()});
    application.files.push_back({gvdIdentifier, gvdShortIdentifier, {}, false});
    if (vd) {
      application.files.push_back({vdIdentifier, vdShortIdentifier, std::move(*vd)});
    }
    if (pd) {
      application.files.push_back({pdIdentifier, pdShortIdentifier, std::move(*pd)});
    }
  }
  return Card(std::move(*atr), std::move(masterFile), std::move(applications),
              std::move(overrides));
}

}  // namespace simulated
