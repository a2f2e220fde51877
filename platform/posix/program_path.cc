#include <unistd.h>

#include "platform/host.h"
#include "platform/posix/path_text.h"
#include "platform/program.h"

namespace platform {

const char16_t pathSeparator = u'/';

std::u16string host::programPath() {
  // Asked once, as the link's text changes when the running program is replaced by an update.
  static const std::u16string path = [] {
    std::string buffer(4096, '\0');  // PATH_MAX, the longest path that Linux gives.
    const auto length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    buffer.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return posix::toUnits(buffer);
  }();
  return path;
}

}  // namespace platform
