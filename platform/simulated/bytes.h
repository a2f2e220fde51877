// The bytes that go to and from a simulated card, and their hexadecimal text.
#ifndef KV500_PLATFORM_SIMULATED_BYTES_H
#define KV500_PLATFORM_SIMULATED_BYTES_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace simulated {

using Bytes = std::vector<std::uint8_t>;

/// Reads pairs of hexadecimal digits, upper or lower case, with nothing between them. An empty text
/// gives no bytes. Any other character or an odd number of digits gives std::nullopt. Thread-safe.
std::optional<Bytes> parseHex(std::string_view text);

}  // namespace simulated

#endif
