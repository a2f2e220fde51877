// Paths that a person has typed.
#ifndef KV500_SIMULATOR_PATH_H
#define KV500_SIMULATOR_PATH_H

#include <filesystem>
#include <string>

namespace simulator {

/// The path of a text in UTF-8, the encoding of narrow texts here on every system. Where paths are
/// bytes, any other bytes are kept too.
inline std::filesystem::path toPath(const std::string& text) {
  return std::u8string(text.begin(), text.end());
}

}  // namespace simulator

#endif
