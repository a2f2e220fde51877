// What the looks at the smart-card service, the readers and the card share.
#ifndef KV500_CHECK_PCSC_LOOK_H
#define KV500_CHECK_PCSC_LOOK_H

#include <cstdint>
#include <string>
#include <vector>

#include "check/looks.h"
#include "platform/smartcard.h"

namespace check {

/// The model in the names of the readers that are served.
inline const std::string readerModel = "KV500";

/// A context to the smart-card service, released at the end. None is established if that would
/// start the service.
class PcscLook {
 public:
  explicit PcscLook(const Services& services);
  ~PcscLook();
  PcscLook(const PcscLook&) = delete;
  PcscLook& operator=(const PcscLook&) = delete;

  /// Whether asking would start the service. Nothing is known then.
  bool wouldStart() const { return wouldStart_; }
  /// 0 if there is a context, else a WinSCard error code.
  std::uint32_t result() const { return result_; }
  platform::SCARDCONTEXT context() const { return context_; }

  /// The names of all readers.
  std::uint32_t listReaders(std::vector<std::string>& names) const;

 private:
  bool wouldStart_;
  platform::SCARDCONTEXT context_ = 0;
  std::uint32_t result_;  ///< Behind the context because it is the result of establishing it.
};

/// The readers of the kind that is served.
std::vector<std::string> servedReaders(const std::vector<std::string>& names);

/// A WinSCard code as eight hexadecimal digits.
std::string codeText(std::uint32_t code);

}  // namespace check

#endif
