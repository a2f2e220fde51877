#include "frontend/response.h"

namespace kv500 {
namespace {

std::string member(const std::string& name, const std::string& value) {
  return "\"" + name + "\": \"" + value + "\"";
}

const std::string statusAndServer =
    "HTTP/1.1 200 OK\r\n"
    "Server: KALVERO Server/1.0\r\n";

std::string crossOriginHeaders(const std::string& allowOrigin) {
  return "Access-Control-Allow-Origin: " + allowOrigin +
         "\r\n"
         "Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
         "Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
         "Access-Control-Max-Age: 86400\r\n";
}

}  // namespace

std::string composeBody(const ActionResult& result, const std::string& daten) {
  std::string body = "{\n";
  body += member("action", result.action) + ",\n";
  body += member("status", result.status) + ",\n";
  if (!result.message.empty()) {
    body += member("message", result.message) + ",\n";
  } else {
    body += "\"message\": {\n";
    body += member("deviceStatus", result.deviceStatus) + ",\n";
    body += member("ApiVersion", result.apiVersion) + ",\n";
    body += member("SerialNumber", result.serialNumber) + ",\n";
    body += member("CardPresence", result.cardPresence) + "\n";
    body += "},\n";
  }
  body += "\"serv_version\": " + std::to_string(result.servVersion);
  body += daten.empty() ? "\n" : ",\n\"daten\": \n" + daten + "\n";
  return body + "}\n";
}

std::string composeResponse(const std::string& allowOrigin, bool isHead, const ActionResult& result,
                            const std::string& daten) {
  const std::string body = composeBody(result, daten);
  const std::string header = statusAndServer + crossOriginHeaders(allowOrigin) +
                             "Content-Type: application/json; charset=iso-8859-15\r\n"
                             "Content-Length: " +
                             std::to_string(body.size()) + "\r\n\r\n";
  return isHead ? header : header + body;
}

std::string composeOptionsResponse(const std::string& allowOrigin) {
  return statusAndServer +
         "Allow: GET, HEAD, OPTIONS\r\n"
         "Cache-Control: max-age=0, no-cache, no-store\r\n" +
         crossOriginHeaders(allowOrigin) + "Content-Length: 0\r\n\r\n";
}

}  // namespace kv500
