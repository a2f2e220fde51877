// A KV500 in a simulated world, asked over a real connection.
#ifndef KV500_TESTS_DEVICE_TEST_H
#define KV500_TESTS_DEVICE_TEST_H

#include <memory>
#include <string>

#include "device/kv500.h"
#include "device/pcsc_service.h"
#include "frontend/tcp_socket.h"
#include "support/log.h"
#include "tests/client.h"
#include "tests/world_test.h"

namespace kv500 {

class DeviceTest : public WorldTest {
 protected:
  DeviceTest() { EXPECT_TRUE(listener.bindAndListen(port, platform::inet_addr("127.0.0.1"))); }

  ~DeviceTest() override {
    if (device) {
      device->detachReader();
      device.reset();
    }
    platform::SCardReleaseContext(service.context);
  }

  void newWorld() {
    device.reset();
    WorldTest::newWorld();
  }

  /// Makes the device with these settings. Unless told otherwise it has no watcher, so that only
  /// the test talks to the card.
  void makeDevice(const std::string& config = "", bool withWatcher = false) {
    openLog();
    world().onTold = [](std::string_view) {};  // The absence of the watcher.
    if (!config.empty()) {
      writeFile("config.txt", config);
    }
    if (!withWatcher) {
      world().faults.fail("CreateThread");
    }
    device = std::make_unique<KV500>(&service);
    service.device = device.get();
    service.name = device->name();
  }

  /// Plugs in a reader and attaches it as the PC/SC thread would.
  void attachReader() {
    world().readers.plug();
    establishContext();
    device->attachReader("brenvolt GmbH KV500 0");
  }
  void establishContext() {
    const ScopedLock guard(service.serviceLock);
    platform::SCardEstablishContext(platform::SCARD_SCOPE_SYSTEM, service.context);
  }

  /// What the device answers to a request: everything that it sends.
  std::string answerTo(const std::string& request) {
    const Client client(port);
    client.send(request);
    TcpSocket accepted;
    EXPECT_TRUE(listener.acceptPending(accepted));
    device->handleConnection(accepted);
    accepted.close();
    return client.receiveAll();
  }

  /// The body of the answer to an action in one line.
  std::string ask(const std::string& action) {
    std::string answer = answerTo("GET /?action=" + action + " HTTP/1.1\r\n\r\n");
    answer.erase(0, answer.find("\r\n\r\n") + 4);
    std::erase(answer, '\n');
    return answer;
  }

  /// The state of reader and card in one word, after one step of the state machine.
  std::string state() {
    const std::string answer = ask("status");
    const auto says = [&answer](const char* word) { return answer.find(word) != answer.npos; };
    return says("OK_Card_Presence") ? "card" : says("NO_Card_found") ? "reader" : "none";
  }

  const std::uint16_t port = freePort();
  TcpSocket listener;
  const Event stopEvent{Event::Reset::Manual};
  PcscService service{stopEvent};
  std::unique_ptr<KV500> device;
};

}  // namespace kv500

#endif
