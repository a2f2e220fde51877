// A client of the service on the loopback address.
#ifndef KV500_TESTS_CLIENT_H
#define KV500_TESTS_CLIENT_H

#include <cstdint>
#include <string>

namespace kv500 {

/// One connection, closed at the end.
class Client {
 public:
  explicit Client(std::uint16_t port, const char* host = "127.0.0.1");
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool isConnected() const { return isConnected_; }
  void send(const std::string& text) const;
  /// Ends sending.
  void finish() const;
  /// Reads until the other side closes, which must happen within 15 seconds.
  std::string receiveAll() const;

 private:
  const std::uintptr_t socket_;
  bool isConnected_;
};

/// A port that nobody uses at the moment.
std::uint16_t freePort();

}  // namespace kv500

#endif
