// What happens when there is no memory left for a while.
//
// Most of the service's work is done again anyway: the poll of the card, the pass over the readers,
// the next connection. So the step that ran out of memory is given up and the service goes on.
#ifndef KV500_SUPPORT_MEMORY_SHORTAGE_H
#define KV500_SUPPORT_MEMORY_SHORTAGE_H

#include <functional>

namespace kv500 {

/// Runs one step of a loop. If the step runs out of memory, the log has a line for it, at most one
/// in 5 minutes, and the call returns after a pause of 50 ms, so that the loop does not spin. Other
/// failures pass through. Any thread that holds no lock.
void outlastShortage(const std::function<void()>& step);

/// Tells whoever started the program, at most once in 5 minutes, that a request got no answer for
/// lack of memory. Requests have no line in the log for that. Any thread.
void tellOfLostRequest();

}  // namespace kv500

#endif
