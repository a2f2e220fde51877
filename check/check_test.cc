#include <atomic>
#include <cstring>
#include <future>

#include "check/looks.h"
#include "check/output.h"
#include "check/printable.h"
#include "check/program.h"
#include "platform/simulated/ledger.h"
#include "platform/sockets.h"
#include "support/log.h"
#include "tests/client.h"
#include "tests/world_test.h"

namespace check {
namespace {

using kv500::freePort;
using kv500::world;
using platform::Browser;
using platform::ServiceFacts;
using State = ServiceFacts::State;

/// A machine without any problem, except for what a row changes.
class CheckTest : public kv500::WorldTest {
 protected:
  void makeWell() {
    simulated::resetWorld();
    world().programPath = folder / "KV500Service";
    auto& inspection = world().inspection;
    inspection.service.program = world().programPath;
    inspection.listeners = {{false, inspection.service.processId, "KV500Service"}};
    world().readers.plug();
    world().readers.insert(kv500::healthCard("<a/>", "<b/>"));
    std::filesystem::remove_all(folder / "config.txt");
    std::filesystem::remove_all(folder / "log.txt");
    settings = {{}, true, true};
    settings.values.allowOrigin = "https://practice.example";
    writeFile("config.txt", "Port=5724\r\nAllowOrigin=https://practice.example\r\n");
    writeLog({"### Service started! ###"});
  }

  void writeLog(const std::vector<std::string>& texts) const {
    std::string content;
    for (const std::string& text : texts) {
      content += "[" + kv500::logTimestamp() + "] " + text + "\r\n";
    }
    writeFile("log.txt", content);
  }

  Folder here() const { return {folder}; }

  /// The findings of a look, as lines.
  static std::string linesOf(const Findings& findings) {
    return asLines(findings, Language::English);
  }
  Findings settingsFindings() {
    WorkingSettings read;
    return lookAtSettings(here(), askServiceManager(), read);
  }

  WorkingSettings settings;
};

/// A change of the machine, and what the lines must then contain.
struct Row {
  std::function<void()> change;
  std::string level, text;
};

#define EXPECT_FINDING(row, findings)                                                             \
  {                                                                                               \
    const std::string lines = linesOf(findings);                                                  \
    const std::string level = "[" + (row).level + "]";                                            \
    const auto at = lines.find((row).text);                                                       \
    const auto begin = at == std::string::npos ? at : lines.rfind("\n[", at);                     \
    EXPECT_NE(at, std::string::npos) << (row).text << " in\n" << lines;                           \
    EXPECT_EQ(lines.substr(begin == std::string::npos ? 0 : begin + 1).find(level), 0u) << lines; \
  }

TEST_F(CheckTest, ServiceStates) {
  auto facts = [] { return &world().inspection.service; };
  const Row rows[] = {
      {[] {}, "ok", "installed and running (process 4711, as LocalSystem)"},
      {[&] { facts()->state = State::Absent; }, "fail", "not installed"},
      {[&] {
         facts()->state = State::Absent;
         writeFile("kv500-simulator", "");
       },
       "warn", "the folder of a simulator or a trial"},
      {[&] {
         std::filesystem::remove(folder / "kv500-simulator");
         facts()->state = State::Stopped;
         facts()->exitCode = 1067;
       },
       "fail", "stopped (last exit code 1067)"},
      {[&] { facts()->state = State::Unknown; }, "warn", "does not say"},
      {[&] { facts()->state = State::Starting; }, "warn", "being started"},
      {[&] { facts()->state = State::Stopping; }, "warn", "being stopped"},
      {[&] {
         facts()->state = State::Stopped;
         facts()->disabled = true;
       },
       "fail", "disabled"},
      {[&] { facts()->disabled = true; }, "warn", "will not run after the next start"},
      {[&] { facts()->restarts = 7; }, "fail", "again and again: 7 times"},
      {[&] {
         writeLog({3, "### Service started! ###"});
       },
       "fail", "again and again: 3 times"},
      {[&] { facts()->account = "NT AUTHORITY\\LocalService"; }, "warn", "not as LocalSystem"},
      {[&] { facts()->program = "/elsewhere/KV500Service"; }, "warn", "but is /elsewhere"},
  };
  for (const Row& row : rows) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtService(here(), askServiceManager()));
  }
}

