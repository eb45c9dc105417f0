// Ramps of the waveform's amplitude, which the FPGA runs by itself from its registers: how they are
// set up and armed, and how it is proved that the output is gone once the amplitude is down.
//
// Implemented by theme: fpga_ramp_up, fpga_ramp_down, fpga_ramp_status, fpga_discharge (the proof).
//
// Results: 0 or -1 unless told otherwise. A sequence goes on after a register failure, which its
// result tells; it only never arms a rising ramp whose set-up failed. Requires Share.
// Threads: a sequence is one thread's; the flags are read from any. The waits run on the caller's
// thread, on the machine's clock.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <utility>

#include "common/dev/fpga/fpga_dev_base.h"
#include "platform/thread_safety.h"

namespace Dev {

/// The two numbers of the ramp, in multiplier counts; one set per process.
struct rampdata_t {
  std::atomic<int> highlimit{0};  ///< what the amplitude goes up to
  std::atomic<int> stepvalue{0};  ///< how much at each step
};
extern rampdata_t rampdata;

enum RampUpMode : int {
  FPGAAutoCycleRampE = 0,
  FPGAAutoTimerRampE = 1,
  FPGAManualRampE = 2,
  FPGAInvalidRampE = 3,
};

enum eRAMP_PHASE : int {
  eRAMP_PHASE_ENABLE_SOURCE = 1,
  eRAMP_PHASE_RAMP_UP = 2,
  eRAMP_PHASE_ALL = 3,
  eRAMP_PHASE_DONE = 4,
};

/// What is left of an output that was ramped down: a bit each in the measurement's status word.
enum DischargeStatus : int {
  kDischarged = 0,
  kRampingDown = 256,
  kWatchedOnSource = 512,
  kWatchedOnMeas = 1024,
};

/// What the fast filter can tell of a channel (0 or 1), in volts or amps.
enum class FastReading {
  kPhasor,         ///< magnitude of the phasor
  kAverage,        ///< average over blocks
  kSampleAverage,  ///< average of the last block
  kMaxVoltage,     ///< largest excursion from the mean in the latest block, for messages only
};

struct FpgaLinks {
  /// A reading of the fast filter; nothing while there is no fast filter.
  std::function<std::optional<double>(FastReading what, int channel)> fast_filter{};
  /// How often a reading of this kind was made so far; without it every reading counts as new.
  std::function<std::int64_t(FastReading what)> fast_results{};
};

class FpgaRampControl : public virtual FpgaDevBase {
 public:
  FpgaRampControl() : FpgaDevBase(-1) {}

  /// Before other threads run.
  void SetLinks(FpgaLinks links) { links_ = std::move(links); }

  // --- Up. What comes at or above the largest amplitude ends there. ---

  /// Phase 1 sets the ramp up from `rampdata`, phase 2 arms it, eRAMP_PHASE_ALL does both. -1 too
  /// when the ramp is not allowed now.
  int SetFPGAStartRamp(eRAMP_PHASE phase);
  int RampToTarget(unsigned short target);
  /// Reaches `target` in `seconds`; for a cycle ramp that has been armed, else -1.
  int FixedDurationRampToTarget(unsigned short target, float seconds);

  // --- Down ---

  /// `freq` in Hz, above 0; `cycles` that the ramp may take, 1 or 2.
  int CalculateRampDownParams(float freq, int cycles);
  int SetFPGAStopRamp();
  int ClearRampEnable();
  /// Takes a winding-resistance test to `volts` (0: to nothing) in one manual step.
  int WRDischargeRamp(float volts);
  /// Waits for a ramp-down, then enables the source's primary side. Error word 71 and -1 when the
  /// amplitude does not come down.
  int FPGAEnablePrimary();

  // --- Status ---

  /// 1 when the amplitude is at its target, 0 when not, -1.
  int IsRampDone();
  /// 1 while the amplitude is on its way down, and when that cannot be told; else 0.
  int SourceRampToZero();
  /// Asked before each look: false when nobody needs the proof any more.
  using Wanted = std::function<bool()>;
  /// Waits until the hardware has finished a ramp-down: 3.1 s of polls 100 us apart at most, in a
  /// DC test 30 s. -1 too when the registers cannot be read for 10 ms, or nobody needs it.
  int CheckFPGARampStatus(const Wanted& wanted = [] { return true; });

  // --- Proof that the output is gone. `swap` is 1 when the voltage is on channel 2. ---

