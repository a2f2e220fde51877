#include <unistd.h>

#include <algorithm>

#include "platform/host.h"
#include "platform/program.h"
#include "platform/utf8.h"

namespace platform {

std::filesystem::path host::programPath() {
  // Read once: the link's text changes when an update replaces the running program.
  static const std::filesystem::path path = [] {
    std::string buffer(4096, '\0');  // PATH_MAX, the longest path that Linux gives.
    const auto length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    // Without /proc the files are in the root folder. A relative path would depend on the working
    // directory.
    return length > 0 ? buffer.substr(0, static_cast<std::size_t>(length)) : "/";
  }();
  return path;
}

std::string printablePath(const std::filesystem::path& path) {
  std::string text;
  for (std::string_view rest = path.native(); !rest.empty();) {
    text += rest.front() < 32 || rest.front() >= 127 ? '~' : rest.front();
    rest.remove_prefix(std::max<std::size_t>(characterLength(rest), 1));
  }
  return text;
}

}  // namespace platform
