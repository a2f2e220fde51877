// The whole service in virtual time. Each line of the input is a step: its first character says
// what happens, the rest with what. The steps are listed in `Stack::stepTable`; fuzz/corpus/service
// has examples.
//
// Whatever happens: each answer is well-formed, the log holds nothing of a card, no card passes
// options to the browser, the platform is used correctly, and everything is given back. When the
// trouble is over, a read gives the right data within 3 seconds.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <vector>

#include "card/commands.h"
#include "device/kv500.h"
#include "device/pcsc_service.h"
#include "frontend/server.h"
#include "fuzz/require.h"
#include "platform/host.h"
#include "platform/simulated/insurance_files.h"
#include "platform/simulated/ledger.h"
#include "platform/simulated/virtual_time.h"
#include "platform/simulated/world.h"
#include "support/log.h"
#include "tests/virtual_world.h"

namespace kv500 {
namespace {

using simulated::Bytes;
using simulated::Faults;
using simulated::pass;
using simulated::virtualTime;
using simulated::world;
using std::chrono::milliseconds;
namespace network = simulated::network;

constexpr std::size_t mostSteps = 60;
constexpr std::size_t mostClients = 12;

std::vector<std::string> split(const std::string& text, char mark) {
  std::vector<std::string> parts;
  std::istringstream rest(text);
  for (std::string part; std::getline(rest, part, mark);) {
    parts.push_back(part);
  }
  return parts;
}

/// Operations that may fail at any time without an end of the process.
const auto operations = split(
    "SCardTransmit SCardStatusA SCardConnectA SCardBeginTransaction SCardGetAttrib "
    "SCardListReadersA SCardEstablishContext listUsbDevices select accept recv send bind "
    "WaitForSingleObject CreateThread system peerUser sessionUser listSessions WTSSendMessageW "
    "WTSQueryUserToken DuplicateTokenEx CreateEnvironmentBlock CreateProcessAsUserA",
    ' ');
/// The calls of two of them that may: for a client's first byte, and for work.
const std::map<std::string, std::uint32_t> details = {{"select", 200'000},
                                                      {"WaitForSingleObject", platform::INFINITE}};
constexpr std::uint32_t codes[] = {
    platform::SCARD_W_REMOVED_CARD,    platform::SCARD_E_NO_SERVICE,
    platform::SCARD_E_SERVICE_STOPPED, platform::SCARD_E_READER_UNAVAILABLE,
    platform::SCARD_W_RESET_CARD,      platform::SCARD_E_NO_SMARTCARD,
    platform::SCARD_E_INVALID_HANDLE,  platform::SCARD_E_INSUFFICIENT_BUFFER};

const ByteVector commands[] = {selectMf,           selectHca,    readBinaryGdo, readBinaryStatusVd,
                               readBinaryVdHeader, readBinaryVd, readBinaryPd};

std::filesystem::path folder;

/// A later call of the operation with that letter fails.
void planFault(const std::string& text) {
  if (text.size() < 3) {
    return;
  }
  const auto pick = [](const auto& list, char letter) {
    return list[static_cast<unsigned char>(letter - 'a') % std::size(list)];
  };
  Faults::Plan plan{.code = pick(codes, text[2]), .skip = static_cast<unsigned>(text[1] & 63)};
  const std::string operation = pick(operations, text[0]);
  if (const auto detail = details.find(operation); detail != details.end()) {
    plan.detail = detail->second;
  }
  world().faults.fail(operation, plan);
}

/// Letters that no input can know: requests must not bring what only cards may hold.
std::string secretOf(const std::string& input) {
  std::size_t state = std::hash<std::string>()(input);
  std::string letters;
  for (int i = 0; i < 400; ++i) {
    state = state * 6364136223846793005 + 1442695040888963407;
    letters += static_cast<char>('a' + (state >> 33) % 26);
  }
  return letters;
}

std::string hexOf(const std::string& letters) {
  std::ostringstream hex;
  for (const char letter : letters) {
    hex << std::hex << int{letter};
  }
  return hex.str();
}

std::string replaced(std::string text, char mark, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += by.size()) {
    text.replace(at, 1, by);
  }
  return text;
}

/// The card that is inserted next.
struct CardPlan {
  explicit CardPlan(const std::string& secret) : mark(secret.substr(0, 12)) {
    files['v'] = "<VD><Name>" + secret + "</Name></VD>";
    files['p'] = "<PD><Versicherten_ID>" + mark + "</Versicherten_ID><N>" + secret + "</N></PD>";
    files['g'] = "\x5A\x0A\x80\x27" + mark.substr(0, 8);
    files['w'] = "0" + mark + mark;
    files['a'] = ";" + mark;
  }

