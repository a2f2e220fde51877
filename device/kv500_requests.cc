// The way from the accepted connection to the action, and the sending of answers.
#include <new>

#include "device/kv500.h"
#include "frontend/allowed_hosts.h"
#include "frontend/http_request.h"
#include "frontend/tcp_socket.h"
#include "support/active_session.h"

namespace kv500 {

void KV500::handleConnection(TcpSocket& client) {
  std::string text;
  if (!client.receive(text)) {
    return;
  }
  if (onlyActiveUser && !isUserAllowed(client)) {
    requestLog.write("User not allowed!");
    return;
  }
  try {
    handleRequest(text, client);
  } catch (const std::string& failure) {
    requestLog.write("Exception: " + failure);
  } catch (const std::bad_alloc&) {
    throw;  // The worker tells of it.
  } catch (...) {
    // Without a text there is nothing to log; the client sees that the connection is closed.
  }
}

bool KV500::isUserAllowed(const TcpSocket& client) const {
  const auto user = client.peerUser();
  return user && isAtTheScreen(*user);
}

void KV500::handleRequest(const std::string& text, TcpSocket& client) {
  const HttpRequest request(text);
  if (!allowedHosts.empty() && !isHostAllowed(request.hosts(), allowedHosts)) {
    requestLog.write("Host not allowed!");
    return;
  }
  const std::string method = request.method();
  if (method != "GET" && method != "HEAD" && method != "OPTIONS") {
    requestLog.write("Only HTTP GET, HEAD and OPTIONS supported!\n");
    return;
  }
  if (method == "OPTIONS") {
    writeOptionsResponse(client);
    return;
  }
  const bool isHead = method == "HEAD";
  const std::string target = request.target();
  if (target.starts_with("/?")) {
    const auto parameters = parseQueryParameters(target.substr(2));
    const auto action = parameters.find("action");
    if (action != parameters.end()) {
      runAction(action->second, client, isHead);
      return;
    }
  }
  writeErrorResponse(client, isHead, "MISSING_GET_PARAM", "ERROR", "wrong GET parameter");
}

void KV500::runAction(const std::string& action, TcpSocket& client, bool isHead) {
  if (action == "status") {
    runStatusAction(client, isHead);
  } else if (action == "read") {
    runReadAction(client, isHead);
  } else if (action == "close") {
    runCloseAction(client, isHead);
  } else {
    writeErrorResponse(client, isHead, action, "ERROR", "wrong GET parameter");
  }
}

// The result of `send` is ignored: if the client has gone, nobody needs it.

void KV500::writeResponse(TcpSocket& client, bool isHead, const ActionResult& result,
                          const std::string& daten) {
  client.send(composeResponse(allowOrigin, isHead, result, daten));
}

void KV500::writeErrorResponse(TcpSocket& client, bool isHead, const std::string& action,
                               const std::string& status, const std::string& message) {
  ActionResult result;
  result.action = action;
  result.status = status;
  result.servVersion = servVersion;
  result.message = message;
  writeResponse(client, isHead, result, "");
}

void KV500::writeOptionsResponse(TcpSocket& client) {
  client.send(composeOptionsResponse(allowOrigin));
}

}  // namespace kv500
