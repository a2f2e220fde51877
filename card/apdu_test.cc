#include "card/apdu.h"

#include "tests/world_test.h"

namespace kv500 {
namespace {

/// A card that answers "00 00 00 00" with 61 62 90 00 and whose other answers are overridden.
class ApduTest : public WorldTest {
 protected:
  ApduTest() {
    world().readers.plug();
    world().readers.insert(
        healthCard("<V/>", "<P/>", "00000000 61629000\n00000001 6A82\n00000002 61\n"));
    platform::SCARDCONTEXT context = 0;
    platform::SCardEstablishContext(2, context);
    EXPECT_EQ(platform::SCardConnectA(context, "brenvolt GmbH KV500 0", 2, 3, card, protocol), 0u);
  }
  platform::SCARDHANDLE card = 0;
  std::uint32_t protocol = 0;
};

TEST_F(ApduTest, TheProtocolChoosesItsControlRecord) {
  const struct {
    std::uint32_t active, sent;
  } rows[] = {{1, 1}, {2, 2}, {0, 0x10000}, {3, 0x10000}, {0x10000, 0x10000}};
  for (const auto& row : rows) {
    ByteVector response;
    EXPECT_TRUE(transmitApdu(card, row.active, {0, 0, 0, 0}, response));
    EXPECT_EQ(world().readers.lastProtocol(), row.sent);
  }
}

TEST_F(ApduTest, TheStatusWordIsSplitOffAndNotJudged) {
  ByteVector response{1, 2, 3};
  StatusWord status;
  EXPECT_TRUE(exchangeApdu(card, protocol, {0, 0, 0, 0}, response, status));
  EXPECT_EQ(response, (ByteVector{0x61, 0x62}));
  EXPECT_TRUE(exchangeApdu(card, protocol, {0, 0, 0, 1}, response, status));
  EXPECT_EQ(response, ByteVector{});
  EXPECT_EQ(status.sw1 << 8 | status.sw2, 0x6A82);
}

TEST_F(ApduTest, AFailedExchangeLeavesTheOutputsAsTheyWere) {
  ByteVector response{1, 2, 3};
  StatusWord status{4, 5};
  EXPECT_FALSE(exchangeApdu(card, protocol, {0, 0, 0, 2}, response, status)) << "one byte";
  const unsigned before = world().faults.calls("SCardTransmit");
  EXPECT_FALSE(exchangeApdu(card, protocol, ByteVector(5802), response, status));
  EXPECT_EQ(world().faults.calls("SCardTransmit"), before) << "nothing is sent";
  EXPECT_TRUE(transmitApdu(card, protocol, ByteVector(5801), response)) << "the longest command";
  response = {1, 2, 3};
  world().faults.fail("SCardTransmit");
  EXPECT_FALSE(exchangeApdu(card, protocol, {0, 0, 0, 0}, response, status));
  EXPECT_EQ(response, (ByteVector{1, 2, 3}));
  EXPECT_EQ(status.sw1, 4);
  EXPECT_EQ(status.sw2, 5);
}

TEST_F(ApduTest, TheAtrIsReadWholeOrNotAtAll) {
  ByteVector atr{9};
  for (unsigned call = 0; call < 2; ++call) {
    world().faults.fail("SCardGetAttrib", Faults::Plan{.skip = call});
    EXPECT_FALSE(readAtr(card, atr));
    EXPECT_EQ(atr, ByteVector{9});
  }
  EXPECT_TRUE(readAtr(card, atr));
  EXPECT_EQ(atr, (ByteVector{0x3B, 0x00}));
}

}  // namespace
}  // namespace kv500
