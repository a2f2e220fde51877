#include "frontend/tcp_socket.h"

#include "tests/client.h"
#include "tests/world_test.h"

namespace kv500 {
namespace {

class TcpSocketTest : public WorldTest {
 protected:
  TcpSocketTest() { EXPECT_TRUE(listener.bindAndListen(port, loopback)); }

  /// The result of `receive` for a client that sends these bytes at once.
  std::string received(const std::string& sent) {
    const Client client(port);
    client.send(sent);
    client.finish();
    TcpSocket accepted;
    EXPECT_TRUE(listener.acceptPending(accepted));
    std::string text = "replaced";
    EXPECT_TRUE(accepted.receive(text));
    return text;
  }

  const std::uint32_t loopback = platform::inet_addr("127.0.0.1");
  const std::uint16_t port = freePort();
  TcpSocket listener;
};

TEST_F(TcpSocketTest, OneReadIsCutAtTheZeroByteAndAtItsLimit) {
  EXPECT_EQ(received("GET /"), "GET /");
  EXPECT_EQ(received(std::string("ab\0cd", 5)), "ab");
  EXPECT_EQ(received(""), "");
  const std::string large = denseText(5000);
  EXPECT_EQ(received(large), large.substr(0, 4096));
}

TEST_F(TcpSocketTest, OnlyTheFirstPieceIsRead) {
  const Client client(port);
  client.send("first");
  TcpSocket accepted;
  ASSERT_TRUE(listener.acceptPending(accepted));
  std::string text;
  EXPECT_TRUE(accepted.receive(text));
  client.send("second");
  EXPECT_EQ(text, "first");
}

TEST_F(TcpSocketTest, ALargeAnswerArrivesWhole) {
  const std::string large = denseText(3'000'000);
  const Client client(port);
  TcpSocket accepted;
  ASSERT_TRUE(listener.acceptPending(accepted));
  std::string got;
  std::thread reader([&] { got = client.receiveAll(); });
  EXPECT_TRUE(accepted.send(large));
  accepted.close();
  reader.join();
  EXPECT_EQ(got, large);
}

TEST_F(TcpSocketTest, APeerThatHasGoneIsAFailureAndNoSignal) {
  TcpSocket accepted;
  {
    const Client client(port);
    ASSERT_TRUE(listener.acceptPending(accepted));
  }
  EXPECT_FALSE(eventually([&] { return !accepted.send("x"); }) && accepted.send("x"));
  TcpSocket none;
  std::string text = "cleared";
  EXPECT_FALSE(none.send("x"));
  EXPECT_FALSE(none.receive(text));
  EXPECT_EQ(text, "");
}

TEST_F(TcpSocketTest, HandingOverMovesTheSocket) {
  const Client client(port);
  TcpSocket accepted;
  TcpSocket taker;
  ASSERT_TRUE(listener.acceptPending(accepted));
  accepted.handOver(taker);
  EXPECT_FALSE(accepted.hasSocket());
  accepted.close();
  EXPECT_TRUE(taker.send("still open"));
  taker.close();
  EXPECT_EQ(client.receiveAll(), "still open");
}

TEST(SocketLibrary, StartsWithTheFirstSocketAndEndsWithTheLast) {
  simulated::resetWorld();
  for (unsigned round = 1; round <= 2; ++round) {
    {
      TcpSocket first;
      std::vector<std::thread> users;
      for (int i = 0; i < 8; ++i) {
        users.emplace_back([] { TcpSocket(); });
      }
      for (std::thread& user : users) {
        user.join();
      }
    }
    EXPECT_EQ(world().faults.calls("WSAStartup"), round);
    EXPECT_EQ(world().faults.calls("WSACleanup"), round);
  }
}

}  // namespace
}  // namespace kv500
