// The proof, from readings of the fast filter, that an output is discharged after a ramp down.
//
// Two tables list the readings for each kind of test: one for a single look while the discharge is
// watched, one for the looks of the recovery that waits for it. The first row that applies counts.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>

#include "common/dev/fpga/fpga_ramp_control.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "platform/backend.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr std::chrono::milliseconds kLook{1};
constexpr std::chrono::milliseconds kVlfLook{10};  // on top of it
constexpr int kMaxLooks = 2000;
// A cycle that was open when the output fell is still a mix, so the next cycle is the proof.
constexpr int kCyclesToProof = 3;
constexpr std::int64_t kFreshReadings = 2;
constexpr std::chrono::seconds kLongestWait{30};
constexpr float kLowVoltageMin = 2.0F;

template <int type>
bool IsType(const FpgaShared& its) {
  return its.test.testype == type;
}

template <bool (Msg::TestParameters::*predicate)() const>
bool Is(const FpgaShared& its) {
  return (its.test.*predicate)();
}

bool IsSlow(const FpgaShared& its) { return its.IsVLFTest(); }

bool IsWindingResistance(const FpgaShared& its) {
  return its.test.testype == Msg::TEST_WINDING_RESISTANCE ||
         its.test.testype == Msg::TEST_WR_FOR_DEMAG;
}

bool Always(const FpgaShared&) { return true; }

constexpr int VoltageChannel(int swap) { return swap == 1 ? 1 : 0; }

// How long to wait for the proof beyond its looks: the winding decides how slowly a direct current
// falls, and at a low frequency one phasor takes seconds.
std::chrono::nanoseconds LongestWait(const Msg::TestParameters& test) {
  if (test.IsDCTest()) return kLongestWait;
  const double hertz = double{test.frequency};
  const std::chrono::duration<double> cycles(hertz > 0 ? kCyclesToProof / hertz : 0);
  return cycles < kLongestWait ? std::chrono::duration_cast<std::chrono::nanoseconds>(cycles)
                               : kLongestWait;
}

}  // namespace

struct FpgaRampControl::Proof {
  using Minimum = std::atomic<float> FpgaRampControl::*;

  bool (*applies)(const FpgaShared&);
  FastReading reading;
  Minimum minimum;          ///< null: kLowVoltageMin
  bool of_current = false;  ///< of the current channel; only in the table for waiting
  bool slow = false;        ///< looks are further apart
  bool needs_idle_cpld = false;
  Logger::eventtypes_t done = Logger::RAMP_DOWN_DONE;
};

struct FpgaRampControl::Look {
  bool possible;  ///< there was a fast filter
  bool gone;
  double value;
};

const FpgaRampControl::Proof& FpgaRampControl::WatchProof() {
  static constexpr Proof kProofs[] = {
      {.applies = IsSlow,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_vlfvoltagemin,
       .slow = true},
      {.applies = Is<&Msg::TestParameters::IsDCTest>,
       .reading = FastReading::kAverage,
       .minimum = &FpgaRampControl::_dccurrentmin,
       .needs_idle_cpld = true},
      {.applies = IsType<Msg::TEST_DEMAG>,
       .reading = FastReading::kSampleAverage,
       .minimum = &FpgaRampControl::_dccurrentmin},
      {.applies = Is<&Msg::TestParameters::IsInternalHVVoltageTest>,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_hvacvoltagemin,
       .done = Logger::HV_RAMP_DOWN_DONE},
      {.applies = Always,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_acvoltagemin},
  };
  return *std::ranges::find_if(kProofs, [](const Proof& proof) { return proof.applies(Shared()); });
}

const FpgaRampControl::Proof& FpgaRampControl::WaitProof() {
  static constexpr Proof kProofs[] = {
      {.applies = IsSlow,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_vlfvoltagemin,
       .slow = true},
      {.applies = IsType<Msg::TEST_CONTACT_RESISTANCE>,
       .reading = FastReading::kAverage,
       .minimum = &FpgaRampControl::_dccurrentmin,
       .of_current = true},
      {.applies = IsWindingResistance,
       .reading = FastReading::kAverage,
       .minimum = &FpgaRampControl::_dccurrentmin,
       .of_current = true},
      {.applies = IsType<Msg::TEST_DEMAG>,
       .reading = FastReading::kSampleAverage,
       .minimum = &FpgaRampControl::_dccurrentmin,
       .of_current = true},
      {.applies = Is<&Msg::TestParameters::IsInternalDCLVTest>,
       .reading = FastReading::kAverage,
       .minimum = nullptr},
      {.applies = Is<&Msg::TestParameters::IsInternalHVVoltageTest>,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_hvacvoltagemin},
      {.applies = Always,
       .reading = FastReading::kPhasor,
       .minimum = &FpgaRampControl::_acvoltagemin},
  };
  return *std::ranges::find_if(kProofs, [](const Proof& proof) { return proof.applies(Shared()); });
}

