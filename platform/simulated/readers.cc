#include "platform/simulated/readers.h"

#include <algorithm>

#include "platform/simulated/ledger.h"

namespace simulated {
namespace {

using Kind = Ledger::Kind;

std::u16string widen(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}

std::u16string usbPathOf(unsigned number) {
  std::string digits = std::to_string(number + 1);
  digits.insert(0, digits.size() < 4 ? 4 - digits.size() : 0, '0');
  return widen("\\\\?\\usb#vid_2406&pid_5003#SIM" + digits +
               "#{a5dcbf10-6530-11d2-901f-00c04fb951ed}");
}

}  // namespace

void Readers::plug() {
  const std::lock_guard guard(mutex_);
  unsigned number = 0;
  const auto hasNumber = [&number](const auto& reader) { return reader->number == number; };
  while (std::any_of(readers_.begin(), readers_.end(), hasNumber)) {
    ++number;  // Bounded: n readers occupy at most n of n + 1 numbers.
  }
  const std::string name = "brenvolt GmbH KV500 " + std::to_string(number);
  readers_.push_back(std::make_shared<Reader>(Reader{name, usbPathOf(number), number, nullptr}));
}

Readers::Refusal Readers::unplug() {
  const std::lock_guard guard(mutex_);
  if (readers_.empty()) {
    return "no reader is plugged in";
  }
  readers_.pop_back();
  changed_.notify_all();
  return std::nullopt;
}

Readers::Refusal Readers::insert(const Card& card) {
  const std::lock_guard guard(mutex_);
  if (readers_.empty()) {
    return "no reader is plugged in";
  }
  if (readers_.front()->card) {
    return "a card is in the reader already";
  }
  readers_.front()->card = std::make_shared<InsertedCard>(card);
  return std::nullopt;
}

Readers::Refusal Readers::remove() {
  const std::lock_guard guard(mutex_);
  if (readers_.empty() || !readers_.front()->card) {
    return "no card is in the reader";
  }
  readers_.front()->card.reset();
  changed_.notify_all();
  return std::nullopt;
}

void Readers::stopService() {
  const std::lock_guard guard(mutex_);
  if (service_ == Service::Running) {
    service_ = Service::Stopped;
    endConnections();
  }
}

Readers::Refusal Readers::startService() {
  const std::lock_guard guard(mutex_);
  if (service_ == Service::Broken) {
    return "the smart-card service is broken and can't be started";
  }
  service_ = Service::Running;
  return std::nullopt;
}

void Readers::breakService() {
  const std::lock_guard guard(mutex_);
  service_ = Service::Broken;
  endConnections();
}

void Readers::showUsb(bool shown) {
  const std::lock_guard guard(mutex_);
  usbShown_ = shown;
}

Readers::Refusal Readers::otherLock() {
  Guard guard(mutex_);
  const auto card = awaitOthersTurn(guard);
  if (!card) {
    return "no card is in the reader";
  }
  card->holder = otherProgram;
  return std::nullopt;
}

void Readers::otherUnlock() {
  const std::lock_guard guard(mutex_);
  for (const auto& reader : readers_) {
    if (reader->card && reader->card->holder == otherProgram) {
      reader->card->holder = 0;
    }
  }
  changed_.notify_all();
}

Readers::Refusal Readers::otherReset() {
  Guard guard(mutex_);
  const auto card = awaitOthersTurn(guard);
  if (!card) {
    return "no card is in the reader";
  }
  const auto holderBefore = card->holder;
  card->holder = otherProgram;
  guard.unlock();
  {
    const std::lock_guard oneAtATime(card->exchange);
    card->card.reset();
  }
  guard.lock();
  for (auto& [handle, connection] : connections_) {
    connection.wasReset = connection.wasReset || connection.card == card;
  }
  card->holder = holderBefore;
  changed_.notify_all();
  return std::nullopt;
}

Readers::Refusal Readers::holdExclusively(bool held) {
  const std::lock_guard guard(mutex_);
  if (held && !heldExclusively_ && !connections_.empty()) {
    return "the card is in use, which shuts an exclusive connection out";
  }
  heldExclusively_ = held;
  return std::nullopt;
}

void Readers::addReader(const std::string& name) {
  const std::lock_guard guard(mutex_);
  constexpr unsigned noNumber = ~0u;
  readers_.push_back(std::make_shared<Reader>(Reader{name, u"", noNumber, nullptr}));
}

void Readers::addUsbDevice(const std::u16string& path) {
  const std::lock_guard guard(mutex_);
  usbDevices_.push_back(path);
}

void Readers::setApduTime(std::chrono::milliseconds time) {
  const std::lock_guard guard(mutex_);
  apduTime_ = time;
}

void Readers::setTrace(Trace trace) {
  const std::lock_guard guard(mutex_);
  trace_ = std::move(trace);
}

void Readers::reportResets() {
  const std::lock_guard guard(mutex_);
  resetsAreReported_ = true;
}

void Readers::setProtocol(std::uint32_t protocol) {
  const std::lock_guard guard(mutex_);
  protocol_ = protocol;
}

void Readers::setCardState(std::uint32_t state) {
  const std::lock_guard guard(mutex_);
  cardState_ = state;
}

std::size_t Readers::openConnections() const {
  const std::lock_guard guard(mutex_);
  return connections_.size();
}

std::size_t Readers::openTransactions() const {
  const std::lock_guard guard(mutex_);
  return static_cast<std::size_t>(
      std::count_if(readers_.begin(), readers_.end(), [](const auto& reader) {
        return reader->card && reader->card->holder != 0 && reader->card->holder != otherProgram;
      }));
}

bool Readers::wasReset(platform::SCARDHANDLE connection) const {
  const std::lock_guard guard(mutex_);
  const auto entry = connections_.find(connection);
  return entry != connections_.end() && entry->second.wasReset;
}

bool Readers::isServiceRunning() const {
  const std::lock_guard guard(mutex_);
  return service_ == Service::Running;
}

std::uint32_t Readers::lastProtocol() const {
  const std::lock_guard guard(mutex_);
  return lastProtocol_;
}

std::uint32_t Readers::establishContext(platform::SCARDCONTEXT& context) {
  const std::lock_guard guard(mutex_);
  if (service_ != Service::Running) {
    return platform::SCARD_E_NO_SERVICE;
  }
  context = ledger().newNumber();
  ledger().give(Kind::Context, context);
  contexts_[context] = true;
  return platform::SCARD_S_SUCCESS;
}

std::uint32_t Readers::releaseContext(platform::SCARDCONTEXT context) {
  const std::lock_guard guard(mutex_);
  if (context != 0) {
    ledger().takeBack("SCardReleaseContext", Kind::Context, context);
  }
  for (auto entry = connections_.begin(); entry != connections_.end();) {
    const auto connection = entry++;
    if (connection->second.context == context) {
      ledger().end(Kind::Connection, connection->first);
      forget(connection->first);
    }
  }
  return contexts_.erase(context) == 1 ? platform::SCARD_S_SUCCESS
                                       : platform::SCARD_E_INVALID_HANDLE;
}

std::uint32_t Readers::listReaders(platform::SCARDCONTEXT context, std::string& list) const {
  const std::lock_guard guard(mutex_);
  const std::uint32_t result = checkContext(context);
  if (result != platform::SCARD_S_SUCCESS) {
    return result;
  }
  if (readers_.empty()) {
    return platform::SCARD_E_NO_READERS_AVAILABLE;
  }
  for (const auto& reader : readers_) {
    list += reader->name + '\0';
  }
  list += '\0';
  return platform::SCARD_S_SUCCESS;
}

std::uint32_t Readers::look(platform::SCARDCONTEXT context, const std::string& name,
                            platform::ReaderFacts& facts) const {
  const std::lock_guard guard(mutex_);
  const std::uint32_t result = checkContext(context);
  if (result != platform::SCARD_S_SUCCESS) {
    return result;
  }
  const auto reader = findReader(name);
  if (!reader) {
    return platform::SCARD_E_UNKNOWN_READER;
  }
  const auto& card = reader->card;
  facts.state = card ? platform::SCARD_STATE_PRESENT : platform::SCARD_STATE_EMPTY;
  if (card) {
    facts.atr = card->card.atr();
  }
  return platform::SCARD_S_SUCCESS;
}

std::uint32_t Readers::connect(platform::SCARDCONTEXT context, const std::string& name,
                               std::uint32_t preferredProtocols, platform::SCARDHANDLE& connection,
                               std::uint32_t& protocol) {
  Guard guard(mutex_);
  std::uint32_t result = platform::SCARD_S_SUCCESS;
  std::shared_ptr<Reader> reader;
  changed_.wait(guard, [&] {  // As long as another connection has a transaction.
    result = checkContext(context);
    reader = findReader(name);
    return result != platform::SCARD_S_SUCCESS || !reader || !reader->card ||
           reader->card->holder == 0;
  });
  if (result != platform::SCARD_S_SUCCESS) {
    return result;
  }
  if (!reader) {
    return platform::SCARD_E_UNKNOWN_READER;
  }
  if (!reader->card) {
    return platform::SCARD_E_NO_SMARTCARD;
  }
  if (heldExclusively_) {
    return platform::SCARD_E_SHARING_VIOLATION;
  }
  if ((preferredProtocols & protocol_) == 0) {
    return platform::SCARD_E_PROTO_MISMATCH;
  }
  connection = ledger().newNumber();
  ledger().give(Kind::Connection, connection);
  protocol = protocol_;
  connections_[connection] = {context, reader, reader->card};
  return platform::SCARD_S_SUCCESS;
}

std::uint32_t Readers::disconnect(platform::SCARDHANDLE connection) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  awaitTurn(guard, connection, card);
  ledger().takeBack("SCardDisconnect", Kind::Connection, connection);
  if (!connections_.contains(connection)) {
    return platform::SCARD_E_INVALID_HANDLE;
  }
  forget(connection);
  return platform::SCARD_S_SUCCESS;
}

