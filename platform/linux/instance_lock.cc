// The named mutex is a lock on a file in a folder that no other user can write. For root this is
// /run/kv500service, which systemd makes as the unit requests; for an ordinary user it is the
// user's own folder in /run/user. The kernel releases the lock when its process ends, however it
// ends.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/posix/handle_object.h"
#include "platform/program.h"
#include "platform/threading.h"

namespace platform {
namespace {

class Descriptor : public posix::HandleObject {
 public:
  explicit Descriptor(int file) : file(file) {}
  ~Descriptor() override {
    if (file >= 0) {
      ::close(file);
    }
  }
  const int file;
};

std::string lockFolder() {
  return ::geteuid() == 0 ? "/run/kv500service" : "/run/user/" + std::to_string(::geteuid());
}

/// Whether only this user can open the file, or create names in the folder: anybody who can open
/// the file can take the lock.
bool isOwn(int file, ::mode_t type, ::mode_t othersRights) {
  struct ::stat status;
  return ::fstat(file, &status) == 0 && (status.st_mode & S_IFMT) == type &&
         status.st_uid == ::geteuid() && (status.st_mode & othersRights) == 0;
}

/// Opens the lock's file. A process that takes the lock makes the file if it is absent; one that
/// only looks gets no descriptor then. Null if the lock can't be used, which the journal learns.
std::unique_ptr<Descriptor> openLockFile(const std::string& name, bool onlyLooks) {
  const std::string path = lockFolder();
  if (!onlyLooks) {
    ::mkdir(path.c_str(), 0755);  // Usually systemd has made it.
  }
  const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  const int flags = O_RDWR | (onlyLooks ? 0 : O_CREAT) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int file = folder.file < 0 ? -1 : ::openat(folder.file, name.c_str(), flags, 0600);
  const int error = file < 0 ? errno : 0;
  auto lock = std::make_unique<Descriptor>(file);
  const bool isAbsent = onlyLooks && error == ENOENT;
  if (isAbsent || (file >= 0 && isOwn(folder.file, S_IFDIR, S_IWGRP | S_IWOTH) &&
                   isOwn(file, S_IFREG, S_IRWXG | S_IRWXO))) {
    return lock;
  }
  tellStarter("The lock " + path + "/" + name +
              " can't be used: " + (file < 0 ? std::strerror(error) : "not this user's alone"));
  return nullptr;
}

}  // namespace

HANDLE CreateMutexA(bool, const char* name) {
  // A start by hand, which ends in a message box, only looks: it must not keep the service from
  // starting for as long as the box is open.
  const bool onlyLooks = std::getenv("NOTIFY_SOCKET") == nullptr;
  auto lock = openLockFile(name, onlyLooks);
  if (!lock) {
    return 0;
  }
  if (lock->file < 0) {
    return posix::toHandle(std::move(lock));  // Nobody has made the lock.
  }
  struct ::flock whole {};
  whole.l_type = F_WRLCK;
  // Locks of the open file, not of the process, which would lose them with any other descriptor.
  const bool failed = ::fcntl(lock->file, onlyLooks ? F_OFD_GETLK : F_OFD_SETLK, &whole) != 0;
  const bool isTaken =
      failed ? errno == EAGAIN || errno == EACCES : onlyLooks && whole.l_type != F_UNLCK;
  if (failed && !isTaken) {
    return 0;
  }
  if (isTaken) {
    SetLastError(ERROR_ALREADY_EXISTS);
  }
  return posix::toHandle(std::move(lock));
}

}  // namespace platform