std::optional<double> FpgaRampControl::Reading(FastReading what, int channel) const {
  if (!links_.fast_filter) return std::nullopt;
  return links_.fast_filter(what, channel);
}

FpgaRampControl::Made FpgaRampControl::CountMade() const {
  Made made{};
  if (!links_.fast_results) return made;
  for (const FastReading what :
       {FastReading::kPhasor, FastReading::kAverage, FastReading::kSampleAverage}) {
    made.at(static_cast<std::size_t>(what)) = links_.fast_results(what);
  }
  return made;
}

// A reading that is not a number proves nothing. Neither does a reading that may be older than the
// wait, nor a missing one: clipped samples make none. One block with a small part of a slow wave
// does not prove that the voltage is discharged; only a whole cycle does.
FpgaRampControl::Look FpgaRampControl::LookAt(const Proof& proof, int channel,
                                              const Made& since) const {
  const std::optional<double> reading = Reading(proof.reading, channel);
  if (!reading) return {};
  const double value = std::fabs(*reading);  // an average has a sign
  const float minimum = proof.minimum != nullptr ? (this->*proof.minimum).load() : kLowVoltageMin;
  const auto place = static_cast<std::size_t>(proof.reading);
  const bool fresh =
      !links_.fast_results || CountMade().at(place) - since.at(place) >= kFreshReadings;
  bool gone = fresh && value < double{minimum};
  if (proof.needs_idle_cpld && Output().driving_i_cpld_busy_flag) gone = false;
  return {true, gone, value};
}

void FpgaRampControl::CheckFastFilterMeasurement(int swap) {
  _dischargestatus = kWatchedOnMeas;
  const bool of_current = Test().IsDCTest() || Test().testype == Msg::TEST_DEMAG;
  const int channel = VoltageChannel(swap);
  const Proof& proof = WatchProof();
  Made since;
  {
    const platform::Lock lock(watch_mutex_);
    since = watched_since_;
  }
  if (!LookAt(proof, of_current ? 1 - channel : channel, since).gone) return;
  _dischargestatus = kDischarged;
  Capture(proof.done);
}

int FpgaRampControl::GetDischargeStatus(int check, int swap) {
  if (!_dischargeflag) return _dischargestatus;
  if (Config().IsMeasModule()) {
    CheckFastFilterMeasurement(swap);
    if (_dischargestatus != kDischarged) Capture(Logger::DISCHARGE_IN_PROGRESS);
  } else if (Config().IsSourceModule()) {
    if (SourceRampToZero() != 0 && !Output().wrdischargeflag) {
      _dischargestatus = kWatchedOnSource;
      Capture(Logger::RAMPDOWN_IN_PROGRESS);
    } else {
      if (_dischargestarttime == 0) {
        _dischargestarttime = platform::Machine().Clock().Realtime().tv_sec;
        Q5_LOG_INFO_HERE(fpgaL, "%s.%d Discharging \n");
      }
      if (check != 0) {
        CheckFastFilterMeasurement(swap);
      } else {
        _dischargestatus = kDischarged;
      }
    }
  }
  return _dischargestatus;
}

void FpgaRampControl::MonitorDischargeFlag() {
  {
    const platform::Lock lock(watch_mutex_);
    watched_since_ = CountMade();
  }
  _dischargeflag = true;
  if (Config().IsSourceModule()) _dischargestatus = kWatchedOnSource;
  if (Config().IsMeasModule()) _dischargestatus = kWatchedOnMeas;
}

void FpgaRampControl::ClearDischargeFlag() {
  _dischargeflag = false;
  _dischargestatus = kDischarged;
  _rampup = false;
  _rampdownstarttime = 0;
  _dischargestarttime = 0;
  SetRampUpInProgress(false);
}

