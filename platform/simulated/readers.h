// Simulated readers, cards and smart-card service.
#ifndef KV500_PLATFORM_SIMULATED_READERS_H
#define KV500_PLATFORM_SIMULATED_READERS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/inspection.h"
#include "platform/simulated/card.h"
#include "platform/simulated/mutex.h"
#include "platform/simulated/virtual_time.h"
#include "platform/smartcard.h"

namespace simulated {

/// A model of the card side of the machine: what a person does with readers and cards, and what
/// PC/SC and the USB bus then report. All operations may be called from any thread.
class Readers {
 public:
  /// Why a person's request makes no sense; none if it was carried out.
  using Refusal = std::optional<std::string>;

  /// Called for each exchange with the command, and with the response or none if the exchange
  /// failed.
  using Trace = std::function<void(const Bytes& command, const std::optional<Bytes>& response)>;

  // What a person does.

  /// Plugs in one more reader, on PC/SC and on the USB bus. It gets the lowest free number.
  void plug();
  /// Takes the newest reader away, together with a card in it.
  Refusal unplug();
  /// Puts a card into the first reader.
  Refusal insert(const Card& card);
  Refusal remove();
  void stopService();
  Refusal startService();
  /// Stops the service for good.
  void breakService();
  /// Whether the USB bus shows the readers that PC/SC lists.
  void showUsb(bool shown);

  // What another program does with the card in the first reader. The other program waits while the
  // system has a transaction; the system waits while the other program has one.

  /// Begins a transaction. It lasts until `otherUnlock` or until the card or the service goes.
  Refusal otherLock();
  void otherUnlock();
  /// Resets the card. Every other connection must acknowledge that.
  Refusal otherReset();
  /// Connects exclusively to this card and those that come later, so the system can't connect.
  /// Refused while a connection is open.
  Refusal holdExclusively(bool held);

  // How the world behaves.

  /// A reader on PC/SC only, and a device on the USB bus only.
  void addReader(const std::string& name);
  void addUsbDevice(const std::u16string& path);
  void setApduTime(std::chrono::milliseconds time);
  void setTrace(Trace trace);
  /// From now on `status` and `beginTransaction` report a reset by another program until
  /// `reconnect`, as Windows does. Unless this is called, they acknowledge it, as the seam does.
  void reportResets();
  /// The protocol of every card; SCARD_PROTOCOL_T1 unless set.
  void setProtocol(std::uint32_t protocol);
  /// What SCardStatusA reports for a card that is there; SCARD_SPECIFIC unless set.
  void setCardState(std::uint32_t state);
  std::size_t openConnections() const;
  /// The number of transactions of the system that have not been ended.
  std::size_t openTransactions() const;
  /// Whether another program has reset the card of a connection and the connection has not
  /// acknowledged it.
  bool wasReset(platform::SCARDHANDLE connection) const;
  bool isServiceRunning() const;
  /// The protocol that the last transmission named.
  std::uint32_t lastProtocol() const;

  // What the platform answers.

  std::uint32_t establishContext(platform::SCARDCONTEXT& context);
  std::uint32_t releaseContext(platform::SCARDCONTEXT context);
  std::uint32_t listReaders(platform::SCARDCONTEXT context, std::string& list) const;
  std::uint32_t look(platform::SCARDCONTEXT context, const std::string& name,
                     platform::ReaderFacts& facts) const;
  std::uint32_t connect(platform::SCARDCONTEXT context, const std::string& name,
                        std::uint32_t preferredProtocols, platform::SCARDHANDLE& connection,
                        std::uint32_t& protocol);
  std::uint32_t disconnect(platform::SCARDHANDLE connection);
  /// Acknowledges a reset by another program.
  std::uint32_t reconnect(platform::SCARDHANDLE connection, std::uint32_t& protocol);
  std::uint32_t status(platform::SCARDHANDLE connection, std::uint32_t& state,
                       std::uint32_t& protocol, Bytes& atr);
  std::uint32_t atr(platform::SCARDHANDLE connection, Bytes& atr);
  std::uint32_t beginTransaction(platform::SCARDHANDLE connection);
  std::uint32_t endTransaction(platform::SCARDHANDLE connection);
  std::uint32_t transmit(platform::SCARDHANDLE connection, std::uint32_t protocol,
                         const Bytes& command, Bytes& response);
  std::vector<std::u16string> usbPaths() const;

 private:
  /// A card in a reader. Taking the card out ends it; inserting the card again makes a new one.
  struct InsertedCard {
    explicit InsertedCard(const Card& inserted) : card(inserted) {}
    platform::CriticalSection exchange;  ///< One command at a time.
    Card card;
    platform::SCARDHANDLE holder = 0;  ///< The connection with a transaction; 0: none.
  };
  struct Reader {
    std::string name;
    std::u16string usbPath;  ///< Empty if not on the USB bus.
    unsigned number;
    std::shared_ptr<InsertedCard> card;
  };
  struct Connection {
    platform::SCARDCONTEXT context;
    std::weak_ptr<Reader> reader;
    std::shared_ptr<InsertedCard> card;
    bool wasReset = false;  ///< Another program has reset it, not acknowledged yet.
  };
  using Guard = std::unique_lock<Mutex>;
  /// Stands for the connection of another program.
  static constexpr platform::SCARDHANDLE otherProgram = ~platform::SCARDHANDLE{0};
  enum class Service { Running, Stopped, Broken };

  void endConnections();
  void forget(platform::SCARDHANDLE connection);
  /// Waits without limit until no other connection has a transaction on the card. Gives the result
  /// code that then applies to the connection.
  std::uint32_t awaitTurn(Guard& guard, platform::SCARDHANDLE connection,
                          std::shared_ptr<InsertedCard>& card);
  /// The same; then acknowledges a reset by another program, or reports it.
  std::uint32_t awaitTurnPastReset(Guard& guard, platform::SCARDHANDLE connection,
                                   std::shared_ptr<InsertedCard>& card);
  /// The same as `awaitTurn` for another program and the card in the first reader. None if there is
  /// no card.
  std::shared_ptr<InsertedCard> awaitOthersTurn(Guard& guard);
  std::shared_ptr<Reader> findReader(const std::string& name) const;
  std::uint32_t checkContext(platform::SCARDCONTEXT context) const;
  std::uint32_t checkConnection(platform::SCARDHANDLE connection,
                                std::shared_ptr<InsertedCard>& card) const;
  Exchange exchange(platform::SCARDHANDLE connection, InsertedCard& card, const Bytes& command);

  mutable Mutex mutex_;  ///< Guards all of the following; never held during an exchange.
  Condition changed_;    ///< A transaction, a card, a reader or the service has ended.
  Service service_ = Service::Running;
  bool usbShown_ = true;
  bool heldExclusively_ = false;
  bool resetsAreReported_ = false;
  std::chrono::milliseconds apduTime_{0};
  std::uint32_t protocol_ = platform::SCARD_PROTOCOL_T1;
  std::uint32_t cardState_ = platform::SCARD_SPECIFIC;
  std::uint32_t lastProtocol_ = 0;
  Trace trace_;
  std::vector<std::shared_ptr<Reader>> readers_;  ///< Oldest first.
  std::vector<std::u16string> usbDevices_;
  std::map<platform::SCARDCONTEXT, bool> contexts_;  ///< Whether the service has run ever since.
  std::map<platform::SCARDHANDLE, Connection> connections_;
};

}  // namespace simulated

#endif
