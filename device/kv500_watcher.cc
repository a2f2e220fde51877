// Polls the card, so that the state of reader and card is known even if no client asks. Starts a
// browser when a new card is inserted.
#include "card/card_kind.h"
#include "card/insurance_data.h"
#include "device/browser_command.h"
#include "device/kv500.h"
#include "platform/sessions.h"
#include "support/active_session.h"

namespace kv500 {
namespace {

constexpr std::uint32_t pollInterval = 250;  // Milliseconds.
/// Polls without a card before the next card counts as new. After fewer, the card was only moved.
constexpr std::uint32_t newCardPolls = 5;

/// A primary token of the user in the active session; the caller closes it. 0 if there is none.
platform::HANDLE activeUserToken() {
  const auto session = findActiveSession();
  platform::HANDLE token = 0;
  if (!session || !platform::WTSQueryUserToken(*session, token)) {
    return 0;
  }
  platform::HANDLE primary = 0;
  const bool duplicated =
      platform::DuplicateTokenEx(token, platform::TOKEN_ALL_ACCESS, platform::SecurityImpersonation,
                                 platform::TokenPrimary, primary);
  platform::CloseHandle(token);
  return duplicated ? primary : 0;
}

}  // namespace

void KV500::cardCheckLoop() {
  std::uint32_t absentPolls = newCardPolls;  // The first card after the start is a new one.
  for (;;) {  // Until somebody requests the stop; each round checks for that.
    platform::Sleep(pollInterval);
    if (stopRequested) {
      return;
    }
    requestLog.reportDropped();
    const ScopedLock guard(deviceLock);
    updateCardState();
    if (!cardConnected) {
      ++absentPolls;
    } else if (absentPolls >= newCardPolls) {
      absentPolls = 0;
      if (callBrowser) {
        announceCard();
      }
    }
  }
}

void KV500::announceCard() {
  std::string cardId;
  if (appendCardId) {
    PcscChannel card = cardChannel();
    if (detectCardKind(card) == CardKind::HealthCard) {
      readCardId(card, cardId);
    }
  }
  startBrowser(cardId);
}

bool KV500::startBrowser(const std::string& cardId) {
  const platform::HANDLE token = activeUserToken();
  if (token == 0) {
    return false;
  }
  std::string commandLine = browserCommandLine(browserCommand, url, cardId);
  void* environment = nullptr;
  if (!platform::CreateEnvironmentBlock(environment, token)) {
    platform::CloseHandle(token);
    return false;
  }
  platform::PROCESS_INFORMATION process{};
  const bool created = platform::CreateProcessAsUserA(
      token, commandLine, platform::CREATE_UNICODE_ENVIRONMENT | platform::NORMAL_PRIORITY_CLASS,
      environment, process);
  platform::DestroyEnvironmentBlock(environment);
  platform::CloseHandle(token);
  if (created) {
    // The browser now belongs to the user. Nobody watches it or waits for it.
    platform::CloseHandle(process.hThread);
    platform::CloseHandle(process.hProcess);
  }
  return created;
}

}  // namespace kv500