TEST_F(CheckTest, SettingsFile) {
  const struct {
    std::string content, level, text;
  } rows[] = {
      {"", "ok", "Port=5724, AllowOrigin=*, AllowHost=, OnlyActiveUser=no, CallBrowser=no"},
      {"AllowHost=A.b, [::1]:80\nOnlyActiveUser=yes\n", "ok",
       "AllowHost=A.b,[::1], OnlyActiveUser"},
      {"AllowHost=a b/c,d\n", "fail", "AllowHost: \"a b/c\" is no host name"},
      {"AllowHost=,\n", "fail", "AllowHost: \",\" is not a valid value; it counts as absent"},
      {"OnlyActiveUser=1\n", "fail", "so that everybody is answered"},
      {"x=1\nURL=" + std::string(2000, 'u') + "\n", "ok", "uuu..., AppendCardId=no"},
      {"CallBrowser=yes\nBrowserCommand=no-such-program\n", "fail",
       "\"no-such-program\" is no program"},
      {"BrowserCommand=no-such-program\n", "warn", "is no program"},
      {std::string("\xFF\xFEP\0o\0", 6), "fail", "UTF-16"},
      {std::string("P\0o\0r\0", 6), "fail", "UTF-16"},
      {"\xEF\xBB\xBFPort=2000\n", "fail", "byte order mark"},
      {"a=1\nPort\n", "fail", "nothing: line 2 has no \"=\" (Port)"},
      {"Port=1\nPort=2\n", "fail", "line 2 sets Port for the second time"},
      {"=1\n", "fail", "line 1 has no name before its \"=\" (=1)"},
      {"=1\nPort=2000\n", "ok", "the defaults hold: Port=5724"},
      {std::string(5000, '\0'), "fail", "line 1 has no \"=\""},
      {"Port=80\n", "fail", "Port: \"80\" is not a valid value"},
      {"CallBrowser=1\n", "fail", "CallBrowser: \"1\" is not a valid value"},
      {"AllowOrgin=x\n", "fail", "AllowOrgin: did you mean AllowOrigin?"},
      {"port=2000\n", "fail", "port: names are case-sensitive, Port"},
      {"Port = 2000\n", "fail", "Port: there are blanks around the \"=\""},
      {"URL= http://x\n", "warn", "URL: \" http://x\" begins or ends with a blank"},
      {"Colour=red\n", "warn", "Colour is no setting"},
      {"CallBrowser=yes\n", "fail", "BrowserCommand is empty"},
      {"AppendCardId=yes\n", "warn", "URL is empty"},
      {std::string((1 << 20) + 1, '#'), "fail", "above 1 MiB"},
      {"\x1b[2J\x9b=\n", "warn", "?[2J? is no setting"},
  };
  for (const auto& row : rows) {
    makeWell();
    writeFile("config.txt", row.content);
    EXPECT_FINDING(row, settingsFindings());
  }
  std::filesystem::remove(folder / "config.txt");
  EXPECT_FINDING((Row{{}, "warn", "no config.txt in"}), settingsFindings());
  std::filesystem::create_directory(folder / "config.txt");
  EXPECT_FINDING((Row{{}, "fail", "no ordinary file"}), settingsFindings());
}

