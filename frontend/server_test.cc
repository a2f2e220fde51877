#include "frontend/server.h"

#include "device/device.h"
#include "support/log.h"
#include "tests/client.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

/// Answers each request with its own text, and fails at the text "throw".
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
    client.send(text);
  }
  const std::uint16_t port = freePort();
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
  EchoDevice device;
};

TEST_F(ServerTest, RequestsThatFollowEachOtherShareOneWorker) {
  Server server(&device);
  for (int i = 0; i < 10; ++i) {
    const bool fails = i % 2 == 0;  // One connection's failure is no other's.
    EXPECT_EQ(echo(fails ? "throw" : "hello"), fails ? "" : "hello");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(server.workerCount(), 1u);
}

TEST_F(ServerTest, TheNinthConnectionIsClosedAtOnce) {
  Server server(&device);
  std::vector<std::unique_ptr<Client>> silent;
  for (std::size_t i = 1; i <= 8; ++i) {
    silent.push_back(std::make_unique<Client>(device.port));
    EXPECT_TRUE(eventually([&] { return server.workerCount() == i; }));
  }
  EXPECT_EQ(echo("ninth"), "");
  silent[3]->send("fourth");
  EXPECT_EQ(silent[3]->receiveAll(), "fourth");
  EXPECT_TRUE(eventually([&] { return echo("later") == "later"; }));
  EXPECT_EQ(server.workerCount(), 8u);
  for (const auto& client : silent) {
    client->finish();
  }
}

TEST_F(ServerTest, AWorkerThatCannotStartCostsOneConnection) {
  Server server(&device);
  world().faults.fail("CreateThread");
  EXPECT_EQ(echo("turned away"), "");
  EXPECT_EQ(server.workerCount(), 0u);
  EXPECT_EQ(echo("served"), "served");
}

TEST_F(ServerTest, AThreadThatHasEndedLeavesThePool) {
  Server server(&device);
  world().faults.fail("WaitForSingleObject", Faults::Plan{.detail = platform::INFINITE});
  EXPECT_EQ(echo("its worker ends"), "");
  EXPECT_TRUE(eventually([&] { return server.workerCount() == 0; }));
  EXPECT_EQ(echo("served"), "served");
}

TEST_F(ServerTest, StopWaitsForTheConnectionInHand) {
  auto server = std::make_unique<Server>(&device);
  EXPECT_EQ(echo("makes an idle worker"), "makes an idle worker");
  const Client client(device.port);
  EXPECT_TRUE(eventually([&] { return server->workerCount() >= 1; }));
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::thread stopper([&] { server.reset(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  client.send("last");
  EXPECT_EQ(client.receiveAll(), "last");
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

TEST_F(ServerTest, AFailureOfTheListenerEndsTheProcess) {
  const struct {
    const char* operation;
    Faults::Plan plan;
    std::string text;
  } rows[] = {
      {"select", {.detail = 50'000}, "Could not check if connection request is pending"},
      {"WaitForSingleObject", {.detail = 0}, "Could not check event"},
      {"CreateEventA", {}, "Could not create event"},
      {"SetEvent", {}, "Could not set event"},
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const auto& row : rows) {
    const auto run = [&] {
      openLog();
      printLogAtExit();
      Server server(&device);
      world().faults.fail(row.operation, row.plan);
      echo("never answered");
      std::this_thread::sleep_for(std::chrono::seconds(10));
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(1), row.text);
  }
}

}  // namespace
}  // namespace kv500
