// The named mutex of the simulated world is a Unix socket in Linux' abstract name space. A name can
// be bound once, the kernel releases it when the process ends, however it ends, and no file is
// left. Any user can bind any name; this does no harm in a simulated world.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/host.h"
#include "platform/posix/handle_object.h"

namespace platform {
namespace {

class NamedMutex : public posix::HandleObject {
 public:
  explicit NamedMutex(int socket) : socket_(socket) {}
  ~NamedMutex() override { ::close(socket_); }

 private:
  const int socket_;
};

}  // namespace

HANDLE host::createNamedMutex(const char* text) {
  const std::string_view name = text;
  ::sockaddr_un address{};
  if (name.size() + 1 > sizeof(address.sun_path)) {
    return 0;
  }
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) {
    return 0;
  }
  // A zero byte before the name makes it abstract.
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + 1, name.data(), name.size());
  const std::size_t length = offsetof(::sockaddr_un, sun_path) + 1 + name.size();
  const bool bound = ::bind(socket, reinterpret_cast<const ::sockaddr*>(&address),
                            static_cast<::socklen_t>(length)) == 0;
  if (!bound && errno != EADDRINUSE) {
    ::close(socket);
    return 0;
  }
  if (!bound) {
    SetLastError(ERROR_ALREADY_EXISTS);
  }
  return posix::toHandle(std::make_unique<NamedMutex>(socket));
}

}  // namespace platform
