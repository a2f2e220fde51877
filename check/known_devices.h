// The USB devices of the kind that the service works with.
#ifndef KV500_CHECK_KNOWN_DEVICES_H
#define KV500_CHECK_KNOWN_DEVICES_H

#include <string>
#include <vector>

namespace check {

/// Their device paths. Any thread.
std::vector<std::u16string> knownDevices();

}  // namespace check

#endif
