// Ramps up: the mode and the registers of each kind of test, and changes of a ramp that is up.
#include <algorithm>
#include <array>
#include <cmath>

#include "common/dev/fpga/counts.h"
#include "common/dev/fpga/fpga_ramp_control.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"

namespace Dev {

using Logger::Capture;

rampdata_t rampdata;

namespace {

constexpr float kSlowRampTop = 20.0F;  // Hz
constexpr float kDcTarget = 0.85F;     // of the highest current
constexpr double kSpecialTimerTarget = 0.4;
constexpr double kSpecialCycleTarget = 0.3;
constexpr int kSlowTimer = 20;  // units of 5 ms
constexpr int kSlowSteps = 20;
constexpr int kDcTimer = 1;
constexpr int kDcSteps = 100;
constexpr int kContactSteps = 500;

}  // namespace

/// Mode and registers of a ramp up.
struct FpgaRampControl::UpRamp {
  struct RegisterValue {
    REG offset;
    int counts;
  };
  RampUpMode mode;
  Logger::eventtypes_t event;
  std::array<RegisterValue, 3> values;
};

FpgaRampControl::UpRamp FpgaRampControl::ChooseUpRamp() {
  const float hertz = Test().frequency;
  const int high = rampdata.highlimit;
  const bool slow = hertz <= kSlowRampTop && Test().curange == 0;
  const bool special = Test().IsSpecialHaldenRamp();
  if (slow && Test().HVTimerRampUp()) {
    if (special) {
      Q5_LOG_INFO_HERE(fpgaL,
                       "%s.%d: Overshoot-limiting timer ramp control, "
                       "rampupmode:%d(FPGAAutoTimerRampE) for frequency %f\n",
                       static_cast<int>(FPGAAutoTimerRampE), double{hertz});
    }
    return {FPGAAutoTimerRampE,
            Logger::RAMP_UP_HVBELOW20HZ,
            {{{Q5FPGA_WFORM_AMP_TIMER, kSlowTimer},
              {Q5FPGA_AMP_STEP_UP_VALUE, std::max(high / kSlowSteps, 1)},
              {Q5FPGA_AMP_TARGET, special ? ToCounts(high * kSpecialTimerTarget) : high}}}};
  }
  if (slow) {
    return {
        FPGAManualRampE,
        Logger::FPGA_RAMP_VLF,
        {{{Q5FPGA_WFORM_AMP_MANUAL, high}, {Q5FPGA_AMP_TARGET, high}, {Q5FPGA_WFORM_UPD_RATE, 1}}}};
  }
  if (Test().IsDCTest()) {
    const int steps = Test().testype == Msg::TEST_CONTACT_RESISTANCE ? kContactSteps : kDcSteps;
    return {FPGAAutoTimerRampE,
            Logger::FPGA_RAMP_DC,
            {{{Q5FPGA_WFORM_AMP_TIMER, kDcTimer},
              {Q5FPGA_AMP_STEP_UP_VALUE, std::max(high / steps, 1)},
              {Q5FPGA_AMP_TARGET, high}}}};
  }
  if (special) {
    Q5_LOG_INFO_HERE(fpgaL,
                     "%s.%d: Overshoot-limiting cycle ramp control, "
                     "rampupmode:%d(FPGAAutoCycleRampE) for frequency %f\n",
                     static_cast<int>(FPGAAutoCycleRampE), double{hertz});
  }
  return {FPGAAutoCycleRampE,
          Logger::FPGA_RAMP_CYCLIC,
          {{{Q5FPGA_AMP_TARGET, special ? ToCounts(high * kSpecialCycleTarget) : high},
            {Q5FPGA_AMP_STEP_UP_VALUE, std::max(rampdata.stepvalue.load(), 1)},
            {Q5FPGA_WFORM_UPD_RATE, 0}}}};
}

void FpgaRampControl::AdjustTarget() {
  if (Test().testype == Msg::TEST_FREQUENCY_SWEEP_DFR && Output().currentamplifiervalue != 0) {
    rampdata.highlimit = Output().currentamplifiervalue;
  }
  if (Test().IsDCTest()) {
    rampdata.highlimit = AmpsToSample(static_cast<float>(Test().ampmax) * kDcTarget);
  }
}

// A test that is locked to the line keeps its waveform running and only changes its sign.
int FpgaRampControl::ClearOldWaveform() {
  if (Test().testype != Msg::TEST_LINE_SYNC_REVERSAL) {
    return ChangeReg(Q5FPGA_WFORM_CTRL, kWformRampOn | kWformPolarity | kWformEnable, 0, __LINE__);
  }
  unsigned wfctrl = 0;
  const unsigned polarity = Test().testPolarity != 0 ? kWformPolarity : 0;
  if (ChangeReg(Q5FPGA_WFORM_CTRL, kWformRampOn | kWformPolarity, polarity, __LINE__, wfctrl) < 0) {
    return -1;
  }
  Capture(Logger::FPGA_RAMP_LINESYNC, wfctrl);
  return 0;
}

int FpgaRampControl::CaptureSetUp() {
  constexpr REG kOffsets[] = {Q5FPGA_WFORM_RAMP_CTL, Q5FPGA_WFORM_CTRL, Q5FPGA_AMP_TARGET,
                              Q5FPGA_AMP_STEP_UP_VALUE, Q5FPGA_WFORM_UPD_RATE};
  unsigned values[std::size(kOffsets)] = {};
  int result = 0;
  for (std::size_t i = 0; i < std::size(kOffsets); ++i) result |= ReadReg(kOffsets[i], values[i]);
  Capture(Logger::FPGA_RAMP_PHASE1_END, values[0], values[1], values[2], values[3], values[4]);
  return result;
}

int FpgaRampControl::SetUpRamp() {
  unsigned control = 0;
  int result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampEnable, 0, __LINE__, control);
  Capture(Logger::FPGA_RAMP_PHASE1, control);
  result |= ClearOldWaveform();

