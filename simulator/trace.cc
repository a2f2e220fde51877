#include "simulator/trace.h"

#include <fstream>
#include <memory>

#include "simulator/path.h"

namespace simulator {
namespace {

std::string hexText(const simulated::Bytes& bytes) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += text.empty() ? "" : " ";
    text += digits[byte >> 4];
    text += digits[byte & 0xF];
  }
  return text;
}

}  // namespace

std::string traceLines(const simulated::Bytes& command,
                       const std::optional<simulated::Bytes>& response) {
  return "> " + hexText(command) + "\n< " + (response ? hexText(*response) : "fail") + "\n";
}

std::optional<simulated::Readers::Trace> traceToFile(const std::string& path) {
  auto file = std::make_shared<std::ofstream>(toPath(path), std::ios::app);
  if (!*file) {
    return std::nullopt;
  }
  return [file](const simulated::Bytes& command, const std::optional<simulated::Bytes>& response) {
    *file << traceLines(command, response) << std::flush;
  };
}

}  // namespace simulator