  /// Of the command with that number the answer, or with "f", "r", "t" that it fails, that the card
  /// leaves, that it takes its time.
  void override(const std::string& text) {
    if (text.size() < 2) {
      return;
    }
    using Kind = simulated::Override::Kind;
    const auto number = static_cast<std::size_t>(text[0] & 31);
    const ByteVector command =
        number < std::size(commands)
            ? commands[number]
            : readBinaryBlock(static_cast<std::uint8_t>(number - std::size(commands)));
    const std::string answer = text.substr(2);
    const milliseconds delay(10 * (answer.empty() ? 0 : answer[0] & 63));
    const std::map<char, Kind> kinds{{'f', Kind::Fail}, {'r', Kind::Remove}, {'t', Kind::Wait}};
    const auto kind = kinds.find(text[1]);
    if (kind != kinds.end()) {
      overrides.add(command, {kind->second, {}, delay});
    } else if (!answer.empty()) {
      overrides.add(command, {Kind::Respond, Bytes(answer.begin(), answer.end()), {}});
    }
  }

  Bytes file(char kind) const {
    const std::string& text = files.at(kind);
    return {text.begin(), text.end()};
  }

  simulated::Card make() const {
    return {file('a'),
            {{}, {{0x2F02, 0x02, file('g')}}},
            {{{0xD2, 0x76, 0x00, 0x00, 0x01, 0x02},
              {{0xD001, 0x01, *simulated::makePdFile(file('p'))},
               {0xD002, 0x02, *simulated::makeVdFile(file('v'))},
               {0xD00C, 0x0C, file('w')}}}},
            overrides};
  }

  std::string mark;
  std::map<char, std::string> files;
  simulated::Overrides overrides;
};

class Stack {
 public:
  explicit Stack(const std::string& input) : secret(secretOf(input)), plan(secret) {
    service.name = device.name();
    service.device = &device;
    const auto run = [](void* stack) -> std::uint32_t {
      static_cast<Stack*>(stack)->runPcsc();
      return 0;
    };
    pcscThread = virtualTime().startThread(run, this);
    startServer();
  }

  ~Stack() {
    server.reset();
    stopEvent.set();
    virtualTime().wait([this] { return virtualTime().hasEnded(pcscThread); }, {});
    virtualTime().closeThread(pcscThread);
  }

  void live(const std::vector<std::string>& steps) {
    for (const std::string& step : steps) {
      const auto known = stepTable.find(step[0]);
      if (known != stepTable.end()) {
        known->second(*this, step.substr(1));
      } else if (plan.files.contains(step[0])) {
        plan.files[step[0]] = replaced(step.substr(1), '$', plan.mark);
      }
    }
    while (!clients.empty()) {
      endClient(false);
    }
  }

  void recover() {
    world().faults.clear();
    auto& readers = world().readers;
    readers.otherUnlock();
    readers.holdExclusively(false);
    readers.startService();
    readers.showUsb(true);
    while (!readers.unplug()) {
    }
    readers.setProtocol(platform::SCARD_PROTOCOL_T1);
    world().sessions.set({{1, platform::WTSActive}});
    world().sessions.setPeerUser(simulated::Sessions::user);
    startServer();
    readers.plug();
    readers.insert(CardPlan(secret).make());
    ask("status");  // Without the watcher nothing else notices that a reader has gone.
    pass(milliseconds(3000));
    const std::string answer = ask("read");
    require(answer.ends_with(
                "\"action\": \"read\",\n\"status\": \"OK\",\n\"message\": {\n"
                "\"deviceStatus\": \"KV500_PRESENT\",\n\"ApiVersion\": \"1.1.8\",\n"
                "\"SerialNumber\": \"SIM0001\",\n\"CardPresence\": \"OK_Card_Presence\"\n},\n"
                "\"serv_version\": 97,\n\"daten\": \n{\n\"AllgemeineVersicherungsdaten\":\n{\n"
                "\"Name\":\"" +
                secret +
                "\"\n},\n\"PersoenlicheVersicherungsdaten\":\n{\n"
                "\"Versicherten_ID\":\"" +
                plan.mark + "\",\n\"N\":\"" + secret + "\"\n}\n}\n}\n"),
            "the right data after the trouble, not\n" + answer);
  }

