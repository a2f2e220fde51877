// Simulated user sessions: who is logged on, and what was shown and started there.
#ifndef KV500_PLATFORM_SIMULATED_SESSIONS_H
#define KV500_PLATFORM_SIMULATED_SESSIONS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/sessions.h"
#include "platform/simulated/mutex.h"
#include "platform/simulated/virtual_time.h"

namespace simulated {

/// One message box.
struct Notice {
  std::uint32_t session;
  std::u16string title;
  std::u16string text;
  std::uint32_t style;
};

/// All operations may be called from any thread.
class Sessions {
 public:
  Sessions();

  /// One active session, number 1, unless set.
  void set(const std::vector<platform::Session>& sessions);
  std::vector<platform::Session> list() const;
  bool has(std::uint32_t id) const;

  /// Receives each message box instead of `notices`, which otherwise holds them. A box counts as
  /// answered at once unless boxes are held.
  void onNotice(std::function<void(const Notice&)> observer);
  void holdNotices(bool held);
  std::vector<Notice> notices() const;
  /// Shows a box and returns when it has been answered.
  void show(const Notice& notice);

  /// The user of every session. The clients' programs also belong to this user unless set.
  static inline const std::string user = "person";
  void setPeerUser(const std::string& name);
  std::string peerUser() const;

  /// Starts a program; true if it runs. Unless it is set, programs are only recorded in
  /// `startedPrograms`.
  void setLauncher(std::function<bool(const std::string& commandLine)> launcher);
  std::vector<std::string> startedPrograms() const;
  bool startProgram(const std::string& commandLine);

 private:
  mutable Mutex mutex_;
  Condition released_;
  std::vector<platform::Session> sessions_;
  std::string peerUser_ = user;
  std::vector<Notice> notices_;
  std::vector<std::string> programs_;
  std::function<void(const Notice&)> noticeObserver_;
  std::function<bool(const std::string&)> launcher_;
  bool noticesHeld_ = false;
};

}  // namespace simulated

#endif
