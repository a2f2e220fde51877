#include "frontend/server.h"

#include <atomic>

#include "device/device.h"
#include "support/log.h"
#include "tests/client.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

/// Answers each request with its own text. "throw" fails; "hold" is answered only after its
/// release.
class EchoDevice : public Device {
 public:
  EchoDevice() : Device("Echo", nullptr) {}
  std::uint32_t listenAddress() override { return platform::inet_addr("127.0.0.1"); }
  std::uint16_t listenPort() override { return port; }
  void attachReader(const std::string&) override {}
  void detachReader() override {}
  void handleConnection(TcpSocket& client) override {
    std::string text;
    if (!client.receive(text)) {
      return;
    }
    if (text == "throw") {
      throw 1;
    }
    if (text == "hold") {
      ++held;
      eventually([this] { return released.load(); });
    }
    client.send(text);
  }
  const std::uint16_t port = freePort();
  std::atomic<unsigned> held = 0;
  std::atomic<bool> released = false;
};

class ServerTest : public WorldTest {
 protected:
  std::string echo(const std::string& text) {
    const Client client(device.port);
    client.send(text);
    return client.receiveAll();
  }
  static std::string failureOf(Device& device) {
    try {
      Server{&device};
    } catch (const std::string& text) {
      return text;
    }
    return "none";
  }
  /// Clients that each occupy a worker until the device is released.
  std::vector<std::unique_ptr<Client>> hold(unsigned count) {
    std::vector<std::unique_ptr<Client>> clients;
    for (unsigned i = 0; i < count; ++i) {
      clients.push_back(std::make_unique<Client>(device.port));
      clients.back()->send("hold");
    }
    EXPECT_TRUE(eventually([&] { return device.held >= count; }));
    return clients;
  }
  EchoDevice device;
};

TEST_F(ServerTest, RequestsThatFollowEachOtherShareOneWorker) {
  Server server(&device);
  for (int i = 0; i < 10; ++i) {
    const bool fails = i % 2 == 0;  // One connection's failure does not affect others.
    EXPECT_EQ(echo(fails ? "throw" : "hello"), fails ? "" : "hello");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(server.workerCount(), 1u);
}

TEST_F(ServerTest, TheNinthConnectionIsClosedAtOnce) {
  Server server(&device);
  const auto clients = hold(8);
  EXPECT_EQ(echo("ninth"), "");
  device.released = true;
  for (const auto& client : clients) {
    EXPECT_EQ(client->receiveAll(), "hold");
  }
  EXPECT_EQ(echo("later"), "later");
  EXPECT_EQ(server.workerCount(), 8u);
}

TEST_F(ServerTest, AWorkerIsFreeBeforeItsClientSeesTheEnd) {
  Server server(&device);
  const auto clients = hold(7);
  world().faults.hold("closesocket");
  EXPECT_EQ(echo("first"), "first");
  // The eighth worker gets its next connection while it is still closing the last one.
  const unsigned accepted = world().faults.calls("accept");
  const Client next(device.port);
  next.send("next");
  EXPECT_TRUE(eventually([&] { return world().faults.calls("accept") > accepted; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  world().faults.letGo("closesocket");
  EXPECT_EQ(next.receiveAll(), "next");
  device.released = true;
}

TEST_F(ServerTest, InACrowdTheLastWorkerIsForThoseWhoAskAtOnce) {
  Server server(&device);
  const auto clients = hold(7);
  const auto begin = std::chrono::steady_clock::now();
  const Client silent(device.port);
  EXPECT_TRUE(eventually([&] { return server.workerCount() == 8; }));
  EXPECT_TRUE(eventually([&] { return echo("hello") == "hello"; }));
  const auto elapsed = std::chrono::steady_clock::now() - begin;
  EXPECT_GT(elapsed, std::chrono::seconds(2)) << "so long a client may keep silent";
  EXPECT_LT(elapsed, std::chrono::seconds(7));
  EXPECT_EQ(silent.receiveAll(), "");
  const Client another(device.port);
  EXPECT_EQ(echo("hello"), "hello");
  // The crowd is forgotten, though others keep coming.
  for (int i = 0; i < 130; ++i) {
    echo("hello");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  const Client slow(device.port);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  slow.send("slow");
  EXPECT_EQ(slow.receiveAll(), "slow");
  device.released = true;
}

TEST_F(ServerTest, IsReachedOnItsOwnAddressOnly) {
  const Server server(&device);
  EXPECT_TRUE(Client(device.port).isConnected());
  EXPECT_FALSE(Client(device.port, "127.0.0.2").isConnected());
}

TEST_F(ServerTest, StopWaitsForTheConnectionInHand) {
  auto server = std::make_unique<Server>(&device);
  EXPECT_EQ(echo("makes an idle worker"), "makes an idle worker");
  const auto clients = hold(1);
  std::atomic<bool> hasStopped = false;
  std::thread stopper([&] {
    server.reset();
    hasStopped = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_FALSE(hasStopped);
  device.released = true;
  EXPECT_EQ(clients[0]->receiveAll(), "hold");
  stopper.join();
  EXPECT_FALSE(Client(device.port).isConnected());
}

TEST_F(ServerTest, TriesTenTimesToOpenThePort) {
  TcpSocket other;
  ASSERT_TRUE(other.bindAndListen(device.port, device.listenAddress()));
  const unsigned before = world().faults.calls("bind");
  EXPECT_EQ(failureOf(device), "Could not open port");
  EXPECT_EQ(world().faults.calls("bind") - before, 10u);
  other.close();
  world().faults.fail("bind", Faults::Plan{.times = 9});
  EXPECT_EQ(failureOf(device), "none") << "the tenth try succeeds";
}

TEST_F(ServerTest, AFailedConstructionLeavesNothingOpen) {
  const struct {
    const char* operation;
    unsigned skip;
    std::string text;
  } rows[] = {
      {"CreateEventA", 0, "Could not create event"},
      {"CreateEventA", 1, "Could not create event"},
      {"CreateThread", 0, "Could not start server main thread!"},
  };
  for (const auto& row : rows) {
    world().faults.fail(row.operation, Faults::Plan{.skip = row.skip});
    EXPECT_EQ(failureOf(device), row.text);
    EXPECT_FALSE(Client(device.port).isConnected());
  }
}

}  // namespace
}  // namespace kv500
