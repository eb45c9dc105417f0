// Ramps of the waveform's amplitude, which the FPGA runs by itself from its registers: how they are
// set up and armed, and how the discharge of the output is proved once the amplitude is down.
//
// Implemented by theme: fpga_ramp_up, fpga_ramp_down, fpga_ramp_status, fpga_discharge (the proof).
//
// Results: 0 or -1 unless stated otherwise. A sequence continues after a register failure and
// returns it in its result, but it never arms a rising ramp whose set-up failed. Requires Share.
// Threads: one thread runs a sequence; any thread reads the flags. The waits run on the caller's
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
  std::atomic<int> highlimit{0};  ///< the end of the ramp up
  std::atomic<int> stepvalue{0};  ///< the size of each step
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

/// What remains of an output after a ramp down: one bit each in the measurement's status word.
enum DischargeStatus : int {
  kDischarged = 0,
  kRampingDown = 256,
  kWatchedOnSource = 512,
  kWatchedOnMeas = 1024,
};

/// The readings of the fast filter for a channel (0 or 1), in volts or amps.
enum class FastReading {
  kPhasor,         ///< magnitude of the phasor
  kAverage,        ///< average over blocks
  kSampleAverage,  ///< average of the last block
  kMaxVoltage,     ///< largest excursion from the mean in the latest block, for messages only
};

struct FpgaLinks {
  /// A reading of the fast filter; nothing while there is no fast filter.
  std::function<std::optional<double>(FastReading what, int channel)> fast_filter{};
  /// Count of the readings of this kind so far; without it every reading counts as new.
  std::function<std::int64_t(FastReading what)> fast_results{};
};

class FpgaRampControl : public virtual FpgaDevBase {
 public:
  FpgaRampControl() : FpgaDevBase(-1) {}

  /// To be called before other threads run.
  void SetLinks(FpgaLinks links) { links_ = std::move(links); }

  // --- Up. The largest amplitude limits every target. ---

  /// Phase 1 sets the ramp up from `rampdata`, phase 2 arms it, eRAMP_PHASE_ALL does both. -1 also
  /// when the ramp is not allowed now.
  int SetFPGAStartRamp(eRAMP_PHASE phase);
  int RampToTarget(unsigned short target);
  /// Reaches `target` in `seconds`. -1 without an armed cycle ramp.
  int FixedDurationRampToTarget(unsigned short target, float seconds);

  // --- Down ---

  /// `freq` in Hz, above 0; `cycles`, 1 or 2: how many the ramp may take.
  int CalculateRampDownParams(float freq, int cycles);
  int SetFPGAStopRamp();
  int ClearRampEnable();
  /// Brings a winding-resistance test down to `volts`, also 0, in one manual step.
  int WRDischargeRamp(float volts);
  /// Waits for a ramp-down, then enables the source's primary side. Error word 71 and -1 when the
  /// amplitude does not come down.
  int FPGAEnablePrimary();

  // --- Status ---

  /// 1 when the amplitude is at its target, 0 when not, -1 when that is not known.
  int IsRampDone();
  /// 1 while the amplitude comes down, and when that is not known; else 0.
  int SourceRampToZero();
  /// Called before each look; false when nobody needs the proof any more.
  using Wanted = std::function<bool()>;
  /// Waits until the hardware has finished a ramp-down, with polls 100 us apart for at most 3.1 s,
  /// in a DC test 30 s. -1 also when the registers cannot be read for 10 ms, or nobody needs the
  /// proof.
  int CheckFPGARampStatus(const Wanted& wanted = [] { return true; });

  // --- Proof of the discharge. `swap` is 1 when the voltage is on channel 2. ---

  /// One look at the fast filter; the result is in GetDischargeStatusFlag.
  void CheckFastFilterMeasurement(int swap);
  /// One look while the discharge is watched; the source module looks at the fast filter only if
  /// `check`. Returns the status flag.
  int GetDischargeStatus(int check, int swap);
  enum class RampDown {
    kGone,          ///< also without a fast filter
    kNotComplete,   ///< the ramp did not come down
    kStillPresent,  ///< the output is still there
    kAbandoned,
  };
  struct RampDownResult {
    RampDown outcome;
    double magnitude = 0;  ///< V or A of the remaining output
  };

  /// Waits for the ramp, then for the output: for 2000 looks 1 ms apart, three cycles, or in a DC
  /// test 30 s, whichever is longest, but at most 30 s beyond the looks. Changes only the state of
  /// the ramp. Needs fresh phasors of the fast filter.
  RampDownResult AwaitRampDown(int swap, const Wanted& wanted);
  /// Acts on the result: raises error word 71 or 70, or stops the waveform if `stop`. False after a
  /// failure or an abandoned wait, and when the waveform cannot be stopped.
  bool EndRampDown(const RampDownResult& result, int stop);
  /// Both in one call; does not wait without `check`.
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
  /// Volts or amps below which the output counts as discharged.
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
  /// The count of readings so far, of each kind.
  using Made = std::array<std::int64_t, 3>;
  Made CountMade() const;
  /// `since`: the counts when the output was ordered down.
  Look LookAt(const Proof& proof, int channel, const Made& since) const;
  std::optional<double> Reading(FastReading what, int channel) const;
  RampDownResult AwaitProof(int swap, const Wanted& wanted);
  unsigned ReadOrZero(int offset);
  /// Error word 70: the output remains; with the state of the ramp.
  void SetVoltageAvailableError(int voltage, float f);
  int StopWaveform(int stop);

  FpgaLinks links_;
  Made watched_since_ Q5_GUARDED_BY(watch_mutex_){};
  mutable platform::Mutex watch_mutex_;
  mutable platform::Mutex rampupprogresslock;
  bool _rampupinprogress Q5_GUARDED_BY(rampupprogresslock) = false;
};

}  // namespace Dev
