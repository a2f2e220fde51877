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
/// necessary, and looks once a second for the one reader that the device works with. The thread
/// attaches a reader. It gives the reader up when several match, when the service has gone and at
/// the stop. The device itself notices when a reader is pulled out.
class PcscService {
 public:
  /// The thread ends once `stopSignal` is set. `stopSignal` must outlive this object.
  explicit PcscService(const Event& stopSignal) : stopEvent(stopSignal) {}
  PcscService(const PcscService&) = delete;
  PcscService& operator=(const PcscService&) = delete;

  /// Makes the device and the server and starts the PC/SC thread. Call it once. Raises what the
  /// server's constructor raises and "Could not start PCSC service thread!". Device and server are
  /// never released here: other threads use them.
  void start();

  /// Waits for the PC/SC thread, for at most 3 seconds, and closes its handle. The stop event must
  /// have been set before.
  void takeDown();

  /// The body of the PC/SC thread. If a text ends the loop, it is logged and the process ends with
  /// exit code 0.
  void runGuarded();

  /// The loop of the PC/SC thread. Returns once the stop event is set. Raises "Smartcard service
  /// not running!", "Could not establish PCSC context" and "Could not check event".
  void pRun();

  std::string name;
  /// Guards `context`, every PC/SC call that uses it and every call that could race with its
  /// release.
  Lock serviceLock ACQUIRED_AFTER(lockOrder::behindDevice)
      ACQUIRED_BEFORE(lockOrder::behindService);
  platform::SCARDCONTEXT context GUARDED_BY(serviceLock) = 0;  ///< 0: no context.
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
