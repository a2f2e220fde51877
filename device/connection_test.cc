#include "tests/device_test.h"

namespace kv500 {
namespace {

using namespace platform;

/// Changes the world, or makes a call fail, before the test asks for the state.
struct Step {
  std::string what;  ///< The call that fails next with `code`, or an event; see `run`.
  std::uint32_t code;
  std::string state;  ///< The state after one step of the state machine.
};

class ConnectionTest : public DeviceTest {
 protected:
  void run(const Step& step) {
    auto& readers = world().readers;
    if (step.what == "insert") {
      readers.insert(healthCard(vdXml, pdXml("A")));
    } else if (step.what == "remove") {
      readers.remove();
    } else if (step.what == "unplug") {
      readers.unplug();
    } else if (step.what == "attach") {
      device->attachReader("brenvolt GmbH KV500 0");
    } else if (step.what == "detach") {
      device->detachReader();
    } else if (step.what == "close") {
      ask("close");
    } else if (step.what == "hold") {
      readers.holdExclusively(step.code != 0);
    } else if (step.what == "protocol") {
      readers.setProtocol(step.code);
    } else if (step.what == "reset") {
      EXPECT_FALSE(readers.otherReset());
    } else if (step.what == "state") {
      readers.setCardState(step.code);
    } else if (step.what != "") {
      world().faults.fail(step.what, Faults::Plan{.code = step.code});
    }
    EXPECT_EQ(state(), step.state) << step.what;
  }
};

TEST_F(ConnectionTest, EveryWayThroughTheStates) {
  const std::vector<Step> walks[] = {
      {{"", 0, "reader"}, {"insert", 0, "card"}, {"", 0, "card"}, {"close", 0, "card"}},
      {{"insert", 0, "card"}, {"remove", 0, "reader"}, {"", 0, "reader"}},
      {{"insert", 0, "card"}, {"state", SCARD_ABSENT, "reader"}, {"state", 2, "card"}},
      {{"insert", 0, "card"}, {"SCardStatusA", SCARD_W_REMOVED_CARD, "reader"}, {"", 0, "card"}},
      {{"insert", 0, "card"}, {"SCardStatusA", SCARD_E_INVALID_HANDLE, "none"}, {"", 0, "none"}},
      {{"insert", 0, "card"}, {"SCardStatusA", SCARD_W_RESET_CARD, "none"}},
      {{"insert", 0, "card"}, {"reset", 0, "card"}, {"reset", 0, "card"}, {"close", 0, "card"}},
      {{"SCardConnectA", SCARD_W_REMOVED_CARD, "reader"}, {"insert", 0, "card"}},
      {{"SCardConnectA", 0x1F, "none"}, {"attach", 0, "reader"}},
      {{"hold", 1, "reader"},
       {"insert", 0, "none"},
       {"attach", 0, "none"},
       {"hold", 0, "none"},
       {"attach", 0, "card"}},
      {{"protocol", SCARD_PROTOCOL_T0, "reader"}, {"insert", 0, "card"}},
      {{"insert", 0, "card"}, {"unplug", 0, "none"}, {"attach", 0, "none"}},
      {{"unplug", 0, "none"}},
      {{"insert", 0, "card"}, {"detach", 0, "none"}, {"attach", 0, "card"}, {"attach", 0, "card"}},
  };
  for (const auto& walk : walks) {
    newWorld();
    makeDevice();
    attachReader();
    for (const Step& step : walk) {
      run(step);
    }
    device->detachReader();
    EXPECT_EQ(world().readers.openConnections(), 0u);
  }
}

TEST_F(ConnectionTest, OnlyAFailureToConnectIsLogged) {
  makeDevice();
  attachReader();
  const std::string text = "Could not connect to card \"brenvolt GmbH KV500 0\": Error 0x";
  run({"", 0, "reader"});
  run({"SCardConnectA", 0x1F, "none"});
  device->attachReader("brenvolt GmbH KV500 0");
  run({"SCardConnectA", 0x8010000B, "none"});
  EXPECT_EQ(logTexts(), "### Service started! ###\n" + text + "1f\n" + text + "8010000b\n");
}

TEST_F(ConnectionTest, WithoutAReaderPcscIsNotAsked) {
  makeDevice();
  for (const char* action : {"status", "read", "close"}) {
    ask(action);
  }
  EXPECT_EQ(world().faults.calls("SCardConnectA") + world().faults.calls("SCardStatusA"), 0u);
}

TEST_F(ConnectionTest, ExactlyOneKnownUsbDeviceMakesAReaderUsable) {
  const std::u16string primary = u"\\\\?\\usb#vid_2406&pid_5003#";
  const std::u16string secondary = u"\\\\?\\usb#vid_2406&pid_5004#";
  const struct {
    std::vector<std::u16string> paths;
    std::string serialNumber;  ///< "-": no reader.
  } rows[] = {
      {{}, "-"},
      {{primary + u"S1#{class}"}, "S1"},
      {{secondary + u"S2#{class}", u"usb#vid_2406&pid_5005#S3#{class}"}, "S2"},
      {{primary + u"S1#{class}", primary + u"S2#{class}"}, "-"},
      {{primary + u"S1#{class}", secondary + u"S2#{class}"}, "-"},
      {{u"usb#vid_2406&pid_5003"}, "-"},
      {{u"usb#vid_2406&pid_5003", primary + u"S1"}, "S1"},
      {{u"usb#VID_2406&PID_5003#S1#{class}"}, "-"},
      {{u"vid_2406&pid_5004#vid_2406&pid_5003#S1#{class}"}, "S1"},
      {{primary + u"#{class}"}, ""},
      {{primary + u"S\x0131\x20AC#{class}"}, "S1\xAC"},
  };
  for (const auto& row : rows) {
    newWorld();
    makeDevice();
    world().readers.addReader("brenvolt GmbH KV500 x");
    establishContext();
    for (const auto& path : row.paths) {
      world().readers.addUsbDevice(path);
    }
    device->attachReader("brenvolt GmbH KV500 x");
    const std::string answer = ask("status");
    if (row.serialNumber == "-") {
      EXPECT_NE(answer.find("USB_device_not_found"), std::string::npos) << answer;
    } else {
      EXPECT_NE(answer.find("\"SerialNumber\": \"" + row.serialNumber + "\""), std::string::npos)
          << answer;
    }
  }
}

}  // namespace
}  // namespace kv500
