// The hardware's status of its ramp.
#include <chrono>

#include "common/dev/fpga/fpga_ramp_control.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "platform/backend.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr std::chrono::microseconds kPoll{100};
constexpr int kPollsPerMillisecond = 10;
constexpr int kMaxPolls = 31000;
constexpr int kMaxDcPolls = 300000;
constexpr int kPollsPerLine = 10000;
constexpr int kMaxLostPolls = 100;  // one after another

enum class Poll { kDown, kStillUp, kLost };

}  // namespace

void FpgaRampControl::SetRampUpInProgress(bool running) {
  const platform::Lock lock(rampupprogresslock);
  _rampupinprogress = running;
}

bool FpgaRampControl::IsRampUpInProgress() const {
  const platform::Lock lock(rampupprogresslock);
  return _rampupinprogress;
}

int FpgaRampControl::IsRampDone() {
  unsigned control = 0;
  if (ReadReg(Q5FPGA_WFORM_RAMP_CTL, control) < 0) return -1;
  return (control & kRampAtTarget) != 0 ? 1 : 0;
}

int FpgaRampControl::SourceRampToZero() {
  constexpr unsigned kGoingDown = kRampAtZero | kRampEnable | kRampUp;
  unsigned control = 0;
  if (ReadReg(Q5FPGA_WFORM_RAMP_CTL, control) < 0) {
    Q5_LOG_ERROR(fpgaL, "Error reading ramp control register 0x%04X 0x%04X\n",
                 static_cast<unsigned>(Q5FPGA_WFORM_RAMP_CTL), control);
    return 1;
  }
  unsigned multiplier = 0;
  if (ReadReg(Q5FPGA_WFORM_AMP_VALUE, multiplier) < 0) {
    Q5_LOG_ERROR(fpgaL, "Error reading multiplier register  \n");
    return 1;
  }
  return (control & kGoingDown) == kRampEnable && multiplier != 0 ? 1 : 0;
}

int FpgaRampControl::CheckFPGARampStatus(const Wanted& wanted) {
  const auto poll = [this] {
    unsigned control = 0;
    unsigned multiplier = 0;
    if (ReadReg(Q5FPGA_WFORM_RAMP_CTL, control) < 0) return Poll::kLost;
    if ((control & kRampAtZero) != 0) return Poll::kDown;
    if (ReadReg(Q5FPGA_WFORM_AMP_VALUE, multiplier) < 0) return Poll::kLost;
    if ((control & kRampAtTarget) == 0 || multiplier != 0) return Poll::kStillUp;
    Capture(Logger::FPGA_INVALID_RAMPSTATUS);
    return Poll::kDown;
  };
  const int most = Test().IsDCTest() ? kMaxDcPolls : kMaxPolls;
  int lost = 0;
  int count = 0;
  platform::Clock& clock = platform::Machine().Clock();
  const auto until = clock.Monotonic() + most * kPoll;  // a poll of a slow driver takes long
  while (count < most && lost < kMaxLostPolls && clock.Monotonic() < until && wanted()) {
    const Poll result = poll();
    if (result == Poll::kDown) return 0;
    lost = result == Poll::kLost ? lost + 1 : 0;
    if (++count % kPollsPerLine == 0) {
      Q5_LOG_INFO_HERE(fpgaL, "%s.%d Ramping Down for %d milliseconds \n",
                       count / kPollsPerMillisecond);
    }
    clock.SleepFor(kPoll);
  }
  if (!wanted()) return -1;
  Q5_LOG_ERROR(fpgaL, "RAMP DOWN RETRY %d \n", count);
  Q5_LOG_ERROR(fpgaL, "RAMP DOWN UNSUCCESSFUL(AFTER RETRIES) \n");
  return -1;
}

int FpgaRampControl::FPGAEnablePrimary() {
  if (const int result = CheckFPGARampStatus(); result < 0) {
    Q5_LOG_ERROR(fpgaL, "RAMP DOWN NOT COMPLETE \n");
    Shared().errors.SetErrorCode(Msg::NAK_MCODE_SOS_RAMPDN);
    return result;
  }
  return ChangeReg(Q5FPGA_WFORM_CTRL, 0, kWformPrimary, __LINE__);
}

}  // namespace Dev
