#include "simulator/trace.h"

#include <fstream>
#include <memory>

#include "platform/hex_text.h"
#include "simulator/path.h"

namespace simulator {

using platform::hexText;

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
