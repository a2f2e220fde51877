// The minimum that a server can do, for comparison: two threads that each accept a connection, read
// once, send always the same answer and close.
//
// bare_server PORT BYTES    (BYTES: the length of the answer's body)
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: bare_server PORT BYTES\n");
    return 2;
  }
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  const int on = 1;
  ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  ::sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argv[1])));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(listener, reinterpret_cast<::sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(listener, 32) != 0) {
    std::perror("bare_server");
    return 1;
  }
  const std::string answer = std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + argv[2] +
                             "\r\n\r\n" + std::string(std::strtoul(argv[2], nullptr, 10), ' ');
  const auto serve = [&] {
    char request[4096];
    for (;;) {  // Until the process is ended.
      const int client = ::accept(listener, nullptr, nullptr);
      if (::recv(client, request, sizeof(request), 0) > 0) {
        ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
      }
      ::close(client);
    }
  };
  std::thread second(serve);
  serve();
}
