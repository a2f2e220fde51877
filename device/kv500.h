// The card reader behind the listener.
#ifndef KV500_DEVICE_KV500_H
#define KV500_DEVICE_KV500_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "device/device.h"
#include "device/pcsc_channel.h"
#include "device/request_log.h"
#include "device/settings.h"
#include "frontend/response.h"
#include "platform/threading.h"
#include "support/thread.h"

namespace kv500 {

/// The version of the answers' interface; "ApiVersion" in the answers.
inline const std::string apiVersion = "1.1.8";

/// The one concrete device: settings, the state of reader and card, the card watcher, the actions.
///
/// The state is one of three: no reader (`readerPresent` false), a reader without a card
/// connection, a card connection (`cardConnected` true, which implies `readerPresent`).
class KV500 final : public Device, private Settings {
 public:
  /// Reads the settings from config.txt and starts the card watcher. Bad settings are logged and
  /// shown, and their defaults apply. In that case it waits for the person at the screen.
  explicit KV500(PcscService* owner);

  /// Stops the watcher and returns when it has ended. Leaves a card connection open. The running
  /// service never gets here: it ends with the process.
  ~KV500() override;

  /// 127.0.0.1: the service can be reached from this machine only.
  std::uint32_t listenAddress() override;
  std::uint16_t listenPort() override { return port; }

  /// Takes the reader if exactly one known USB device is plugged in. Gives up an earlier reader in
  /// any case.
  void attachReader(const std::string& newReaderName) override EXCLUDES(deviceLock);
  void detachReader() override EXCLUDES(deviceLock);

  /// A request that can't be understood gets a log line and no answer. A request for something
  /// unknown gets a JSON answer that says so.
  void handleConnection(TcpSocket& client) override EXCLUDES(deviceLock);

 private:
  // Settings: kv500.cc. Written by the constructor, before any other thread knows the object.
  void readSettings();
  void reportToUser(const std::string& text);

  // Requests: kv500_requests.cc.
  bool isUserAllowed(const TcpSocket& client) const;
  void handleRequest(const std::string& text, TcpSocket& client);
  void runAction(const std::string& action, TcpSocket& client, bool isHead);
  void writeResponse(TcpSocket& client, bool isHead, const ActionResult& result,
                     const std::string& daten);
  void writeErrorResponse(TcpSocket& client, bool isHead, const std::string& action,
                          const std::string& status, const std::string& message);
  void writeOptionsResponse(TcpSocket& client);

  // Actions: kv500_actions.cc. Each holds deviceLock from the check of the state to the complete
  // result, but not while the answer is written.
  void runStatusAction(TcpSocket& client, bool isHead) EXCLUDES(deviceLock);
  void runReadAction(TcpSocket& client, bool isHead) EXCLUDES(deviceLock);
  void runCloseAction(TcpSocket& client, bool isHead) EXCLUDES(deviceLock);
  void describeReader(ActionResult& result) REQUIRES(deviceLock);
  bool readCard(std::string& daten) REQUIRES(deviceLock);

  // Card connection: kv500_connection.cc.
  /// Updates `readerPresent` and `cardConnected`; each call is one step of the state machine.
  void updateCardState() REQUIRES(deviceLock);
  void checkConnection() REQUIRES(deviceLock);
  void openConnection() REQUIRES(deviceLock);
  /// Ends the card connection, and gives up the reader too unless it is to be kept.
  void closeCard(bool keepReader) REQUIRES(deviceLock);
  /// The same without a call to PC/SC, for a connection that does not exist.
  void dropCard(bool keepReader) REQUIRES(deviceLock);
  /// The channel for one sequence of commands to the card. The card connection is open.
  PcscChannel cardChannel() REQUIRES(deviceLock);

  // USB: kv500_usb.cc.
  /// True if exactly one known USB device is plugged in. `serialNumber` is then its serial number.
  bool detectUsbDevice() REQUIRES(deviceLock);

  // Card watcher: kv500_watcher.cc.
  void cardCheckLoop();
  void pollCard(std::uint32_t& absentPolls) EXCLUDES(deviceLock);
  void announceCard() REQUIRES(deviceLock);
  bool startBrowser(const std::string& cardId);

  bool cardConnected GUARDED_BY(deviceLock) = false;
  std::string readerName GUARDED_BY(deviceLock);
  std::string serialNumber GUARDED_BY(deviceLock);
  Thread cardCheckThread;
  std::atomic<bool> stopRequested = false;
  RequestLog requestLog;
};

}  // namespace kv500

#endif
