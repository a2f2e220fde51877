#include "device/pcsc_channel.h"

#include <future>

#include "tests/world_test.h"

namespace kv500 {
namespace {

/// A connection to a card that answers "00 00 00 00" with 61 62 90 00.
class PcscChannelTest : public WorldTest {
 protected:
  PcscChannelTest() {
    world().readers.plug();
    world().readers.insert(healthCard("<V/>", "<P/>", "00000000 61629000"));
    platform::SCardEstablishContext(2, context);
    EXPECT_EQ(platform::SCardConnectA(context, "brenvolt GmbH KV500 0", 2, 3, card, protocol), 0u);
  }
  ~PcscChannelTest() override {
    EXPECT_EQ(platform::SCardDisconnect(card, platform::SCARD_LEAVE_CARD), 0u);
    EXPECT_EQ(platform::SCardReleaseContext(context), 0u);
  }
  platform::SCARDCONTEXT context = 0;
  platform::SCARDHANDLE card = 0;
  std::uint32_t protocol = 0;
  Lock serviceLock;
};

TEST_F(PcscChannelTest, TheProtocolChoosesItsControlRecord) {
  const struct {
    std::uint32_t active, sent;
  } rows[] = {{1, 1}, {2, 2}, {0, 0x10000}, {3, 0x10000}, {0x10000, 0x10000}};
  for (const auto& row : rows) {
    world().readers.setProtocol(row.sent);  // Another one than the card's is refused.
    ByteVector response{1, 2, 3};
    EXPECT_TRUE(PcscChannel(card, row.active, serviceLock).transmitApdu({0, 0, 0, 0}, response));
    EXPECT_EQ(response, (ByteVector{0x61, 0x62, 0x90, 0x00}));
    EXPECT_EQ(world().readers.lastProtocol(), row.sent);
  }
}

TEST_F(PcscChannelTest, AFailureLeavesTheOutputAsItWas) {
  PcscChannel channel(card, protocol, serviceLock);
  ByteVector output{9};
  EXPECT_FALSE(channel.transmitApdu(ByteVector(5802), output));
  EXPECT_EQ(world().faults.calls("SCardTransmit"), 0u) << "too long to be sent";
  world().faults.fail("SCardTransmit");
  EXPECT_FALSE(channel.transmitApdu({0, 0, 0, 0}, output));
  // A first call that gives a length of 0; the second call gives the true length.
  world().faults.fail("SCardGetAttrib", Faults::Plan{.code = platform::SCARD_S_SUCCESS});
  EXPECT_FALSE(channel.readAtr(output));
  for (unsigned call = 0; call < 2; ++call) {
    world().faults.fail("SCardGetAttrib", Faults::Plan{.skip = call});
    EXPECT_FALSE(channel.readAtr(output));
  }
  EXPECT_EQ(output, ByteVector{9});
  EXPECT_TRUE(channel.readAtr(output));
  EXPECT_EQ(output, ByteVector(33, 0x3B));
  EXPECT_TRUE(channel.transmitApdu(ByteVector(5801), output)) << "the longest command";
  std::string trace;
  world().readers.setTrace([&trace](const auto& command, const auto& response) {
    trace += std::to_string(command.size()) + (response ? " answered" : " failed");
  });
  world().readers.remove();
  EXPECT_FALSE(channel.transmitApdu({0, 0, 0, 0}, output));
  EXPECT_EQ(trace, "4 failed") << "what comes after the card stands in the trace, too";
}

TEST_F(PcscChannelTest, TheAtrIsReadWithServiceLockHeld) {
  world().faults.hold("SCardGetAttrib");
  auto reading = std::async(std::launch::async, [this] {
    ByteVector atr;
    return PcscChannel(card, protocol, serviceLock).readAtr(atr);
  });
  EXPECT_TRUE(eventually([] { return world().faults.calls("SCardGetAttrib") == 1; }));
  auto other = std::async(std::launch::async, [this] { const ScopedLock guard(serviceLock); });
  EXPECT_EQ(other.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  world().faults.letGo("SCardGetAttrib");
  EXPECT_TRUE(reading.get());
  other.get();
}

TEST_F(PcscChannelTest, IsATransactionFromItsBeginningToItsEnd) {
  auto& readers = world().readers;
  ByteVector output;
  std::thread other;
  std::atomic<bool> reset = false;
  {
    PcscChannel channel(card, protocol, serviceLock);
    EXPECT_EQ(readers.openTransactions(), 1u);
    other = std::thread([&] {
      readers.otherReset();
      reset = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(channel.transmitApdu({0, 0, 0, 0}, output));
    EXPECT_FALSE(reset) << "others wait";
    world().faults.fail("SCardTransmit");
    EXPECT_FALSE(channel.transmitApdu({0, 0, 0, 0}, output));
  }
  EXPECT_EQ(readers.openTransactions(), 0u);
  other.join();
  EXPECT_TRUE(readers.wasReset(card));
  world().faults.fail("SCardBeginTransaction");
  {
    PcscChannel without(card, protocol, serviceLock);
    EXPECT_FALSE(without.transmitApdu({0, 0, 0, 0}, output) || without.readAtr(output));
  }
  EXPECT_EQ(world().faults.calls("SCardEndTransaction"), 1u) << "none that was not begun";
  EXPECT_TRUE(PcscChannel(card, protocol, serviceLock).transmitApdu({0, 0, 0, 0}, output))
      << "the reset is taken note of";
}

}  // namespace
}  // namespace kv500
