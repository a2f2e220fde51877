// What a real world makes of a port that another program has.
#ifndef KV500_PLATFORM_REAL_TAKEN_PORT_H
#define KV500_PLATFORM_REAL_TAKEN_PORT_H

namespace platform {

/// After an attempt to bind has failed, the first one being 1: waits and gives true if it is worth
/// another, or gives false. The stop of the service does not wait for it.
bool isWorthAnotherAttempt(int attempt);

}  // namespace platform

#endif
