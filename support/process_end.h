// The only way in which the process ends, and what happens to a failure that nobody handles.
#ifndef KV500_SUPPORT_PROCESS_END_H
#define KV500_SUPPORT_PROCESS_END_H

#include <functional>

namespace kv500 {

/// Ends the process with that exit code and runs no destructor. The listener, its workers, the card
/// watcher and the PC/SC thread work until the last moment. They use the log, the locks and each
/// other's objects, so none of these may be destroyed while they run, and waiting for them has no
/// benefit. The log is flushed after every line, so nothing is lost. Any thread.
[[noreturn]] void endProcess(int exitCode);

/// Runs `work` on a thread that has no outer exception handler. If a text comes out of it, the text
/// is written unchanged to the log, if that is already open, and reported to whoever started the
/// program. Anything else that comes out of it has a text of its own there, "Out of memory" among
/// them. Then the process ends with exit code 1, so the service manager starts the service again.
/// If only the thread ended, the service would seem to run but would answer nobody.
void endProcessOnFailure(const std::function<void()>& work);

}  // namespace kv500

#endif
