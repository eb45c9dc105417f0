// Whether the channels have set their DC offset early, so that the source may ramp.
//
// Owner: each channel reports its own. Locks: all operations take `dcoffsetmutex`, because the
// flags of both channels count together. Any thread; results are 0, or -1 for an unknown channel.
#pragma once

#include <array>
#include <mutex>

#include "platform/thread_safety.h"

namespace Msg {

class EarlyDcOffset {
 public:
  /// `its_module` is a MODULE_ID.
  explicit EarlyDcOffset(int its_module) : offset_module_(its_module) {}

  int SetEarlyDCOffset(int channel);
  int ClearEarlyDCOffset(int channel);
  /// Of both channels.
  int ClearEarlyDCOffset();
  bool GetEarlyDCOffset() const;
  bool GetEarlyDCOffset(int channel) const;

 private:
  const int offset_module_;
  std::array<bool, 2> earlyDCoffset Q5_GUARDED_BY(dcoffsetmutex){};
  bool measearlyDCoffset Q5_GUARDED_BY(dcoffsetmutex) = false;
  mutable platform::Mutex dcoffsetmutex;
};

}  // namespace Msg
