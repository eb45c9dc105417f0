#include "common/dev/fpga/allok_line.h"

#include "common/dev/fpga/allok_drop.h"
#include "common/dev/fpga/fpga_dev.h"

namespace Dev {

// The reason comes first: a raise that has the lock now is followed by this drop, a later one finds
// the reason.
void AllokLine::Hold(Reason reason) {
  reasons_ |= reason;
  const platform::Lock lock(mutex_);
  reasons_ |= reason;  // who had the lock may have withdrawn it with others
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

bool AllokLine::RaiseDropped(const std::function<void()>& before) {
  if (reasons_ != 0) return false;  // waits for no drop that is being made
  const platform::Lock lock(mutex_);
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr || reasons_ != 0 || fpga->GetALLOKOut() != 0 || reasons_ != 0) return false;
  before();
  fpga->ClearALLOK();
  return true;
}

}  // namespace Dev
