// The one way in which the process ends, and what becomes of a failure that nobody handles.
#ifndef KV500_SUPPORT_PROCESS_END_H
#define KV500_SUPPORT_PROCESS_END_H

#include <functional>

namespace kv500 {

/// Ends the process with that exit code, without running a single destructor. The listener, its
/// workers, the card watcher and the PC/SC thread are at work until the last moment and use the
/// log, the locks and each other's objects; nothing of that may be taken apart under them, and none
/// of them is worth waiting for. The log is flushed line by line, so nothing is lost. Any thread.
[[noreturn]] void endProcess(int exitCode);

/// Runs `work`, on a thread above which no handler stands. A text that comes out of it is written
/// to the log as it is, if that is open yet, and to whoever has started the program, and the
/// process ends with exit code 1: the service manager sees that and starts the service again, where
/// a thread that is gone in silence would leave a service that looks alive and answers nobody.
void endProcessOnFailure(const std::function<void()>& work);

}  // namespace kv500

#endif
