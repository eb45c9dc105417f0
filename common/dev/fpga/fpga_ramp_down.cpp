// Ramps down. Down is the safe direction, so a sequence continues after each failure.
#include <algorithm>
#include <optional>

#include "common/dev/fpga/counts.h"
#include "common/dev/fpga/fpga_ramp_control.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr unsigned kTimerMode = FPGAAutoTimerRampE;
constexpr unsigned kManualMode = FPGAManualRampE;
constexpr int kDcTimer = 1;
constexpr int kDcSteps = 500;
constexpr double kTimerUnit = 0.005;  // s
constexpr int kDemagTimer = 1;
constexpr double kDemagCycles = 0.02;  // of the test's frequency
constexpr double kLongestDemag = 2.0;  // s
constexpr int kRampDownTimer = 10;
constexpr int kMaxRampDownCycles = 2;
constexpr int kStepsPerCycle = 1000 / 50;

// Steps of a high-voltage ramp down: half a cycle each at a low frequency of the source.
int HighVoltageDivider(const Msg::TestParameters& test, int divider) {
  if (test.IsFrequencyAboveMinimumRamp()) return divider;
  const bool ending = test.IsHmpStopMsg() || test.IsHmpPauseMsg();
  const float hertz = ending ? test.frequency : test.previousfrequency;
  return ToCounts(2.0 * double{hertz});
}

}  // namespace

struct FpgaRampControl::DownRamp {
  int step;
  std::optional<int> timer{};  ///< of a timer ramp; empty for a cycle ramp
  std::optional<Logger::eventtypes_t> event{};
};

FpgaRampControl::DownRamp FpgaRampControl::ChooseDownRamp(int multiplier) const {
  const int high = rampdata.highlimit;
  if (Test().IsTimerRampDown(Config().GetVLFThreshold()) || Test().testype == Msg::TEST_DEMAG) {
    return {StepOf(high, _stepdowndivider), _rampdowntimer, Logger::RAMP_DOWN_VLF};
  }
  if (Test().IsInternalHVVoltageTest()) {
    const int from = Test().IsManualRampTest() ? Test().voltmax.load() : multiplier;
    return {StepOf(from, HighVoltageDivider(Test(), Config().GetFPGAStepDivider()))};
  }
  if (Test().IsDCTest()) return {high / kDcSteps, kDcTimer};
  if (Test().IsFrequencyAboveMinimumRamp()) {
    return {StepOf(high, Config().GetFPGAStepDivider()), {}, Logger::RAMP_DOWN_ABOVE_20HZ};
  }
  return {high, {}, Logger::RAMP_DOWN_BELOW_20HZ};
}

int FpgaRampControl::SetFPGAStopRamp() {
  Capture(Logger::START_RAMP_DOWN);
  int result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampEnable, 0, __LINE__);
  unsigned multiplier = ToRegister(rampdata.highlimit);  // the most, when it cannot be read
  const int read = ReadReg(Q5FPGA_WFORM_AMP_VALUE, multiplier);
  if (read == 0 && multiplier == 0) {
    Q5_LOG_INFO_HERE(fpgaL, "%s.%d Waveform amplitude already at 0x%x\n", multiplier);
    return result;
  }
  result |= read;
  result |= ChangeReg(Q5FPGA_WFORM_CTRL, 0, kWformRampOn, __LINE__);
  result |= ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampUp | kRampModeMask, 0, __LINE__);

  const DownRamp ramp = ChooseDownRamp(static_cast<int>(multiplier));
  const unsigned step = ToRegister(std::max(ramp.step, 1));
  if (ramp.timer) result |= WriteReg(Q5FPGA_WFORM_AMP_TIMER, ToRegister(*ramp.timer), __LINE__);
  if (ramp.event) Capture(*ramp.event, step, rampdata.highlimit.load());
  result |= WriteReg(Q5FPGA_WFORM_UPD_RATE, 0, __LINE__);
  result |= WriteReg(Q5FPGA_WFORM_STEP_DOWN, step, __LINE__);
  // the direction is written together with the enable bit, so that a failure above never arms a
  // ramp up
  unsigned control = 0;
  result |= ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampUp | kRampModeMask,
                      (ramp.timer ? kTimerMode : 0) | kRampEnable, __LINE__, control);
  Q5_LOG_INFO(fpgaL, "start ramp down 0x%x stepvalue %d\n", control, static_cast<int>(step));
  _rampdownstarttime = platform::Machine().Clock().Realtime().tv_sec;
  _dischargestatus = kRampingDown;
  return result;
}

int FpgaRampControl::CalculateRampDownParams(float freq, int cycles) {
  if (!(freq > 0)) {
    Q5_LOG_ERROR(fpgaL, "UNEXPECTED FREQUENCY %f \n", double{freq});
    return -1;
  }
  _frequency = freq;
  if (Test().testype == Msg::TEST_DEMAG) {
    _rampdowntimer = kDemagTimer;
    const double seconds = std::min(kDemagCycles / double{freq}, kLongestDemag);
    _stepdowndivider = ToCounts(seconds / kTimerUnit);
    return 0;
  }
  if (cycles < 1) cycles = kMaxRampDownCycles;
  _stepdowndivider = std::min(cycles, kMaxRampDownCycles) * kStepsPerCycle;
  _rampdowntimer = kRampDownTimer;
  return 0;
}

int FpgaRampControl::ClearRampEnable() {
  const int result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampEnable, 0, __LINE__);
  _rampupmode = FPGAInvalidRampE;
  return result;
}

int FpgaRampControl::WRDischargeRamp(float volts) {
  int result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampEnable, 0, __LINE__);
  const bool up = volts != 0;
  if (up) {
    const int whole = ToCounts(double{volts});
    rampdata.highlimit = VoltsToSample(volts);
    rampdata.stepvalue = VoltsToStepvalue(whole, Config().GetFPGAStepDivider());
    result |= SetFPGAHardLimit(whole, ToCounts(double{Config().GetFPGATuneLimit()}));
  } else {
    rampdata.highlimit = 0;
  }
  const unsigned target = ToRegister(rampdata.highlimit);
  const unsigned step = ToRegister(std::max(rampdata.stepvalue.load(), 1));
  const unsigned mode = kManualMode | (up ? kRampUp : 0);
  result |= ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampModeMask | kRampUp, mode, __LINE__);
  result |= WriteReg(Q5FPGA_AMP_TARGET, target, __LINE__);
  result |= WriteReg(Q5FPGA_AMP_STEP_UP_VALUE, step, __LINE__);
  result |= WriteReg(Q5FPGA_WFORM_AMP_MANUAL, target, __LINE__);
  if (up && result < 0) return result;
  unsigned control = 0;
  result |= ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampModeMask | kRampUp, mode | kRampEnable, __LINE__,
                      control);
  Q5_LOG_INFO(fpgaL, "WR DISCHARGE FPGA Ramp register 0x%04X  \n", control);
  return result;
}

}  // namespace Dev