std::uint32_t Readers::reconnect(platform::SCARDHANDLE connection, std::uint32_t& protocol) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  const std::uint32_t result = awaitTurn(guard, connection, card);
  if (result == platform::SCARD_S_SUCCESS) {
    connections_[connection].wasReset = false;
    protocol = protocol_;
  }
  return result;
}

std::uint32_t Readers::status(platform::SCARDHANDLE connection, std::uint32_t& state,
                              std::uint32_t& protocol, Bytes& atr) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  const std::uint32_t result = awaitTurnPastReset(guard, connection, card);
  if (result == platform::SCARD_S_SUCCESS) {
    state = cardState_;
    protocol = protocol_;
    atr = card->card.atr();
  }
  return result;
}

std::uint32_t Readers::atr(platform::SCARDHANDLE connection, Bytes& atr) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  const std::uint32_t result = awaitTurn(guard, connection, card);
  if (result == platform::SCARD_S_SUCCESS) {
    atr = card->card.atr();
  }
  return result;
}

std::uint32_t Readers::beginTransaction(platform::SCARDHANDLE connection) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  const std::uint32_t result = awaitTurnPastReset(guard, connection, card);
  if (result == platform::SCARD_S_SUCCESS) {
    card->holder = connection;
    ledger().give(Kind::Transaction, connection);
  }
  return result;
}

