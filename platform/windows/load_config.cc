// The load configuration of a program: Windows looks for the libraries that the program is linked
// with in its own folder, and not beside the program. The linker can't write the entry of the
// program's header that leads here; cmake/set_load_config.py writes it.
#include <array>
#include <cstddef>
#include <cstdint>

namespace {

/// IMAGE_LOAD_CONFIG_DIRECTORY64 up to SEHandlerCount, in units of 16 bits. MinGW-w64 does not name
/// its field DependentLoadFlags in every version.
using LoadConfiguration = std::array<std::uint16_t, 0x70 / 2>;
constexpr std::size_t dependentLoadFlags = 0x4E / 2;
constexpr std::uint16_t searchSystem32 = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32.

constexpr LoadConfiguration loadConfiguration() {
  LoadConfiguration result{};
  result[0] = sizeof(result);
  result[dependentLoadFlags] = searchSystem32;
  return result;
}

[[gnu::used, gnu::section(".loadcfg")]] alignas(8) constexpr LoadConfiguration loadConfig =
    loadConfiguration();

}  // namespace
