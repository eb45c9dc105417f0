#include "common/dev/fpga/allok_drop.h"

#include <fcntl.h>

#include "platform/backend.h"
#include "platform/fpga_driver.h"
#include "platform/timed_calls.h"

namespace Dev {
namespace {

constexpr auto kSendLimit = std::chrono::milliseconds(500);

}  // namespace

AllokDrop::~AllokDrop() {
  ready_ = nullptr;
  if (fd_ >= 0) platform::Machine().Close(fd_);
}

int AllokDrop::Prepare(int offset, unsigned value) {
  const platform::Lock lock(mutex_);
  if (fd_ < 0) fd_ = platform::Machine().Open(kFpgaDevicePath, O_RDWR | O_CLOEXEC);
  if (fd_ < 0) return -1;
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = offset;
  command.val = value;
  platform::PreparedIoctl& slot = slots_[next_];
  if (platform::Machine().Prepare(fd_, Q5FPGA_CMD_WR, &command, sizeof command, slot) < 0) {
    return -1;
  }
  ready_ = &slot;
  next_ = (next_ + 1) % slots_.size();
  return 0;
}

void AllokDrop::Send() const {
  if (platform::PreparedIoctl* prepared = ready_) platform::Send(*prepared);
}

void AllokDrop::SendLast() {
  last_ = true;
  Send();
}

void AllokDrop::SendFromThread() const {
  static auto& calls = *new platform::TimedCalls(1);  // its thread uses it to the very end
  calls.Run(kSendLimit, [this] {
    Send();
    return 0;
  });
}

AllokDrop& TheAllokDrop() {
  static auto& drop = *new AllokDrop;  // signals come to the very end
  return drop;
}

}  // namespace Dev