TEST_F(CheckTest, Access) {
  const struct {
    std::string origin, level, text;
  } rows[] = {
      {"https://a.example", "ok", "pages of https://a.example"},
      {"http://localhost:8080", "ok", ""},
      {"https://[::1]:8443", "ok", ""},
      {"*", "warn", "any page"},
      {"", "fail", "\"\" is no origin"},
      {"https://a.example/", "fail", "no origin"},
      {"https://a.example/x", "fail", "no origin"},
      {"https://a.example https://b.example", "fail", "no origin"},
      {" https://a.example", "fail", "no origin"},
      {"https://A.example", "fail", "no origin"},
      {"https://a.example:443", "fail", "no origin"},
      {"https://a.example:70000", "fail", "no origin"},
      {"a.example", "fail", "no origin"},
  };
  for (const auto& row : rows) {
    settings = {{}, true, true};
    settings.values.allowOrigin = row.origin;
    EXPECT_FINDING(row, lookAtAccess(settings));
  }
  EXPECT_FINDING((Row{{}, "warn", "is not known"}), lookAtAccess({}));
}

TEST_F(CheckTest, PortUsbSessionPolicy) {
  auto inspection = [] { return &world().inspection; };
  using Listeners = std::vector<platform::Listener>;
  const auto set = [&](Listeners listeners) {
    return [=] { inspection()->listeners = listeners; };
  };
  const Row ports[] = {
      {[] {}, "ok", "the service listens on 127.0.0.1:5724"},
      {set({{false, 0, ""}}), "ok", "only an administrator can see"},
      {set({{false, 9, "kv500-simulator"}}), "ok", "the service listens"},
      {set({}), "fail", "nobody listens"},
      {set({{false, 9, "other.exe"}}), "fail", "127.0.0.1:5724: other.exe (process 9)"},
      {set({{false, 4711, ""}, {true, 9, "node"}}), "warn", "[::1]:5724: node (process 9)"},
      {[&] {
         set({})();
         inspection()->reservedPorts = {{1, 2}, {5724, 5724}};
       },
       "fail", "the ports 5724 to 5724, and 5724 is one"},
      {[&] { settings.values.port = 6666; }, "warn", "browsers refuse port 6666"},
      {[&] { settings.portIsKnown = false; }, "warn", "about the default, 5724"},
      {[&] {
         set({})();
         settings.portIsKnown = false;
       },
       "warn", "nobody listens"},
  };
  for (const Row& row : ports) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtPort(settings, askServiceManager()));
  }
  const Row devices[] = {
      {[] {}, "ok", "vid_2406&pid_5003, SIM0001"},
      {[] { world().readers.showUsb(false); }, "fail", "no known device"},
      {[] { world().readers.plug(); }, "fail", "2 known devices"},
      {[&] { inspection()->deviceProblem = 28; }, "fail", "problem 28"},
  };
  for (const Row& row : devices) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtUsb());
  }
  const auto session = [&](const platform::SessionFacts& facts) {
    return [=] { inspection()->sessions[1] = facts; };
  };
  constexpr std::uint32_t disconnected = 4;
  const Row sessions[] = {
      {[] {}, "ok", "session 1 of user is active, and a browser"},
      {session({"anna", false, {}}), "ok", "only the service can tell"},
      {session({"anna", true, true}), "warn", "only over a remote connection"},
      {session({"", false, true}), "warn", "nobody is logged on in session 1"},
      {session({"anna", false, false}), "warn", "no program can be started"},
      {[&] {
         session({"anna", false, false})();
         settings.values.callBrowser = true;
       },
       "fail", "no program can be started"},
      {[] { world().sessions.set({}); }, "warn", "no session is active"},
      {[&] {
         world().sessions.set({{1, disconnected}});
         session({"anna", true, true})();
       },
       "warn", "only over a remote connection"},
      {[] {
         world().sessions.set({{1, platform::WTSActive}, {2, platform::WTSActive}});
       },
       "warn", "2 sessions are active"},
  };
  for (const Row& row : sessions) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtSession(settings.values));
  }
  using Policies = std::vector<platform::PolicyValue>;
  const auto policies = [&](const Policies& values,
                            const std::string& origin = "https://a.example") {
    return [=, this] {
      inspection()->policies = values;
      settings.values.allowOrigin = origin;
    };
  };
  const std::string blocked = "LoopbackNetworkBlockedForUrls/1";
  const std::string allowed = "LoopbackNetworkAllowedForUrls/1";
  const Row browsers[] = {
      {[] {}, "ok", "no policy applies in Chrome, Edge, Firefox"},
      {policies({{Browser::Chrome, allowed, "*"}}), "ok", "no policy applies in Edge, Firefox"},
      {policies({{Browser::Chrome, blocked, "*"}}), "fail", "forbids Chrome"},
      {policies({{Browser::Edge, "LocalNetworkAccessBlockedForUrls/1", "[*.]example"}}), "fail",
       "forbids Edge"},
      {policies({{Browser::Edge, blocked, "https://b.example"}}), "ok", "no policy"},
      {policies({{Browser::Edge, blocked, "https://b.example"}}, "*"), "warn", "some pages, Edge"},
      {policies(
           {{Browser::Edge, blocked, "https://b.example"}, {Browser::Edge, allowed, "a.example"}}),
       "ok", "a policy allows it: Edge"},
      {policies({{Browser::Edge, "LocalNetworkAccessBlockedForUrls/1", "*"},
                 {Browser::Edge, allowed, "https://a.example/"}}),
       "ok", "a policy allows it: Edge"},
      {policies({{Browser::Firefox, "LocalNetworkAccess/Enabled", "false"}}), "ok", "Firefox"},
  };
  for (const Row& row : browsers) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtBrowserPolicy(settings.values));
  }
}