  void judgeLog() const {
    std::ifstream file(folder / "log.txt");
    std::string log{std::istreambuf_iterator<char>(file), {}};
    std::transform(log.begin(), log.end(), log.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    const std::string start = plan.mark.substr(0, 6);
    require(log.find(start) == std::string::npos && log.find(hexOf(start)) == std::string::npos,
            "nothing of a card in the log:\n" + log);
  }

 private:
  void startServer() {
    try {
      server = server ? std::move(server) : std::make_unique<Server>(&device);
    } catch (const std::string&) {
      // The port could not be opened. The process would end; here there is another start later.
    }
  }

  void runPcsc() {
    while (!stopEvent.isSet()) {
      try {
        service.pRun();
      } catch (const std::string&) {
        // The process would end and be started again.
      }
    }
  }

  void connect() {
    if (clients.size() < mostClients) {
      const platform::SOCKET client = network::connect(device.listenPort());
      if (client != platform::INVALID_SOCKET) {
        clients.push_back(client);
      }
    }
  }

  void send(const std::string& text) {
    if (!clients.empty()) {
      const std::string bytes = replaced(text, '|', "\r\n");
      network::send(clients.back(), bytes.data(), static_cast<std::int32_t>(bytes.size()));
    }
  }

  std::string ask(const std::string& action) {
    const std::string answer = askPort(
        device.listenPort(), "GET /?action=" + action + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
    judgeAnswer(answer);
    return answer;
  }

  void finish() {
    if (!clients.empty()) {
      network::finish(clients.back());
    }
  }

  void endClient(bool isGone) {
    if (clients.empty()) {
      return;
    }
    if (!isGone) {
      world().readers.otherUnlock();  // It would otherwise wait for ever.
      judgeAnswer(receiveAll(clients.back()));
    }
    network::closesocket(clients.back());
    clients.pop_back();
  }

  using Step = void (*)(Stack& stack, const std::string& text);
  static const std::map<char, Step> stepTable;

  static void judgeAnswer(const std::string& answer) {
    static const std::regex shape(
        "HTTP/1\\.1 200 OK\r\nServer: KALVERO Server/1\\.0\r\n"
        "(Allow: GET, HEAD, OPTIONS\r\nCache-Control: max-age=0, no-cache, no-store\r\n)?"
        "Access-Control-Allow-Origin: [^\n]*\r\n"
        "Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
        "Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
        "Access-Control-Max-Age: 86400\r\n"
        "(Content-Type: application/json; charset=iso-8859-15\r\n)?"
        "Content-Length: ([0-9]+)\r\n\r\n");
    if (answer.empty()) {
      return;
    }
    const std::string header = answer.substr(0, answer.find("\r\n\r\n") + 4);
    const std::string body = answer.substr(header.size());
    std::smatch parts;
    require(std::regex_match(header, parts, shape) && parts[1].matched != parts[2].matched,
            "the known header lines, not\n" + answer);
    require(body.empty() || parts[3] == std::to_string(body.size()), "the length of\n" + answer);
    require(body.empty() || (body.starts_with("{\n\"action\": \"") && body.ends_with("\n}\n") &&
                             body.find("\n\"serv_version\": 97") != std::string::npos),
            "a complete body in " + answer);
  }

  const std::string secret;
  CardPlan plan;
  std::vector<platform::SOCKET> clients;
  const Event stopEvent{Event::Reset::Manual};
  PcscService service{stopEvent};
  KV500 device{&service};
  platform::HANDLE pcscThread = 0;
  std::unique_ptr<Server> server;
};

const std::map<char, Stack::Step> Stack::stepTable = {
    // The card that is inserted next.
    {'n', [](Stack& stack, const auto&) { stack.plan = CardPlan(stack.secret); }},
    {'o', [](Stack& stack, const auto& text) { stack.plan.override(text); }},
    {'y',
     [](Stack&, const auto& text) {
       world().readers.remove();  // No card changes its protocol while it is in.
       world().readers.setProtocol(text == "0" ? 1 : 2);
     }},
    // What a person and other programs do.
    {'i', [](Stack& stack, const auto&) { world().readers.insert(stack.plan.make()); }},
    {'r', [](Stack&, const auto&) { world().readers.remove(); }},
    {'U', [](Stack&, const auto&) { world().readers.plug(); }},
    {'u', [](Stack&, const auto&) { world().readers.unplug(); }},
    {'s', [](Stack&, const auto&) { world().readers.stopService(); }},
    {'S', [](Stack&, const auto&) { world().readers.startService(); }},
    {'B', [](Stack&, const auto& text) { world().readers.showUsb(text != "-"); }},
    {'l', [](Stack&, const auto&) { world().readers.otherLock(); }},
    {'L', [](Stack&, const auto&) { world().readers.otherUnlock(); }},
    {'x', [](Stack&, const auto&) { world().readers.otherReset(); }},
    {'e', [](Stack&, const auto& text) { world().readers.holdExclusively(text != "-"); }},
    {'d', [](Stack&, const auto& text) { world().sessions.setPeerUser(text); }},
    {'D', [](Stack&, const auto&) { world().sessions.set({}); }},
    {'f', [](Stack&, const auto& text) { planFault(text); }},
    {'t', [](Stack&, const auto& text) { pass(milliseconds(50 * (text[0] & 63))); }},
    // A client connects, sends more, ends its sending, goes away, waits for its answer.
    {'q',
     [](Stack& stack, const auto& text) {
       stack.connect();
       stack.send(text);
     }},
    {'m', [](Stack& stack, const auto& text) { stack.send(text); }},
    {'h', [](Stack& stack, const auto&) { stack.finish(); }},
    {'k', [](Stack& stack, const auto&) { stack.endClient(true); }},
    {'A', [](Stack& stack, const auto&) { stack.endClient(false); }},
};

/// The program in quotation marks, and at most one argument in others.
bool judgeCommandLine(const std::string& line) {
  const auto marks = std::count(line.begin(), line.end(), '"');
  require(marks == 2 || marks == 4, "a program and an address, not " + line);
  return true;
}

}  // namespace
}  // namespace kv500

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  using namespace kv500;
  folder = std::filesystem::temp_directory_path() / ("kv500_fuzz_" + platform::host::processId());
  std::filesystem::create_directory(folder);
  std::atexit([] { std::filesystem::remove_all(folder); });
  simulated::world().programPath = folder / "program";
  // Under ThreadSanitizer this variable lets it see threads side by side.
  const bool together = std::getenv("KV500_TOGETHER") != nullptr;
  if (!together) {
    stayOnThisProcessor();
  }
  simulated::virtualTime().start(together);
  openLog();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kv500;
  const std::string input(data, data + size);
  simulated::resetWorld();
  delete world().replaced;  // None of its threads is left.
  world().programPath = folder / "program";
  world().sessions.setLauncher(judgeCommandLine);
  simulated::ledger().beginTest();
  std::filesystem::resize_file(folder / "log.txt", 0);
  pass(milliseconds(600'000));  // The log has forgotten which lines it has written.
  std::ofstream config(folder / "config.txt", std::ios::binary);
  auto steps = split(input, '\n');
  for (const std::string& step : steps) {
    if (step.starts_with("cAllowHost=")) {
      config << "AllowHost=localhost\n";
    } else if (step.starts_with("c")) {
      // A quotation mark of the administrator's own is no finding.
      config << replaced(step.substr(1), '"', "'") << "\n";
    } else if (step.starts_with("F")) {
      planFault(step.substr(1));
    }
  }
  config.close();
  steps.resize(std::min(steps.size(), mostSteps));
  {
    Stack stack(input);
    stack.live(steps);
    stack.recover();
    stack.judgeLog();
  }
  require(simulated::ledger().notes().empty(), "no wrong use of the platform");
  require(simulated::ledger().notGivenBack().empty(),
          "everything given back, not\n" + simulated::ledger().notGivenBack());
  return 0;
}