  /// One look at the fast filter; the result is in GetDischargeStatusFlag.
  void CheckFastFilterMeasurement(int swap);
  /// One look while the discharge is watched; on the source module at the fast filter too only if
  /// `check`. The status flag.
  int GetDischargeStatus(int check, int swap);
  enum class RampDown {
    kGone,          ///< or there is no fast filter that could tell
    kNotComplete,   ///< the ramp did not come down
    kStillPresent,  ///< the output is still there
    kAbandoned,
  };
  struct RampDownResult {
    RampDown outcome;
    double magnitude = 0;  ///< V or A that were still there
  };

  /// Waits for the ramp, then for the output: for 2000 looks 1 ms apart, three cycles, or in a DC
  /// test 30 s, whichever is longest, but no longer than 30 s beyond the looks. Changes no state
  /// but of the ramp; needs fresh phasors of the fast filter.
  RampDownResult AwaitRampDown(int swap, const Wanted& wanted);
  /// What follows from it: error word 71 or 70, or the waveform stopped if `stop`. False after a
  /// failure or an abandoned wait, and when the waveform cannot be stopped.
  bool EndRampDown(const RampDownResult& result, int stop);
  /// Both at once; without `check` nothing is waited for.
  bool WaitForRampDownToZero(int check, int swap, int stop);

  void MonitorDischargeFlag();
  void ClearDischargeFlag();
  /// True while the discharge is watched.
  bool PauseTest() const { return _dischargeflag; }
  /// DischargeStatus.
  int GetDischargeStatusFlag() const { return _dischargestatus; }
  /// When the present ramp-down began; 0 for none.
  std::time_t GetRampDownStartTime() const { return _rampdownstarttime; }

  // --- Settings ---

  void SetRampUpInProgress(bool running);
  bool IsRampUpInProgress() const;
  void SetRampupMode(RampUpMode mode) { _rampupmode = mode; }
  RampUpMode GetRampupMode() const { return _rampupmode; }
  void SetWaveformCycleLength(int samples) { _waveformGenCycleLength = samples; }
  int GetWaveformCycleLength() const { return _waveformGenCycleLength; }
  /// Volts or amps below which the output counts as gone.
  void SetACVoltageMin(float volts) { _acvoltagemin = volts; }
  void SetVLFVoltageMin(float volts) { _vlfvoltagemin = volts; }
  void SetDCCurrentMin(float amps) { _dccurrentmin = amps; }
  void SetHVACVoltageMin(float volts) { _hvacvoltagemin = volts; }

 protected:
  std::atomic<float> _frequency{0};             ///< Hz, of the ramp-down
  std::atomic<int> _stepdowndivider{0};         ///< steps of a timer ramp down
  std::atomic<int> _rampdowntimer{0};           ///< its interval, in units of 5 ms
  std::atomic<int> _waveformGenCycleLength{0};  ///< samples

  std::atomic<bool> _rampup{false};         ///< a ramp up was armed
  std::atomic<bool> _dischargeflag{false};  ///< the discharge is being watched
  std::atomic<int> _dischargestatus{kDischarged};
  std::atomic<RampUpMode> _rampupmode{FPGAInvalidRampE};
  std::atomic<std::time_t> _rampdownstarttime{0};
  std::atomic<std::time_t> _dischargestarttime{0};
  std::atomic<float> _acvoltagemin{0};
  std::atomic<float> _vlfvoltagemin{0};
  std::atomic<float> _dccurrentmin{0};
  std::atomic<float> _hvacvoltagemin{0};

 private:
  struct UpRamp;
  struct DownRamp;
  struct Proof;
  struct Look;

  static UpRamp ChooseUpRamp();
  void AdjustTarget();
  int SetUpRamp();
  int ClearOldWaveform();
  int CaptureSetUp();
  int ArmRamp();
  int ChangeRunningRamp();
  int LimitToAmplitude(int target) const;

  DownRamp ChooseDownRamp(int multiplier) const;

  static const Proof& WatchProof();
  static const Proof& WaitProof();
  /// What was made so far, of each kind of reading.
  using Made = std::array<std::int64_t, 3>;
  Made CountMade() const;
  /// `since`: what had been made when the output was told to go.
  Look LookAt(const Proof& proof, int channel, const Made& since) const;
  std::optional<double> Reading(FastReading what, int channel) const;
  RampDownResult AwaitProof(int swap, const Wanted& wanted);
  unsigned ReadOrZero(int offset);
  /// Error word 70: the output is still there, and how the ramp is.
  void SetVoltageAvailableError(int voltage, float f);
  int StopWaveform(int stop);

  FpgaLinks links_;
  Made watched_since_ Q5_GUARDED_BY(watch_mutex_){};
  mutable platform::Mutex watch_mutex_;
  mutable platform::Mutex rampupprogresslock;
  bool _rampupinprogress Q5_GUARDED_BY(rampupprogresslock) = false;
};

}  // namespace Dev