std::uint32_t Readers::endTransaction(platform::SCARDHANDLE connection) {
  Guard guard(mutex_);
  std::shared_ptr<InsertedCard> card;
  const std::uint32_t result = awaitTurn(guard, connection, card);
  ledger().takeBack("SCardEndTransaction", Kind::Transaction, connection);
  if (result == platform::SCARD_S_SUCCESS && card->holder != connection) {
    return platform::SCARD_E_NOT_TRANSACTED;
  }
  if (result == platform::SCARD_S_SUCCESS) {
    card->holder = 0;
    changed_.notify_all();
  }
  return result;
}

std::uint32_t Readers::transmit(platform::SCARDHANDLE connection, std::uint32_t protocol,
                                const Bytes& command, Bytes& response) {
  std::shared_ptr<InsertedCard> card;
  {
    Guard guard(mutex_);
    lastProtocol_ = protocol;
    std::uint32_t result = awaitTurn(guard, connection, card);
    if (result == platform::SCARD_S_SUCCESS && connections_[connection].wasReset) {
      result = platform::SCARD_W_RESET_CARD;
    } else if (result == platform::SCARD_S_SUCCESS && protocol != protocol_ &&
               protocol != platform::SCARD_PROTOCOL_RAW) {
      result =
          refuse("SCardTransmit", "not the protocol of the card", platform::SCARD_E_PROTO_MISMATCH);
    }
    if (result != platform::SCARD_S_SUCCESS) {
      if (trace_) {
        trace_(command, std::nullopt);
      }
      return result;
    }
  }
  const std::lock_guard oneAtATime(card->exchange);
  const Exchange exchanged = exchange(connection, *card, command);

  const std::lock_guard guard(mutex_);
  std::uint32_t result = checkConnection(connection, card);
  if (result == platform::SCARD_S_SUCCESS && exchanged.outcome != Exchange::Outcome::Answered) {
    result = platform::SCARD_E_NOT_TRANSACTED;
  }
  const bool answered = result == platform::SCARD_S_SUCCESS;
  if (trace_) {
    trace_(command, answered ? std::optional(exchanged.response) : std::nullopt);
  }
  if (answered) {
    response = exchanged.response;
  }
  return result;
}

