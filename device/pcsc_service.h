// The connection to the platform's smart-card service.
#ifndef KV500_DEVICE_PCSC_SERVICE_H
#define KV500_DEVICE_PCSC_SERVICE_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/smartcard.h"
#include "support/event.h"
#include "support/lock.h"
#include "support/thread.h"

namespace kv500 {

class Device;
class Server;

/// Owns the PC/SC context. Its thread establishes the context, starts the smart-card service if
/// need be, and looks once a second for the one reader that the device works with. It brings a
/// reader in and gives it up when several match, when the service has gone and at the stop; a
/// reader that is pulled out is noticed by the device itself.
class PcscService {
 public:
  /// `stopSignal` ends the thread once it is set; it lives longer than this object.
  explicit PcscService(const Event& stopSignal) : stopEvent(stopSignal) {}
  PcscService(const PcscService&) = delete;
  PcscService& operator=(const PcscService&) = delete;

  /// Makes the device and the server and starts the PC/SC thread; called once. Raises what the
  /// server's constructor raises and "Could not start PCSC service thread!". Device and server are
  /// left to their users and never released here.
  void start();

  /// Waits for the PC/SC thread, for 3 seconds at most, and closes its handle. The stop event has
  /// been set before.
  void takeDown();

  /// The body of the PC/SC thread. A text that ends the loop is logged, and the process ends with
  /// exit code 0.
  void runGuarded();

  /// The loop of the PC/SC thread. Returns once the stop event is set. Raises "Smartcard service
  /// not running!", "Could not establish PCSC context" and "Could not check event".
  void pRun();

  std::string name;
  /// Guards `context`, every PC/SC call that uses it and every one that could race with its
  /// release.
  Lock serviceLock ACQUIRED_AFTER(lockOrder::behindDevice)
      ACQUIRED_BEFORE(lockOrder::behindService);
  platform::SCARDCONTEXT context GUARDED_BY(serviceLock) = 0;  ///< 0: none is established.
  Device* device = nullptr;
  Server* server = nullptr;

 private:
  void runPass(bool& warnedAboutSeveral) EXCLUDES(serviceLock);
  bool listReaders(std::vector<char>& list, std::uint32_t& result) EXCLUDES(serviceLock);
  bool establishContext() REQUIRES(serviceLock);
  void startSmartcardService() REQUIRES(serviceLock);
  void releaseContext() EXCLUDES(serviceLock);
  void handleListError(std::uint32_t result) EXCLUDES(serviceLock);
  void trackReader(const std::vector<char>& list, bool& warnedAboutSeveral);

  const Event& stopEvent;
  Thread pcscThread;
};

}  // namespace kv500

#endif