  const UpRamp ramp = ChooseUpRamp();
  result |= ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampModeMask,
                      static_cast<unsigned>(ramp.mode) | kRampUp, __LINE__);
  for (const auto& value : ramp.values) {
    result |= WriteReg(value.offset, ToRegister(value.counts), __LINE__);
  }
  _rampupmode = ramp.mode;
  Capture(ramp.event, rampdata.highlimit.load(), rampdata.stepvalue.load());

  result |= ChangeReg(Q5FPGA_WFORM_CTRL, 0, kWformRampOn, __LINE__);
  return result | CaptureSetUp();
}

int FpgaRampControl::ArmRamp() {
  if (!Output().IsRampAllowed()) {
    Q5_LOG_ERROR(fpgaL, "NO RAMP SAFETY SWITCH RELEASED \n");
    _rampup = false;
    return -1;
  }
  unsigned value = 0;
  if (ChangeReg(Q5FPGA_WFORM_CTRL, 0, kWformEnable, __LINE__) < 0) return -1;
  if (ChangeReg(Q5FPGA_WFORM_RAMP_CTL, 0, kRampEnable, __LINE__, value) < 0) return -1;
  Q5_LOG_INFO(fpgaL, "Phase2. FPGA Ramp register 0x%04X\n", value);
  Capture(Logger::FPGA_RAMP_PHASE2, value);
  _rampup = true;
  _dischargestatus = kDischarged;
  return 0;
}

// The phases are bits of `phase`.
int FpgaRampControl::SetFPGAStartRamp(eRAMP_PHASE phase) {
  if ((phase & eRAMP_PHASE_ALL) == 0) return -1;
  const bool arm = (phase & eRAMP_PHASE_RAMP_UP) != 0;
  SetRampUpInProgress(true);
  AdjustTarget();
  int result = (phase & eRAMP_PHASE_ENABLE_SOURCE) != 0 ? SetUpRamp() : 0;
  if (arm && result == 0) result = ArmRamp();
  if (arm) SetRampUpInProgress(false);
  return result;
}

int FpgaRampControl::LimitToAmplitude(int target) const {
  const float maximum = _vmaxamplitude;
  return static_cast<float>(target) >= maximum ? ToCounts(double{maximum}) : target;
}

// A ramp stays where it is when one of its new values could not be written.
int FpgaRampControl::ChangeRunningRamp() {
  const unsigned target = ToRegister(rampdata.highlimit);
  const unsigned step = ToRegister(rampdata.stepvalue);
  int result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, kRampEnable, 0, __LINE__);
  result |= WriteReg(Q5FPGA_AMP_TARGET, target, __LINE__);
  result |= WriteReg(Q5FPGA_AMP_STEP_UP_VALUE, step, __LINE__);
  if (result == 0) result = ChangeReg(Q5FPGA_WFORM_RAMP_CTL, 0, kRampEnable, __LINE__);
  Capture(Logger::CHANGEVOLTAGERAMP, target, step);
  return result;
}

int FpgaRampControl::RampToTarget(unsigned short target) {
  const int limit = LimitToAmplitude(target);
  const int previous = Output().amptargetvalue;
  const int range = target < previous ? previous : limit;
  rampdata.highlimit = limit;
  rampdata.stepvalue = std::max(StepOf(range, Config().GetFPGAStepDivider()), 1);
  int result = 0;
  if (_rampup) {
    result = ChangeRunningRamp();
  } else {
    result = SetFPGAStartRamp(eRAMP_PHASE_ALL);
    Capture(Logger::RAMPRESTART);
  }
  Capture(Logger::VOLT_SETTINGS, rampdata.stepvalue.load(), rampdata.highlimit.load());
  return result;
}

int FpgaRampControl::FixedDurationRampToTarget(unsigned short target, float seconds) {
  if (!_rampup || _rampupmode != FPGAAutoCycleRampE) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d: Conditions not met to execute %s _rampup = %d ramp_mode = %u\n",
                      __func__, _rampup ? 1 : 0, static_cast<unsigned>(_rampupmode.load()));
    return -1;
  }
  const int limit = LimitToAmplitude(target);
  unsigned multiplier = 0;
  unsigned step = 0;
  unsigned rate = 0;
  if (ReadReg(Q5FPGA_WFORM_AMP_VALUE, multiplier) < 0 ||
      ReadReg(Q5FPGA_AMP_STEP_UP_VALUE, step) < 0 || ReadReg(Q5FPGA_WFORM_UPD_RATE, rate) < 0) {
    return -1;
  }
  const double distance = std::abs(static_cast<int>(multiplier) - limit);
  const double steps = double{Test().frequency} * double{seconds} / (rate + 1.0);
  const int new_step = steps > 0 ? ToCounts(distance / steps) : ToCounts(distance);
  rampdata.highlimit = limit;
  rampdata.stepvalue = std::max(new_step, 1);
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: step 0x%x becomes 0x%x\n", step,
                   static_cast<unsigned>(rampdata.stepvalue));
  const int result = ChangeRunningRamp();
  Capture(Logger::VOLT_SETTINGS, rampdata.stepvalue.load(), rampdata.highlimit.load());
  return result;
}

}  // namespace Dev