/// The exchange itself; takes as long as the card takes.
Exchange Readers::exchange(platform::SCARDHANDLE connection, InsertedCard& card,
                           const Bytes& command) {
  Exchange exchanged = card.card.exchange(command);
  std::chrono::milliseconds time;
  {
    const std::lock_guard guard(mutex_);
    time = apduTime_;
  }
  pass(time + exchanged.delay);
  if (exchanged.outcome == Exchange::Outcome::Removed) {
    const std::lock_guard guard(mutex_);
    const auto entry = connections_.find(connection);
    const auto reader = entry == connections_.end() ? nullptr : entry->second.reader.lock();
    if (reader && reader->card.get() == &card) {
      reader->card.reset();
      changed_.notify_all();
    }
  }
  return exchanged;
}

std::vector<std::u16string> Readers::usbPaths() const {
  const std::lock_guard guard(mutex_);
  std::vector<std::u16string> paths = usbDevices_;
  for (const auto& reader : readers_) {
    if (usbShown_ && !reader->usbPath.empty()) {
      paths.push_back(reader->usbPath);
    }
  }
  return paths;
}

void Readers::endConnections() {
  while (!connections_.empty()) {
    forget(connections_.begin()->first);
  }
  heldExclusively_ = false;
  for (auto& [context, valid] : contexts_) {
    valid = false;
  }
  for (const auto& reader : readers_) {
    if (reader->card) {
      reader->card->holder = 0;
    }
  }
  changed_.notify_all();
}

void Readers::forget(platform::SCARDHANDLE connection) {
  const auto entry = connections_.find(connection);
  if (entry->second.card->holder == connection) {
    entry->second.card->holder = 0;
    ledger().end(Kind::Transaction, connection);
  }
  connections_.erase(entry);
  changed_.notify_all();
}

std::uint32_t Readers::awaitTurn(Guard& guard, platform::SCARDHANDLE connection,
                                 std::shared_ptr<InsertedCard>& card) {
  std::uint32_t result = platform::SCARD_S_SUCCESS;
  changed_.wait(guard, [&] {
    result = checkConnection(connection, card);
    return result != platform::SCARD_S_SUCCESS || card->holder == 0 || card->holder == connection;
  });
  return result;
}

std::uint32_t Readers::awaitTurnPastReset(Guard& guard, platform::SCARDHANDLE connection,
                                          std::shared_ptr<InsertedCard>& card) {
  const std::uint32_t result = awaitTurn(guard, connection, card);
  if (result != platform::SCARD_S_SUCCESS) {
    return result;
  }
  bool& wasReset = connections_[connection].wasReset;
  if (wasReset && resetsAreReported_) {
    return platform::SCARD_W_RESET_CARD;
  }
  wasReset = false;
  return platform::SCARD_S_SUCCESS;
}

std::shared_ptr<Readers::InsertedCard> Readers::awaitOthersTurn(Guard& guard) {
  std::shared_ptr<InsertedCard> card;
  changed_.wait(guard, [&] {
    card = readers_.empty() ? nullptr : readers_.front()->card;
    return !card || card->holder == 0 || card->holder == otherProgram;
  });
  return card;
}

std::shared_ptr<Readers::Reader> Readers::findReader(const std::string& name) const {
  const auto found = std::find_if(readers_.begin(), readers_.end(),
                                  [&name](const auto& reader) { return reader->name == name; });
  return found == readers_.end() ? nullptr : *found;
}

std::uint32_t Readers::checkContext(platform::SCARDCONTEXT context) const {
  if (context != 0) {
    ledger().find("a smart-card call", Kind::Context, context);
  }
  const auto entry = contexts_.find(context);
  if (entry == contexts_.end()) {
    return platform::SCARD_E_INVALID_HANDLE;
  }
  return entry->second ? platform::SCARD_S_SUCCESS : platform::SCARD_E_SERVICE_STOPPED;
}

std::uint32_t Readers::checkConnection(platform::SCARDHANDLE connection,
                                       std::shared_ptr<InsertedCard>& card) const {
  ledger().find("a smart-card call", Kind::Connection, connection);
  if (service_ != Service::Running) {
    return platform::SCARD_E_SERVICE_STOPPED;
  }
  const auto entry = connections_.find(connection);
  if (entry == connections_.end()) {
    return platform::SCARD_E_INVALID_HANDLE;
  }
  const auto reader = entry->second.reader.lock();
  if (!reader) {
    return platform::SCARD_E_READER_UNAVAILABLE;
  }
  if (reader->card != entry->second.card) {
    return platform::SCARD_W_REMOVED_CARD;
  }
  card = reader->card;
  return platform::SCARD_S_SUCCESS;
}

}  // namespace simulated
