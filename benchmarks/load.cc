// Clients of a server on the loopback address, well-behaved and badly behaved ones, in any number.
//
// load KIND PORT CLIENTS SECONDS [TARGET [PAUSE_MS]]
//
//   ask     sends a request for TARGET, reads to the end, pauses, and repeats this
//   silent  connects, waits until the server ends the connection, and repeats this
//   drip    the same, but sends one byte of a request every second
//   open    connects, closes at once, and repeats this
//
// Each client is a thread that keeps one connection at a time. Prints one line of JSON: how many
// exchanges were tried and how many answered, and how long the answered ones took.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

struct Plan {
  std::string kind;
  std::uint16_t port = 0;
  Clock::time_point end;
  std::string request;
  std::chrono::milliseconds pause{0};
};

struct Record {
  std::size_t tried = 0;
  std::vector<double> served;  ///< Microseconds from the start of `connect` to the server's end.
};

class Connection {
 public:
  explicit Connection(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    ::sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    isOpen_ = ::connect(socket_, reinterpret_cast<::sockaddr*>(&address), sizeof(address)) == 0;
  }
  ~Connection() { ::close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool isOpen() const { return isOpen_; }

  bool send(const std::string& text) const {
    return ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<::ssize_t>(text.size());
  }

  /// The bytes that come until the server ends the connection.
  std::size_t receiveAll() const {
    char buffer[16384];
    std::size_t total = 0;
    for (;;) {
      const auto length = ::recv(socket_, buffer, sizeof(buffer), 0);
      if (length <= 0) {
        return total;
      }
      total += static_cast<std::size_t>(length);
    }
  }

  /// Whether the server ends the connection within that time.
  bool endsWithin(std::chrono::milliseconds limit) const {
    ::pollfd entry{socket_, POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(limit.count())) != 0;
  }

 private:
  const int socket_;
  bool isOpen_;
};

bool exchange(const Plan& plan) {
  const Connection connection(plan.port);
  if (!connection.isOpen()) {
    return false;
  }
  if (plan.kind == "ask") {
    return connection.send(plan.request) && connection.receiveAll() > 0;
  }
  const bool isSilent = plan.kind == "silent";
  while ((isSilent || plan.kind == "drip") && Clock::now() < plan.end) {
    if (connection.endsWithin(std::chrono::seconds(1)) || (!isSilent && !connection.send("G"))) {
      break;
    }
  }
  return false;
}

void run(const Plan& plan, Record& record) {
  while (Clock::now() < plan.end) {
    const auto begin = Clock::now();
    ++record.tried;
    if (exchange(plan)) {
      record.served.push_back(Microseconds(Clock::now() - begin).count());
    }
    std::this_thread::sleep_for(plan.pause);
  }
}

/// 0 if there are none.
double quantile(const std::vector<double>& sorted, double share) {
  const auto index = static_cast<std::size_t>(share * static_cast<double>(sorted.size()));
  return sorted.empty() ? 0 : sorted[std::min(index, sorted.size() - 1)];
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr,
                 "usage: load ask|silent|drip|open PORT CLIENTS SECONDS [TARGET [PAUSE_MS]]\n");
    return 2;
  }
  const auto clients = static_cast<std::size_t>(std::atoi(argv[3]));
  const double seconds = std::atof(argv[4]);
  const auto begin = Clock::now();
  Plan plan;
  plan.kind = argv[1];
  plan.port = static_cast<std::uint16_t>(std::atoi(argv[2]));
  plan.end =
      begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  plan.request = std::string("GET ") + (argc > 5 ? argv[5] : "/?action=status") +
                 " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  plan.pause = std::chrono::milliseconds(argc > 6 ? std::atoi(argv[6]) : 0);

  std::vector<Record> records(clients);
  std::vector<std::thread> threads;
  for (Record& record : records) {
    threads.emplace_back([&plan, &record] { run(plan, record); });
  }
  std::size_t tried = 0;
  std::vector<double> served;
  for (std::size_t i = 0; i < clients; ++i) {
    threads[i].join();
    tried += records[i].tried;
    served.insert(served.end(), records[i].served.begin(), records[i].served.end());
  }
  const double elapsed = std::chrono::duration<double>(Clock::now() - begin).count();
  std::sort(served.begin(), served.end());
  std::printf(
      "{\"tried\": %zu, \"served\": %zu, \"rate\": %.1f, \"median_us\": %.1f, \"p99_us\": %.1f, "
      "\"max_us\": %.1f}\n",
      tried, served.size(), static_cast<double>(served.size()) / elapsed, quantile(served, 0.5),
      quantile(served, 0.99), quantile(served, 1));
}