TEST_F(CheckTest, ReadersAndCard) {
  auto readers = [] { return &world().readers; };
  ServiceFacts absent, disabled, idle;
  absent.state = State::Absent;
  disabled.state = State::Stopped;
  disabled.disabled = true;
  idle.onDemand = true;
  const auto service = [](const ServiceFacts& facts) {
    return [=] { world().inspection.smartcardService = facts; };
  };
  const auto state = [](std::uint32_t bits) {
    return [=] { world().inspection.readerState = bits | platform::SCARD_STATE_PRESENT; };
  };
  const auto failing = [](const std::string& operation, std::uint32_t code) {
    return [=] { world().faults.fail(operation, {.code = code, .times = 100}); };
  };
  const struct {
    std::function<void()> change;
    std::string serviceLevel, serviceText, readersLevel, readersText, cardLevel, cardText;
  } rows[] = {
      {[] {}, "ok", "runs", "ok", "brenvolt GmbH KV500 0", "ok", "ATR 3B"},
      {service(absent), "fail", "no smart-card service", "ok", "", "ok", ""},
      {service(disabled), "fail", "disabled", "ok", "", "ok", ""},
      {service(idle), "ok", "is ready", "warn", "can't be told", "warn", "not exactly one"},
      {[&] { readers()->stopService(); }, "fail", "stopped", "fail", "can't be told", "warn", ""},
      {failing("SCardEstablishContext", platform::SCARD_W_SECURITY_VIOLATION), "fail",
       "refuses this user (0x8010006A)", "fail", "", "warn", ""},
      {failing("SCardEstablishContext", 0x80100001), "fail", "0x80100001", "fail", "", "warn", ""},
      {[&] { readers()->unplug(); }, "ok", "", "fail", "no reader at all", "warn", ""},
      {[&] {
         readers()->unplug();
         readers()->addReader("Other \x1b Reader");
       },
       "ok", "", "fail", "there are others: Other ? Reader", "warn", ""},
      {[&] { readers()->plug(); }, "ok", "", "fail", "several KV500 readers: ", "warn", ""},
      {[&] { readers()->showUsb(false); }, "ok", "", "fail", "no USB device", "ok", ""},
      {[&] { readers()->remove(); }, "ok", "", "ok", "", "warn", "no card"},
      {state(platform::SCARD_STATE_MUTE), "ok", "", "ok", "", "fail", "does not answer"},
      {state(platform::SCARD_STATE_EXCLUSIVE), "ok", "", "ok", "", "fail", "for itself alone"},
      {[&] { readers()->holdExclusively(true); }, "ok", "", "ok", "", "fail", "for itself alone"},
      {[&] { readers()->otherLock(); }, "ok", "", "ok", "", "fail", "in a transaction"},
      {failing("SCardConnectA", platform::SCARD_W_UNPOWERED_CARD), "ok", "", "ok", "", "fail",
       "does not"},
      {failing("inspectReader", 0x80100017), "ok", "", "ok", "", "fail", "0x80100017"},
  };
  for (const auto& row : rows) {
    makeWell();
    row.change();
    EXPECT_FINDING((Row{{}, row.serviceLevel, row.serviceText}),
                   lookAtSmartcardService(askServiceManager()));
    EXPECT_FINDING((Row{{}, row.readersLevel, row.readersText}),
                   lookAtReaders(askServiceManager()));
    EXPECT_FINDING((Row{{}, row.cardLevel, row.cardText}), lookAtCard(askServiceManager()));
    EXPECT_EQ(world().readers.openConnections(), 0u);
    EXPECT_EQ(world().readers.openTransactions() + world().faults.calls("SCardTransmit"), 0u);
  }
}