// The caller raises the error words of a failure, because another test may have begun during the
// wait.
FpgaRampControl::RampDownResult FpgaRampControl::AwaitProof(int swap, const Wanted& wanted) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto begin = clock.Monotonic();
  const Made since = CountMade();
  for (int count = 1;; ++count) {
    if (!wanted()) return {RampDown::kAbandoned};
    const Proof& proof = WaitProof();
    const int voltage = VoltageChannel(swap);
    const int channel = proof.of_current ? 1 - voltage : voltage;
    const Look look = LookAt(proof, channel, since);
    if (!look.possible) return {RampDown::kGone};
    if (look.gone) {
      if (IsWindingResistance(Shared()) && proof.of_current && Config().IsSourceModule()) {
        WRDischargeRamp(0);
      }
      _rampup = false;
      return {RampDown::kGone};
    }
    if (proof.slow) clock.SleepFor(kVlfLook);
    clock.SleepFor(kLook);
    if (count <= kMaxLooks || clock.Monotonic() - begin < LongestWait(Test())) continue;

    Q5_LOG_ERROR(fpgaL,
                 "RAMP DOWN FAIL VOLTAGE STILL PRESENT!!!!\t\t\t\t\t\tmax sample %f fast "
                 "phasor mag %f count %d \n",
                 Reading(FastReading::kMaxVoltage, channel).value_or(0), look.value, count);
    return {RampDown::kStillPresent, look.value};
  }
}

int FpgaRampControl::StopWaveform(int stop) {
  const unsigned off = stop != 0 ? kWformRampOn | kWformEnable : 0;
  return ChangeReg(Q5FPGA_WFORM_CTRL, off, 0, __LINE__);
}

FpgaRampControl::RampDownResult FpgaRampControl::AwaitRampDown(int swap, const Wanted& wanted) {
  if (!Output().wrdischargeflag && CheckFPGARampStatus(wanted) < 0) {
    if (!wanted()) return {RampDown::kAbandoned};
    Q5_LOG_ERROR(fpgaL, "RAMP DOWN NOT COMPLETE \n");
    return {RampDown::kNotComplete};
  }
  const RampDownResult result = AwaitProof(swap, wanted);
  if (result.outcome == RampDown::kGone && !_rampup) Capture(Logger::RAMP_DOWN_DONE);
  return result;
}

// A register that cannot be read counts as 0: the error word is sent all the same.
unsigned FpgaRampControl::ReadOrZero(int offset) {
  unsigned value = 0;
  return ReadReg(offset, value) < 0 ? 0 : value;
}

void FpgaRampControl::SetVoltageAvailableError(int voltage, float f) {
  const unsigned amplifier = ReadOrZero(Q5FPGA_WFORM_AMP_VALUE);
  const unsigned ramp = ReadOrZero(Q5FPGA_WFORM_RAMP_CTL);
  const unsigned timer = ReadOrZero(Q5FPGA_WFORM_AMP_TIMER);
  const int hertz = Msg::ToDataWord(double{f});
  Q5_LOG_ERROR(msgL, "voltage %d ampvalue 0x%x rampreg 0x%x timer 0x%x frequency %d \n", voltage,
               amplifier, ramp, timer, hertz);
  Shared().errors.SetErrorCode(Msg::NAK_MCODE_SOS_RAMPDNVOLT, 4, voltage, amplifier, ramp, hertz);
}

bool FpgaRampControl::EndRampDown(const RampDownResult& result, int stop) {
  switch (result.outcome) {
    case RampDown::kNotComplete:
      Shared().errors.SetErrorCode(Msg::NAK_MCODE_SOS_RAMPDN);
      return false;
    case RampDown::kStillPresent:
      SetVoltageAvailableError(Msg::ToDataWord(result.magnitude), Test().frequency);
      return false;
    case RampDown::kAbandoned:
      return false;
    case RampDown::kGone:
      break;
  }
  return StopWaveform(stop) == 0 || stop == 0;
}

bool FpgaRampControl::WaitForRampDownToZero(int check, int swap, int stop) {
  const auto always = [] { return true; };
  return EndRampDown(check != 0 ? AwaitRampDown(swap, always) : RampDownResult{RampDown::kGone},
                     stop);
}

}  // namespace Dev
