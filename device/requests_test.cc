#include <future>

#include "tests/device_test.h"

namespace kv500 {
namespace {

using RequestsTest = DeviceTest;

TEST_F(RequestsTest, EveryOutcomeOfAConnection) {
  const std::string unsupported = "Only HTTP GET, HEAD and OPTIONS supported!\n\n";
  const auto exception = [](const std::string& text) { return "Exception: " + text + "\n"; };
  const auto wrong = [](const std::string& action) {
    return "\"action\": \"" + action +
           "\",\n\"status\": \"ERROR\",\n\"message\": \"wrong GET parameter\",\n";
  };
  const std::string missing = wrong("MISSING_GET_PARAM");
  const std::string running = "\"action\": \"status\",\n\"status\": \"RUNNING\",\n";
  const struct {
    std::string request, log, answer;  ///< An empty answer means that there is none.
  } rows[] = {
      {"\r\n", unsupported, ""},
      {"POST /?action=status HTTP/1.1", unsupported, ""},
      {"get /?action=status HTTP/1.1", unsupported, ""},
      {"GET /?action=status", exception("Invalid line in HTTP request /?action=status!"), ""},
      {"GET / HTTP/1.1\nFoo\n", exception("Invalid line in HTTP request Foo!"), ""},
      {"GET /?x HTTP/1.1", exception("Invalid GET parameter!"), ""},
      {"GET /?action=status&%6=1 HTTP/1.1", exception("Unexpected end of string!"), ""},
      {"GET /?%zz=1 HTTP/1.1", exception("Invalid character!"), ""},
      {"OPTIONS * HTTP/1.1", "", "Allow: GET, HEAD, OPTIONS\r\n"},
      {"OPTIONS /?x HTTP/1.1", "", "Allow: GET, HEAD, OPTIONS\r\n"},
      {"GET / HTTP/1.1", "", missing},
      {"GET /? HTTP/1.1", "", missing},
      {"GET /status?action=status HTTP/1.1", "", missing},
      {"GET *?action=status HTTP/1.1", "", missing},
      {"GET /?x=1 HTTP/1.1", "", missing},
      {"GET /?action=STATUS HTTP/1.1", "", wrong("STATUS")},
      {"GET /?action=st%61tus HTTP/1.1", "", wrong("st%61tus")},
      {"GET /?action= HTTP/1.1", "", wrong("")},
      {"GET /?%61ction=status HTTP/1.1", "", running},
      {"GET /?action=read&action=status HTTP/1.1", "", running},
      {"GET /?action=read HTTP/1.1", "",
       "\"status\": \"undefined\",\n\"message\": \"USB_device_not_found\",\n"
       "\"serv_version\": 97,\n\"daten\": \nnull\n}\n"},
      {"GET /?action=close HTTP/1.1", "",
       "\"status\": \"NO_DEVICE\",\n\"message\": \"called close command\",\n"},
  };
  makeDevice();
  std::string log = "### Service started! ###\n";
  for (const auto& row : rows) {
    SCOPED_TRACE(row.request);
    const std::string answer = answerTo(row.request);
    EXPECT_EQ(answer.empty(), row.answer.empty()) << answer;
    EXPECT_NE(answer.find(row.answer), std::string::npos) << answer;
    log += row.log;
    EXPECT_EQ(logTexts(), log);
  }
}

TEST_F(RequestsTest, HeadRunsTheActionAndLeavesOutTheBody) {
  makeDevice();
  attachReader();
  world().readers.insert(healthCard(vdXml, pdXml("A123456789")));
  EXPECT_EQ(state(), "card");
  const std::string get = answerTo("GET /?action=read HTTP/1.1\n");
  const std::string head = answerTo("HEAD /?action=read HTTP/1.1\n");
  EXPECT_EQ(get.substr(0, get.find("\r\n\r\n") + 4), head);
  EXPECT_NE(get.find("A123456789"), std::string::npos);
  EXPECT_EQ(world().readers.openConnections(), 1u);
  EXPECT_NE(answerTo("HEAD /?action=close HTTP/1.1\n"), "");
  EXPECT_EQ(world().readers.openConnections(), 0u);
  EXPECT_NE(ask("close").find("\"status\": \"OK\",\"message\": \"CLOSED\""), std::string::npos);
  world().readers.remove();
  EXPECT_NE(ask("close").find("\"status\": \"ERROR\""), std::string::npos);
}

TEST_F(RequestsTest, AReadTellsWhatTheCardIs) {
  const std::string mf = "00A4000C023F00", hca = "00A4040C06D27600000102", pd = "00B0810000";
  const struct {
    std::string overrides, answer;
  } rows[] = {
      {"", "\"status\": \"OK\",\"message\": {"},
      {"00B082000C 6A82", "\"status\": \"OK\",\"message\": {"},
      {mf + " fail\n" + hca + " fail", "\"status\": \"ERROR\",\"message\": {"},
      {pd + " fail\n" + pd + " 6A82", "\"status\": \"ERROR\",\"message\": {"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.overrides);
    newWorld();
    makeDevice();
    attachReader();
    world().readers.insert(healthCard(vdXml, pdXml("A123456789"), row.overrides));
    EXPECT_EQ(state(), "card");
    const std::string answer = ask("read");
    EXPECT_NE(answer.find(row.answer), std::string::npos) << answer;
    EXPECT_EQ(answer.find("A123456789") != std::string::npos, row.overrides.empty()) << answer;
    EXPECT_EQ(answer.ends_with("\"daten\": null}"), !row.overrides.empty()) << answer;
    world().faults.fail("SCardGetAttrib");
    EXPECT_NE(ask("read").find("\"status\": \"ERROR\""), std::string::npos);
  }
}

TEST_F(RequestsTest, NobodyWaitsForAClientThatDoesNotRead) {
  makeDevice();
  for (const char* action : {"status", "read", "close"}) {
    world().faults.hold("send");
    const unsigned sent = world().faults.calls("send");
    std::thread slow([&] { ask(action); });
    EXPECT_TRUE(eventually([sent] { return world().faults.calls("send") > sent; }));
    auto other = std::async(std::launch::async, [this] { return state(); });
    EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready) << action;
    world().faults.letGo("send");
    slow.join();
    EXPECT_EQ(other.get(), "none");
  }
}

TEST_F(RequestsTest, WhoMayNotAskGetsAClosedConnection) {
  const std::string good = "GET /?action=status HTTP/1.1\r\nHost: localhost:1\r\n\r\n";
  const std::string both = "AllowHost=localhost\nOnlyActiveUser=yes";
  const std::string noHost = "Host not allowed!\n";
  const std::string noUser = "User not allowed!\n";
  const std::string badValue = "Invalid value for 'OnlyActiveUser' in config.txt!\n";
  const struct {
    std::string config, user, failing, request, log;
  } rows[] = {
      {"", "other", "", "GET / HTTP/1.1\r\nHost: evil.example\r\n", ""},
      {"AllowHost=\nOnlyActiveUser=no", "other", "", "GET / HTTP/1.1\r\n", ""},
      {both, "person", "", good, ""},
      {both, "system", "listSessions", good, ""},
      {both, "person", "", "GET / HTTP/1.1\r\n\r\n", noHost},
      {both, "person", "", "OPTIONS * HTTP/1.1\r\nHost: evil.example\r\n", noHost},
      {both, "person", "", "\r\n", noHost},
      {both, "other", "", good, noUser},
      {both, "other", "", "not understood", noUser},
      {both, "person", "peerUser", good, noUser},
      {both, "person", "sessionUser", good, noUser},
      {both, "person", "listSessions", good, noUser},
      {"OnlyActiveUser=1", "other", "", good, badValue},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.config + row.user + row.failing + row.request);
    simulated::resetWorld();
    world().programPath = folder / "program";
    writeFile("log.txt", "");
    writeFile("config.txt", row.config);
    makeDevice();
    world().sessions.setPeerUser(row.user);
    if (!row.failing.empty()) {
      world().faults.fail(row.failing);
    }
    const bool isAllowed = row.log.empty() || row.log == badValue;
    EXPECT_EQ(answerTo(row.request).empty(), !isAllowed);
    EXPECT_EQ(logTexts(), "### Service started! ###\n" + row.log);
  }
}

