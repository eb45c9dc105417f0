#include "common/dev/fpga/allok_line.h"

#include "common/dev/fpga/allok_drop.h"
#include "common/dev/fpga/fpga_dev.h"

namespace Dev {

// The reason comes first: a raise that has the lock now is followed by this drop, a later one finds
// the reason. A reason that was withdrawn meanwhile is not put back.
void AllokLine::Hold(Reason reason) {
  reasons_ |= reason;
  const platform::Lock lock(mutex_);
  if (!IsHeldFor(reason)) return;
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga != nullptr && fpga->SetALLOK() < 0) TheAllokDrop().SendFromThread();
}

void AllokLine::Withdraw(unsigned reasons) {
  const platform::Lock lock(mutex_);
  FpgaDev* fpga = FpgaDev::GetDevice();
  const bool last = (reasons_ & ~reasons) == 0;
  const auto is_down = [&] { return fpga->GetALLOK() == 0 || fpga->GetALLOKOut() == 0; };
  // the reasons end last: until then nobody takes the line for one that something else has dropped
  if (last && fpga != nullptr && is_down()) fpga->ClearALLOK();
  reasons_ &= ~reasons;
}

// A raise that was given up because it took too long may still have come after the drop.
bool AllokLine::Look(const std::function<void()>& before) {
  const platform::Lock lock(mutex_);
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) return false;
  const int level = fpga->GetALLOKOut();
  if (reasons_ != 0) {
    if (level > 0) fpga->SetALLOK();
    return false;
  }
  if (level != 0) return false;
  before();
  fpga->ClearALLOK();
  return true;
}

}  // namespace Dev
