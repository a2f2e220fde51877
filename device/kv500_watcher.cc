// Polls the card, so that the state of reader and card is known even if no client asks. Starts a
// browser when a new card is inserted.
#include <memory>

#include "card/card_kind.h"
#include "card/insurance_data.h"
#include "device/browser_command.h"
#include "device/kv500.h"
#include "platform/sessions.h"
#include "support/active_session.h"
#include "support/memory_shortage.h"

namespace kv500 {
namespace {

constexpr std::uint32_t pollInterval = 250;  // Milliseconds.
/// Polls without a card before the next card counts as new. After fewer, the card was only moved.
constexpr std::uint32_t newCardPolls = 5;

/// Closes a handle at the end of its scope.
class ScopedHandle {
 public:
  ScopedHandle() = default;
  ~ScopedHandle() {
    if (value != 0) {
      platform::CloseHandle(value);
    }
  }
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;

  platform::HANDLE value = 0;  ///< 0: nothing to close.
};

/// Gets a primary token of the user in the active session. False if there is none.
bool findActiveUser(ScopedHandle& primary) {
  const auto session = findActiveSession();
  ScopedHandle token;
  return session && platform::WTSQueryUserToken(*session, token.value) &&
         platform::DuplicateTokenEx(token.value, platform::TOKEN_ALL_ACCESS,
                                    platform::SecurityImpersonation, platform::TokenPrimary,
                                    primary.value);
}

}  // namespace

void KV500::cardCheckLoop() {
  std::uint32_t absentPolls = newCardPolls;  // The first card after the start is a new one.
  for (;;) {  // Until somebody requests the stop; each round checks for that.
    platform::Sleep(pollInterval);
    if (stopRequested) {
      return;
    }
    outlastShortage([this, &absentPolls] { pollCard(absentPolls); });
  }
}

void KV500::pollCard(std::uint32_t& absentPolls) {
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
  ScopedHandle token;
  void* block = nullptr;
  if (!findActiveUser(token) || !platform::CreateEnvironmentBlock(block, token.value)) {
    return false;
  }
  const std::unique_ptr<void, decltype(&platform::DestroyEnvironmentBlock)> environment(
      block, platform::DestroyEnvironmentBlock);
  std::string commandLine = browserCommandLine(browserCommand, url, cardId);
  platform::PROCESS_INFORMATION process{};
  const bool created = platform::CreateProcessAsUserA(
      token.value, commandLine,
      platform::CREATE_UNICODE_ENVIRONMENT | platform::NORMAL_PRIORITY_CLASS, block, process);
  if (created) {
    // The browser now belongs to the user. Nobody watches it or waits for it.
    platform::CloseHandle(process.hThread);
    platform::CloseHandle(process.hProcess);
  }
  return created;
}

}  // namespace kv500
