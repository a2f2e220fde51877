// Polls the card, so that reader and card are known without any client asking, and turns a new card
// into the start of a browser.
#include "card/card_kind.h"
#include "card/insurance_data.h"
#include "device/browser_command.h"
#include "device/kv500.h"
#include "platform/sessions.h"
#include "support/active_session.h"

namespace kv500 {
namespace {

constexpr std::uint32_t pollInterval = 250;  // Milliseconds.
/// Polls without a card before the next one counts as new; fewer are a card that was only moved.
constexpr std::uint32_t newCardPolls = 5;

/// A primary token of the user in the active session, which the caller closes. 0 if there is none.
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
  for (;;) {  // Until the stop is requested, which is looked at in each round.
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
    // The browser is the user's from now on; nobody watches it or waits for it.
    platform::CloseHandle(process.hThread);
    platform::CloseHandle(process.hProcess);
  }
  return created;
}

}  // namespace kv500
