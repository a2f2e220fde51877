// What the listener serves.
#ifndef KV500_DEVICE_DEVICE_H
#define KV500_DEVICE_DEVICE_H

#include <atomic>
#include <cstdint>
#include <string>

#include "platform/smartcard.h"
#include "support/lock.h"

namespace kv500 {

class PcscService;
class TcpSocket;

/// A device behind the listener, and the state common to card readers.
class Device {
 public:
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// The IPv4 address (network byte order) and the port (host byte order) to listen on.
  virtual std::uint32_t listenAddress() = 0;
  virtual std::uint16_t listenPort() = 0;

  /// A reader of that PC/SC name has been found. Called on the PC/SC thread with no lock held.
  virtual void attachReader(const std::string& readerName) = 0;
  /// The reader has gone or must be given up. Called like attachReader.
  virtual void detachReader() = 0;

  /// Serves one connection: one read, at most one answer. The caller closes the socket. Called on
  /// up to 8 threads at a time with no lock held.
  virtual void handleConnection(TcpSocket& client) = 0;

  /// The model name.
  const std::string& name() const { return name_; }

  /// Whether a usable reader is attached. The PC/SC thread may ask without deviceLock: only that
  /// thread sets the value, and an outdated value costs it at most one pass.
  bool isReaderPresent() const { return readerPresent; }

  /// Guards what changes at run time, here and in the derived class, and every card exchange.
  Lock deviceLock ACQUIRED_BEFORE(lockOrder::behindDevice);

 protected:
  Device(const std::string& name, PcscService* pcscService)
      : pcscService(pcscService), name_(name) {}

  PcscService* const pcscService;  ///< Owns the PC/SC context; not owned.
  platform::SCARDHANDLE cardHandle GUARDED_BY(deviceLock) = 0;
  std::uint32_t activeProtocol GUARDED_BY(deviceLock) = 0;
  std::atomic<bool> readerPresent = false;  ///< Written with deviceLock held.

 private:
  const std::string name_;
};

}  // namespace kv500

#endif
