#include "check/looks.h"
#include "check/texts.h"
#include "platform/inspection.h"
#include "platform/program.h"

namespace check {
namespace {

constexpr std::uint32_t answerLimit = 2800;  // Milliseconds, less than the limit of a look.

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

/// For a connection that was closed without an answer.
Finding judgeClosed(const WorkingSettings& settings) {
  if (settings.values.onlyActiveUser) {
    return {Level::Warn, texts::answerOthersOnly, texts::answerOthersOnlyAdvice};
  }
  if (!settings.areKnown) {
    return {Level::Warn, texts::answerClosedUnknown, texts::answerOthersOnlyAdvice};
  }
  return {Level::Fail, texts::answerClosed, texts::answerClosedAdvice};
}

/// For an answer of the service. `time` is in milliseconds.
Findings judgeAnswer(const std::string& answer, const std::string& time,
                     const WorkingSettings& settings) {
  Findings findings{{Level::Ok, {whatItSees(answer), {time}}}};
  const std::string origin = headerValue(answer, "Access-Control-Allow-Origin");
  if (settings.areKnown && origin != settings.values.allowOrigin) {
    findings.push_back({Level::Warn,
                        {texts::answerOldSettings, {origin, settings.values.allowOrigin}},
                        texts::answerOldSettingsAdvice});
  }
  return findings;
}

Findings judgeReply(const platform::Reply& reply, const std::string& time,
                    const WorkingSettings& settings) {
  if (!reply.connected) {
    return {{Level::Fail,
             {texts::answerNobody, {std::to_string(settings.values.port)}},
             texts::answerNobodyAdvice}};
  }
  if (reply.bytes.empty() && reply.ended) {
    return {judgeClosed(settings)};
  }
  if (!reply.bytes.empty() && !isTheServices(reply.bytes)) {
    const std::string firstLine = reply.bytes.substr(0, reply.bytes.find_first_of("\r\n"));
    return {
        {Level::Fail, {texts::answerForeign, {firstLine.substr(0, 80)}}, texts::portTakenAdvice}};
  }
  return reply.ended ? judgeAnswer(reply.bytes, time, settings)
                     : Findings{{Level::Fail, texts::answerLate, texts::answerLateAdvice}};
}

}  // namespace

Findings lookAtAnswer(const WorkingSettings& settings) {
  const std::int64_t begin = platform::clock();
  const platform::Reply reply =
      platform::askPort(settings.values.port, request(settings.values), answerLimit);
  Findings findings = judgeReply(reply, std::to_string(platform::clock() - begin), settings);
  if (!settings.portIsKnown) {
    notWorseThanWarn(findings);
  }
  return findings;
}

}  // namespace check
