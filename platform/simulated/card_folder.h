// Card folders: a folder of files that describes one simulated card.
#ifndef KV500_PLATFORM_SIMULATED_CARD_FOLDER_H
#define KV500_PLATFORM_SIMULATED_CARD_FOLDER_H

#include <filesystem>
#include <string>

#include "platform/simulated/card.h"

namespace simulated {

/// Thrown by value: the path of the file or folder (in UTF-8 on Windows), ": ", and what is wrong
/// with it. Never contains the content of the file.
struct CardFolderError {
  std::string message;
};

/// Makes the card that a folder describes. All files are optional; other files are ignored:
///  - `EF.GDO`, `EF.StatusVD`, `EF.VD`, `EF.PD`: the raw content, at most 32768 bytes;
///  - `VD.xml`, `PD.xml`: the text of EF.VD and EF.PD where the raw file is absent, at most
///    65536 bytes; `GVD.xml`: the protected data that stand in EF.VD beside `VD.xml`, as large;
///  - `ATR`: 1 to 33 bytes as hexadecimal text, in which blanks and line ends may stand;
///  - `overrides.txt`: see parseOverrides, at most 1 MiB.
/// Without VD and PD the card has no health care application. EF.StatusVD, which belongs to the
/// application, is then left out too. EF.GDO, EF.StatusVD and ATR have defaults that fit the kind
/// of card. A card with the application also has EF.ATR, EF.Version2 and EF.GVD, which nobody can
/// read. Throws CardFolderError. Thread-safe.
Card loadCardFolder(const std::filesystem::path& folder);

}  // namespace simulated

#endif