TEST_F(CheckTest, Log) {
  const std::string start = "### Service started! ###";
  const Row rows[] = {
      {[] {}, "ok", "log.txt is written (48 bytes)"},
      {[&] {
         writeLog({start, "Could not open port"});
       },
       "warn", "the port could not be opened"},
      {[&] {
         writeLog({start, "PCSC error 0x80100001"});
       },
       "warn", "(PCSC error 0x80100001)"},
      {[&] {
         writeLog({start, "Smartcard service not running!"});
       },
       "warn", "smart-card service"},
      {[&] {
         writeLog({start, "Error reading config file:\nx"});
       },
       "warn", "bad settings"},
      {[&] {
         writeLog({start, "Invalid value for 'Port' in config.txt!"});
       },
       "warn", "bad settings"},
      {[&] {
         writeLog({start, "Only one KV500 can be connected!"});
       },
       "warn", "several readers"},
      {[&] {
         writeLog({start, "Trying to start Smartcard service..."});
       },
       "ok", ""},
      {[&] { writeFile("log.txt", "[01-01-2026 00:00:00] PCSC error 0x80100001\r\n"); }, "ok", ""},
      // What is before the last start is history, unless that start has only just happened.
      {[&] {
         writeLog({start, "Could not open port", start});
       },
       "warn", "the port could not"},
      {[&] {
         writeLog({start, "Could not open port", start, start});
       },
       "ok", ""},
      {[&] { std::filesystem::remove(folder / "log.txt"); }, "fail", "can't be written"},
      {[&] {
         std::filesystem::remove(folder / "log.txt");
         world().inspection.service.state = State::Stopped;
       },
       "warn", "not started there yet"},
      {[&] {
         std::filesystem::remove(folder / "log.txt");
         std::filesystem::create_directory(folder / "log.txt");
       },
       "fail", "can't be written"},
      // A sparse file whose end is read.
      {[&] { std::filesystem::resize_file(folder / "log.txt", 1'000'000'000); }, "warn", "1000 MB"},
  };
  for (const Row& row : rows) {
    makeWell();
    row.change();
    EXPECT_FINDING(row, lookAtLog(here(), askServiceManager()));
  }
}

/// Answers one connection in its own way.
class Peer {
 public:
  explicit Peer(std::function<void(platform::SOCKET)> serve) : port(freePort()) {
    platform::WSAStartup(0x0101);
    const auto listener = platform::socket(platform::AF_INET, platform::SOCK_STREAM, 0);
    platform::bind(listener, {2, platform::htons(port), platform::inet_addr("127.0.0.1"), {}});
    platform::listen(listener, 1);
    served_ = std::async(std::launch::async, [=] {
      platform::select(listener, 5'000'000);
      const auto client = platform::accept(listener);
      serve(client);
      platform::closesocket(client);
      platform::closesocket(listener);
    });
  }
  ~Peer() { served_.wait(); }

  const std::uint16_t port;

 private:
  std::future<void> served_;
};

TEST_F(CheckTest, Answer) {
  const std::string good =
      "HTTP/1.1 200 OK\r\nServer: KALVERO Server/1.0\r\nAccess-Control-Allow-Origin: *\r\n\r\n"
      "{\n\"action\": \"status\",\n\"message\": \"USB_device_not_found\",\n\"serv_version\": "
      "97\n}\n";
  const auto send = [](const std::string& text) {
    return [=](platform::SOCKET client) {
      char buffer[1024];
      platform::recv(client, buffer, sizeof(buffer));
      platform::send(client, text.data(), static_cast<std::int32_t>(text.size()));
    };
  };
  const struct {
    std::function<void(platform::SOCKET)> serve;
    std::string level, text;
  } rows[] = {
      {send(good), "ok", "sees no reader"},
      {send(""), "fail", "closed without an answer"},
      {send("SSH-2.0-\x1b[31m\r\n"), "fail", "not the service: SSH-2.0-?[31m"},
      {[](platform::SOCKET client) {  // Until the other side gives up.
         for (int i = 0; i < 1000 && platform::send(client, "aaaaaaaaaaaaaaaa", 16) > 0; ++i) {
           std::this_thread::sleep_for(std::chrono::milliseconds(5));
         }
       },
       "fail", "not the service: aaaa"},
      {[](platform::SOCKET client) {
         char buffer[4];
         while (platform::recv(client, buffer, sizeof(buffer)) > 0) {
         }
       },
       "fail", "no whole answer within 3 s"},
  };
  settings = {{}, true, true};
  for (const auto& row : rows) {
    const Peer peer(row.serve);
    settings.values.port = peer.port;
    EXPECT_FINDING(row, lookAtAnswer(settings));
  }
  settings.values.port = freePort();
  EXPECT_FINDING((Row{{}, "fail", "no connection to 127.0.0.1:"}), lookAtAnswer(settings));
  const Peer hidden(send("")), old(send(good)), silent(send(""));
  settings = {{}, false, false};
  settings.values.port = hidden.port;
  settings.values.allowOrigin = "https://unknown.example";
  EXPECT_FINDING((Row{{}, "warn", "settings that are not known here"}), lookAtAnswer(settings));
  settings.values.port = old.port;
  EXPECT_EQ(lookAtAnswer(settings).size(), 1u) << "nothing about an origin that is not known";
  settings.values.onlyActiveUser = true;
  settings.values.port = silent.port;
  EXPECT_FINDING((Row{{}, "warn", "every user but the one at the screen"}), lookAtAnswer(settings));
  std::atomic<bool> isNamed = false;
  const Peer peer([&](platform::SOCKET client) {
    char buffer[200] = {};
    platform::recv(client, buffer, sizeof(buffer) - 1);
    isNamed = std::strstr(buffer, "\r\nHost: practice\r\n") != nullptr;
    platform::send(client, good.data(), static_cast<std::int32_t>(good.size()));
  });
  settings = {{}, true, true};
  settings.values.port = peer.port;
  settings.values.allowedHosts = {"practice", "localhost"};
  settings.values.allowOrigin = "https://new.example";
  EXPECT_FINDING((Row{{}, "warn", "next start it is https://new.example"}), lookAtAnswer(settings));
  EXPECT_TRUE(isNamed);
}

TEST_F(CheckTest, Program) {
  const auto run = [](const std::vector<std::string>& arguments, std::string& output) {
    testing::internal::CaptureStdout();
    const int status = runProgram(arguments);
    output = testing::internal::GetCapturedStdout();
    return status;
  };
  const auto begin = std::chrono::steady_clock::now();
  std::string output;
  makeWell();
  writeFile("config.txt", "Port=" + std::to_string(freePort()) + "\nURL=\x1b]0;\"\\\n");
  writeLog(std::vector<std::string>(10, "old"));
  writeFile("log.txt", readFile("log.txt") + std::string("first of 50\n") + std::string(49, '\n'));
  world().readers.otherLock();
  const std::string report = (folder / "report.txt").string();
  EXPECT_EQ(run({"--language", "de", "--report", report}, output), 2);
  EXPECT_NE(output.find("[fail] answer: keine Verbindung"), std::string::npos) << output;
  EXPECT_NE(output.find("[fail] card: "), std::string::npos) << output;
  EXPECT_EQ(output.find('\x1b'), std::string::npos);
  const char* const ids[] = {"service", "settings",          "access",  "port", "answer",
                             "log",     "smartcard-service", "readers", "usb",  "card",
                             "session", "browser-policy"};
  std::size_t at = 0;
  for (const std::string id : ids) {
    at = output.find("] " + id + ": ", at) == std::string::npos
             ? output.find("]   " + id + ": ", at)
             : std::min(output.find("] " + id + ": ", at), output.find("]   " + id + ": ", at));
    ASSERT_NE(at, std::string::npos) << id << " in its place in\n" << output;
  }
  const std::string written = readFile("report.txt");
  for (const std::string& part : {output, std::string("URL=?]0;\"\\\n"), programVersion}) {
    EXPECT_NE(written.find(part), std::string::npos) << part << written;
  }
  EXPECT_EQ(written.find('\x1b'), std::string::npos);
  EXPECT_NE(written.find("first of 50\n"), std::string::npos) << written;
  EXPECT_EQ(written.find("] old"), std::string::npos) << written;
  // The simulator needs nothing of this machine.
  world().inspection.service.state = State::Absent;
  writeFile("kv500-simulator", "");
  EXPECT_EQ(run({"--json", "--folder", folder.string()}, output), 2);
  EXPECT_NE(output.find("{\"id\": \"card\", \"level\": \"warn\""), std::string::npos) << output;
  EXPECT_NE(output.find("{\"id\": \"settings\", \"level\": \"ok\""), std::string::npos) << output;
  EXPECT_NE(output.find("URL=?]0;\\\"\\\\, "), std::string::npos) << output;
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  world().readers.otherUnlock();  // The looks that hung give back what they hold.
  EXPECT_TRUE(kv500::eventually([] { return simulated::ledger().notGivenBack().empty(); }));
  for (const auto& bad :
       std::vector<std::vector<std::string>>{{"--x"},
                                             {"--wait"},
                                             {"--wait", "-1"},
                                             {"--language", "fr"},
                                             {"--folder", "/no/such"},
                                             {"--report", folder.string()},
                                             {"--report", (folder / "log.txt").string()}}) {
    EXPECT_EQ(run(bad, output), exitUsage) << bad.front();
  }
  EXPECT_EQ(run({"--help"}, output), 0);
  EXPECT_EQ(run({"--version"}, output), 0);
}

TEST(Printable, KeepsTextAndNothingElse) {
  const struct {
    std::string bytes, text;
  } rows[] = {
      {"Müller €\xF0\x9F\x98\x80", "Müller €\xF0\x9F\x98\x80"},
      {"a\x1b[0m\r\t\x7f", "a?[0m???"},
      {"\xC2\x9B\xE2\x80\xAE", "??"},
      {"\xFF\xC0\x80\xED\xA0\x80\xE2\x82", "????????"},
      {"a\nb", "a b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(printable(row.bytes), row.text);
  }
  EXPECT_EQ(shortened("aü", 2), "a...");
}

}  // namespace
}  // namespace check
