#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"

namespace check {
namespace {

constexpr std::uint32_t answerLimit = 2500;  // Milliseconds, less than the limit of a look.

/// The value of a header line; empty if there is none.
std::string headerValue(const std::string& answer, const std::string& name) {
  const std::size_t at = answer.find("\r\n" + name + ": ");
  const std::size_t begin = at + name.size() + 4;
  return at == std::string::npos ? "" : answer.substr(begin, answer.find("\r\n", begin) - begin);
}

bool isTheServices(const std::string& answer) {
  return answer.starts_with("HTTP/1.1 200 OK\r\n") && !headerValue(answer, "Server").empty() &&
         answer.find("\"action\": \"status\"") != std::string::npos &&
         answer.find("\"serv_version\": ") != std::string::npos;
}

const Phrase& whatItSees(const std::string& answer) {
  if (answer.find("\"USB_device_not_found\"") != std::string::npos) {
    return texts::answerNoReader;
  }
  return answer.find("\"NO_Card_found\"") != std::string::npos ? texts::answerNoCard
                                                               : texts::answerCard;
}

/// The request by a name that the service lets pass.
std::string request(const kv500::Settings& settings) {
  const std::string host =
      settings.allowedHosts.empty() ? "127.0.0.1" : settings.allowedHosts.front();
  return "GET /?action=status HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
}

}  // namespace

Findings lookAtAnswer(const kv500::Settings& settings) {
  const std::int64_t begin = platform::clock();
  const platform::Reply reply = platform::askPort(settings.port, request(settings), answerLimit);
  const std::string time = std::to_string(platform::clock() - begin);
  if (!reply.connected) {
    return {{Level::Fail,
             {texts::answerNobody, {std::to_string(settings.port)}},
             texts::answerNobodyAdvice}};
  }
  if (reply.bytes.empty() && reply.ended && settings.onlyActiveUser) {
    return {{Level::Warn, texts::answerOthersOnly, texts::answerOthersOnlyAdvice}};
  }
  if (reply.bytes.empty()) {
    return {reply.ended ? Finding{Level::Fail, texts::answerClosed, texts::answerClosedAdvice}
                        : Finding{Level::Fail, texts::answerLate, texts::answerLateAdvice}};
  }
  if (!isTheServices(reply.bytes)) {
    const std::string firstLine = reply.bytes.substr(0, reply.bytes.find('\n'));
    return {
        {Level::Fail, {texts::answerForeign, {firstLine.substr(0, 80)}}, texts::portTakenAdvice}};
  }
  if (!reply.ended) {
    return {{Level::Fail, texts::answerLate, texts::answerLateAdvice}};
  }
  Findings findings{{Level::Ok, {whatItSees(reply.bytes), {time}}}};
  const std::string origin = headerValue(reply.bytes, "Access-Control-Allow-Origin");
  if (origin != settings.allowOrigin) {
    findings.push_back({Level::Warn,
                        {texts::answerOldSettings, {origin, settings.allowOrigin}},
                        texts::answerOldSettingsAdvice});
  }
  return findings;
}

}  // namespace check
