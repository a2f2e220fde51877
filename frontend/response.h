// Every byte that the service sends to a client: the JSON answer and the answer to OPTIONS.
//
// Pure functions of their arguments: any thread. Nothing is escaped or converted. The caller passes
// texts in ISO-8859-15, the character set that the answer declares.
#ifndef KV500_FRONTEND_RESPONSE_H
#define KV500_FRONTEND_RESPONSE_H

#include <cstdint>
#include <string>

namespace kv500 {

/// The content of one JSON answer. If `message` is empty, the four texts after it are written as an
/// object in its place.
struct ActionResult {
  std::string action;
  std::string status;
  std::int32_t servVersion = 0;
  std::string message;
  std::string deviceStatus;
  std::string apiVersion;
  std::string serialNumber;
  std::string cardPresence;
};

/// The value of "serv_version" in every answer.
inline constexpr std::int32_t servVersion = 97;

/// The JSON text, line by line. `daten` is JSON text and is taken unchanged. If it is empty, the
/// answer has no member "daten".
std::string composeBody(const ActionResult& result, const std::string& daten);

/// The whole answer, header and body. The HTTP status is always 200: the JSON reports errors. With
/// `isHead` the body is left out, but its length is still given.
std::string composeResponse(const std::string& allowOrigin, bool isHead, const ActionResult& result,
                            const std::string& daten);

/// The whole answer to any OPTIONS request.
std::string composeOptionsResponse(const std::string& allowOrigin);

}  // namespace kv500

#endif
