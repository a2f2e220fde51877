// The simulated reader as a driver of pcscd, the smart-card daemon. It implements the IFD handler
// interface, version 3. The daemon's reader.conf(5) names this library as LIBPATH and the reader's
// folder as DEVICENAME. Each such entry is a separate reader.
// Declares the operations below: they are visible from outside and called from C.
#pragma GCC visibility push(default)
extern "C" {
#include <ifdhandler.h>
}
#pragma GCC visibility pop
#include <reader.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "driver/pcscd/slot.h"

namespace {

using driver::Slot;
using simulated::Bytes;

constexpr UCHAR mostReaders = 16;

/// The readers by the numbers that the daemon gives them. Any thread.
class Readers {
 public:
  void add(DWORD number, const std::string& folder) {
    const std::lock_guard guard(mutex_);
    slots_[number] = std::make_shared<Slot>(folder);
  }
  void remove(DWORD number) {
    const std::lock_guard guard(mutex_);
    slots_.erase(number);
  }
  std::shared_ptr<Slot> find(DWORD number) {
    const std::lock_guard guard(mutex_);
    const auto entry = slots_.find(number);
    return entry == slots_.end() ? nullptr : entry->second;
  }

 private:
  std::mutex mutex_;
  std::map<DWORD, std::shared_ptr<Slot>> slots_;
};

Readers& readers() {
  static Readers all;
  return all;
}

/// Performs an operation on a reader. No exception leaves it, as the daemon is written in C.
template <typename Work>
RESPONSECODE withReader(DWORD number, Work work) {
  try {
    const auto slot = readers().find(number);
    return slot ? work(*slot) : IFD_NO_SUCH_DEVICE;
  } catch (...) {
    return IFD_COMMUNICATION_ERROR;
  }
}

/// Gives out bytes if the buffer of `length` bytes is large enough. `length` is then their number.
RESPONSECODE give(const Bytes& bytes, PUCHAR buffer, PDWORD length) {
  if (bytes.size() > *length) {
    *length = 0;
    return IFD_ERROR_INSUFFICIENT_BUFFER;
  }
  std::copy(bytes.begin(), bytes.end(), buffer);
  *length = bytes.size();
  return IFD_SUCCESS;
}

Bytes toBytes(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

}  // namespace

RESPONSECODE IFDHCreateChannelByName(DWORD Lun, LPSTR DeviceName) {
  try {
    if (Slot(DeviceName).look() == Slot::State::Gone) {
      return IFD_NO_SUCH_DEVICE;
    }
    readers().add(Lun, DeviceName);
    return IFD_SUCCESS;
  } catch (...) {
    return IFD_COMMUNICATION_ERROR;
  }
}

/// Only its folder identifies a reader.
RESPONSECODE IFDHCreateChannel(DWORD, DWORD) {
  return IFD_NO_SUCH_DEVICE;
}

RESPONSECODE IFDHCloseChannel(DWORD Lun) {
  readers().remove(Lun);
  return IFD_SUCCESS;
}

RESPONSECODE IFDHGetCapabilities(DWORD Lun, DWORD Tag, PDWORD Length, PUCHAR Value) {
  return withReader(Lun, [&](Slot& slot) -> RESPONSECODE {
    switch (Tag) {
      case TAG_IFD_ATR:
      case SCARD_ATTR_ATR_STRING: {
        const auto atr = slot.atr();
        return atr ? give(*atr, Value, Length) : IFD_COMMUNICATION_ERROR;
      }
      case SCARD_ATTR_VENDOR_NAME:
        return give(toBytes("brenvolt GmbH"), Value, Length);
      case TAG_IFD_SLOTS_NUMBER:
      case TAG_IFD_THREAD_SAFE:
        return give({1}, Value, Length);
      case TAG_IFD_SIMULTANEOUS_ACCESS:
        return give({mostReaders}, Value, Length);
      default:
        return IFD_ERROR_TAG;
    }
  });
}

RESPONSECODE IFDHSetCapabilities(DWORD, DWORD, DWORD, PUCHAR) {
  return IFD_ERROR_VALUE_READ_ONLY;
}

/// The cards here take commands directly, whatever protocol a real card would use.
RESPONSECODE IFDHSetProtocolParameters(DWORD, DWORD, UCHAR, UCHAR, UCHAR, UCHAR) {
  return IFD_SUCCESS;
}

RESPONSECODE IFDHPowerICC(DWORD Lun, DWORD Action, PUCHAR Atr, PDWORD AtrLength) {
  return withReader(Lun, [&](Slot& slot) -> RESPONSECODE {
    switch (Action) {
      case IFD_POWER_UP:
      case IFD_RESET: {
        const auto atr = slot.powerUp();
        *AtrLength = MAX_ATR_SIZE;  // The size of the daemon's buffer, which it does not tell here.
        return atr ? give(*atr, Atr, AtrLength) : IFD_ERROR_POWER_ACTION;
      }
      case IFD_POWER_DOWN:
        slot.powerDown();
        *AtrLength = 0;
        return IFD_SUCCESS;
      default:
        return IFD_NOT_SUPPORTED;
    }
  });
}

RESPONSECODE IFDHTransmitToICC(DWORD Lun, SCARD_IO_HEADER, PUCHAR TxBuffer, DWORD TxLength,
                               PUCHAR RxBuffer, PDWORD RxLength, PSCARD_IO_HEADER) {
  return withReader(Lun, [&](Slot& slot) -> RESPONSECODE {
    const auto response = slot.transmit(Bytes(TxBuffer, TxBuffer + TxLength));
    if (!response) {
      *RxLength = 0;
      return IFD_COMMUNICATION_ERROR;
    }
    return give(*response, RxBuffer, RxLength);
  });
}

RESPONSECODE IFDHControl(DWORD, DWORD, PUCHAR, DWORD, PUCHAR, DWORD, LPDWORD pdwBytesReturned) {
  *pdwBytesReturned = 0;
  return IFD_ERROR_NOT_SUPPORTED;
}

RESPONSECODE IFDHICCPresence(DWORD Lun) {
  return withReader(Lun, [](Slot& slot) -> RESPONSECODE {
    switch (slot.look()) {
      case Slot::State::Card:
        return IFD_ICC_PRESENT;
      case Slot::State::Empty:
        return IFD_ICC_NOT_PRESENT;
      default:
        return IFD_NO_SUCH_DEVICE;
    }
  });
}