TEST_F(RequestsTest, WhatRequestsPutIntoTheLogIsBoundedInBytes) {
  constexpr std::int64_t minute = 60'000;
  world().clockTime = 0;
  openLog();
  RequestLog log;
  const std::string line(99'976, 'x');  // 100,000 bytes in the file.
  const auto write = [&](std::int64_t tick, int count) {
    world().clockTime = tick;
    const auto before = readFile("log.txt").size();
    for (int i = 0; i < count; ++i) {
      log.write(line);
    }
    return (readFile("log.txt").size() - before) / 100'000;
  };
  EXPECT_EQ(write(0, 12), 10u) << "1 MB at once";
  EXPECT_EQ(write(6 * minute - 1, 1), 0u);
  EXPECT_EQ(write(6 * minute, 2), 1u) << "1 MB an hour";
  logMessage("not from a request", "");
  EXPECT_EQ(write(10'000 * minute, 11), 10u) << "never more than that at once";
  log.reportDropped();
  world().clockTime = 10'005 * minute;
  log.write(std::string(100, '\n'));
  std::string texts = logTexts();
  texts.erase(std::remove(texts.begin(), texts.end(), 'x'), texts.end());
  const auto told = [](int count) {
    return "Too much to log from requests: " + std::to_string(count) + " line" +
           (count == 1 ? "" : "s") + " dropped\n";
  };
  EXPECT_EQ(texts, "### Service started! ###\n" + std::string(10, '\n') + told(1) + told(2) +
                       "\nnot from a request\n" + told(1) + std::string(10, '\n') + told(1) +
                       std::string(101, '\n'));
}

}  // namespace
}  // namespace kv500
