// The estimator of phasors. The sample clock is a whole multiple of the test frequency, so every
// cycle has the same number of samples; the sums of samples times sine and cosine of that frequency
// over whole cycles yield magnitude and phase of both channels.
//
// Two run over the same samples: the slow filter (type 0) sums from its last reset, for the final
// reading; the fast one (type 1) resets itself every cycle, for the channels' control. The
// reference restarts with each reset of the slow filter, so a phase counts from the first sample
// after it; both channels and both filters share it.
//
// This class has everything except the sums: scaling, results, averages, resets. A subclass sums
// (arm_correlation.h).
//
// The end of a cycle stores its sums, and the phasors are made of them at the end of the block.
// When several cycles end in one block, only the last one gets phasors, because nobody could read
// the others. Only a log at a level that shows each cycle gets the phasors of each.
//
// Threads: update, updateF, updateDC, CalculateMaxVoltage, DoSpecialVLFReset, reset and Reinit by
// the producer, or while it works on no block (other threads ask for a reset by SetResetRequest);
// the others from any. No caller may hold `updatelock`.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>

#include "common/acquisition/block_products.h"
#include "common/acquisition/finished_cycle.h"
#include "common/xml/cal_tables.h"
#include "platform/thread_safety.h"

namespace acquisition {

class SineCorrelator {
 public:
  static constexpr int kSlow = 0;
  static constexpr int kFast = 1;
  static constexpr int kMovingAverage = 90;  ///< blocks

  /// `filtertype` kSlow or kFast. `resetCount`: pairs to a reset of its own, 0 for never, below 0
  /// for 8192. `refFrequency` (Hz) has no effect, `divider` is only logged. `swapChannels`
  /// 1: the voltage is on channel 2. `on_reset` is called at each reset of the slow filter.
  SineCorrelator(int filtertype, int resetCount, double refFrequency, long divider,
                 std::int64_t samplesPerCycle, int swapChannels,
                 std::function<void()> on_reset = {});
  virtual ~SineCorrelator() = default;
  SineCorrelator(const SineCorrelator&) = delete;
  SineCorrelator& operator=(const SineCorrelator&) = delete;

  // --- The sample path ---

  struct SlowBlock {
    const BlockProducts& products;  ///< valid until the next block
    const FinishedCycle* cycle;     ///< null: none has ended in the block
  };

  /// Sums a block of `pairs` pairs in the slow filter. A block that is too large is logged and not
  /// summed.
  virtual SlowBlock update(const int* words, int pairs) = 0;
  /// Sums the slow filter's products of the same block in the fast one, which multiplies nothing.
  /// Null: no cycle has ended in the block.
  virtual const FinishedCycle* updateF(const BlockProducts& products) = 0;
  /// To be called when the readers can see the cycle that was returned last.
  void Published() { has_result_ = true; }
  /// For a filter that is fed by other means than the two above.
  virtual bool DSPInterfaceReady() const = 0;
  virtual int GetBlockNoMask() const = 0;
  virtual void newDataReady(int pairs, int position) = 0;
  /// The DC averages, once a block in a DC test; smoothed as long as `smooth`.
  void updateDC(const PairFigures& figures, bool smooth);
  /// Peak of the voltage channel's block, V.
  void CalculateMaxVoltage(const PairFigures& figures);
  /// Resets once the configured part of a very slow cycle has passed.
  void DoSpecialVLFReset();

  // --- Resets ---

  /// Starts a new sum. Phasors stay while a test runs. The argument has no effect.
  virtual void reset(int);
  /// New samples per cycle and, on the fast filter, pairs to a reset; also takes the test
  /// frequency.
  virtual void Reinit(std::int64_t samplesPerCycle, std::int64_t resetCount);
  void PhasorsReset();
  void set_autoreset(std::int64_t pairs);

  // --- Results: arrays of two, V or A ---

  virtual void GetPhasors(phasortoo_t* phasors) const;
  /// Counts of results so far: phasors, averages of GetAvgPhasors, blocks of GetAvgs. A caller that
  /// needs a present reading waits for two more, because the first may contain older samples.
  std::int64_t GetResultCount() const { return results_made_; }
  std::int64_t GetAverageCount() const { return averages_made_; }
  std::int64_t GetBlockCount() const { return blocks_begun_; }
  void GetAvgPhasors(phasortoo_t* phasors) const;
  void GetAvgs(phasortoo_t* averages) const;
  void GetOffsetPhasors(phasortoo_t* offsets) const;
  void ClearOffsetPhasors();
  /// Keeps the residual DC: since the last reset (slow filter) or of the latest block (fast).
  void StoreOffsetPhasors();
  void calc_std_dev(double* deviations) const;
  double GetMaxVoltage() const { return _maxvoltage; }
  std::int64_t GetSamplesPerCycle() const;
  /// Whole cycles since the last reset.
  std::int64_t GetCycleCount() const;
  /// Pairs since then.
  std::int64_t GetSampleCount() const;
  /// A result has been published since the last reset that came from outside.
  bool HasResult() const { return has_result_; }
  bool IsInMiddleOfCycle() const { return in_middle_of_cycle; }
  /// Time since the last reset: seconds, in a very-low-frequency test 1024ths of a cycle; at most
  /// 32767.
  short GetSettleTime() const;
  /// Seconds since the last reset.
  double MonitorSampleCount() const;

  // --- Settings ---

  void set_frequencies(double refFrequency, long divider, std::int64_t samplesPerCycle);
  /// A new test frequency, while the samples per cycle stay.
  void SetSignalFrequency(float hertz) { _signal_freq = hertz; }
  /// Sets the first range of both channels' modes. 0; -1 with an error word for an unknown mode.
  int SetMeasurementModes();
  /// The range entry that channel 0 or 1 uses from now on. 0, or -1 for an unknown mode or channel.
  int SetScaleFactors(int channel, int mode, int range);
  /// The entry in use; channel 0 or 1.
  const Dev::mode_range_table_ent* GetRange(int channel) const {
    return channel == 0 ? _ch1_measurementmode : _ch2_measurementmode;
  }
  /// Logs a `scale` (V or A a count) that is in no table; changes nothing else.
  int SetScaleFactorsNonRange(int channel, int mode, float scale);

  // --- Flags that all filters share ---

  static void SetVLFFlag() { _VLFflag = true; }
  static void ResetVLFFlag();
  static bool GetVLFFlag() { return _VLFflag; }
  static bool GetRestartAcquisition() { return _restartacquisition; }
  static void SetRestartAcquisition(bool restart) { _restartacquisition = restart; }
  /// A slow cycle has ended since the test's parameters changed.
  static void SetCycleComplete(bool complete) { _cyclecomplete = complete; }
  static bool CycleComplete() { return _cyclecomplete; }

 protected:
  using RangeEntry = std::atomic<const Dev::mode_range_table_ent*>;

  void reset_accumulators() Q5_REQUIRES(updatelock);
  short CalculateSampleCount() const Q5_REQUIRES(updatelock);
  /// Of the next pair in its cycle.
  std::int64_t PlaceInCycle() const Q5_REQUIRES(updatelock) {
    return _sample_count - _cycle_count * _samples_per_cycle;
  }
  /// Pairs until the cycle or the time to the next reset ends, at most `limit`.
  int PairsToNextEnd(int limit) const Q5_REQUIRES(updatelock);
  /// Counts pairs that have been summed; true at the end of a cycle, whose sums it keeps.
  bool CountPairs(int pairs) Q5_REQUIRES(updatelock);
  bool ResetDue() const Q5_REQUIRES(updatelock);

  // Called without `updatelock`.
  void BeginBlock();
  void TakeFigures(const PairFigures& figures);
  void CaptureNewCycleEvent();
  /// After the end of a cycle.
  void EndCycle();
  /// A reset by the filter itself, after which its results stay valid.
  void ResetWindow();
  /// At the end of a block: makes the phasors of the last cycle that has ended.
  const FinishedCycle* EndBlock();

  std::array<double, 2> _cacc Q5_GUARDED_BY(updatelock){};  ///< cosine sums, in sample counts
  std::array<double, 2> _sacc Q5_GUARDED_BY(updatelock){};  ///< sine sums
  /// Sample sums since the last reset.
  std::array<double, 2> _cycle_avgacc Q5_GUARDED_BY(updatelock){};
  double _phase_rate Q5_GUARDED_BY(updatelock) = 0;          ///< rad a sample
  std::int64_t _sample_count Q5_GUARDED_BY(updatelock) = 0;  ///< pairs since the last reset
  std::int64_t _cycle_count Q5_GUARDED_BY(updatelock) = 0;   ///< whole cycles since then
  std::atomic<bool> in_middle_of_cycle{false};
  short _settletime Q5_GUARDED_BY(updatelock) = 0;
  mutable platform::Mutex updatelock;

 private:
  void MakeResult();
  bool CheckValidModes() const;
  int VoltageChannel() const { return _swapchannels == 1 ? 1 : 0; }
  const char* TypeText() const { return _filtertype == kFast ? "fast" : "slow"; }
  /// V or A a count.
  double Scale(int channel) const;
  void RecordRanging(int channel, float fullscale, unsigned code, float scale) const;
  void LogPhasors() const;
  bool IsItTimeToLog(std::int64_t cycle) const;
  /// V or A a count at the terminals: the scale of the range and of the divider before the channel.
  double TotalScale(int channel) const;
  bool HasSecondLead(int channel) const;
  double Lead(int channel) const;
  /// The target of the test, V or A; 0 when it is not known.
  double Expected() const;
  bool IsLarge() const;
  void calc_phasors();
  void RunMeasurementScaling();
  void StoreResult();
  void CheckPlausible();
  double MovingAverage(int channel, double average) Q5_REQUIRES(updatelock);
  void RunMeasurementScalingDC(std::array<double, 2>& averages) const;
  double BlockAverage(int channel) const Q5_REQUIRES(phasorlock);
  double Seconds() const Q5_REQUIRES(updatelock);

  const int _filtertype;
  const int _swapchannels;
  const std::function<void()> on_reset_;
  double _sample_freq Q5_GUARDED_BY(updatelock) = 0;  ///< Hz
  std::atomic<double> _signal_freq{0};
  std::int64_t _samples_per_cycle Q5_GUARDED_BY(updatelock) = 0;
  std::int64_t _nsamples_to_reset Q5_GUARDED_BY(updatelock) = 0;  ///< 0: never

  std::array<double, 2> _mvavgacc Q5_GUARDED_BY(updatelock){};       ///< sum of the moving average
  double _mvavgbuff[2][kMovingAverage] Q5_GUARDED_BY(updatelock){};  ///< ring of block averages
  std::int64_t _mvavgcount Q5_GUARDED_BY(updatelock) = 0;  ///< blocks since the last reset

  /// The sums that the end of a cycle stored, until its result is made.
  struct CycleEnd {
    std::array<double, 2> cacc{};
    std::array<double, 2> sacc{};
    std::int64_t samples = 0;
    std::int64_t cycle = 0;
    int waiting = 0;       ///< cycles, this one the last
    bool cleared = false;  ///< a reset after the cycle has cleared the phasors
  };

  // Of the producer: the last cycle's result.
  CycleEnd ended_;
  FinishedCycle finished_;
  bool has_finished_ = false;  ///< a cycle, in this block
  double large_squared_ = 0;   ///< a magnitude in counts that is not plausible, squared
  std::array<double, 2> _mag{};
  std::array<double, 2> _phase{};
  int printresult = 0;

  // The owner of the entries never removes them, so a pointer is enough.
  RangeEntry _ch1_measurementmode;
  RangeEntry _ch2_measurementmode;

  mutable platform::Mutex phasorlock;
  phasorarr_t _filter[2] Q5_GUARDED_BY(phasorlock){};
  int _filterindex Q5_GUARDED_BY(phasorlock) = 0;  ///< buffer to write
  int _phasorindex Q5_GUARDED_BY(phasorlock) = 0;  ///< buffer to read
  std::array<double, 2> _avgfilter Q5_GUARDED_BY(phasorlock){};
  std::array<phasortoo_t, 2> offset_phasors Q5_GUARDED_BY(phasorlock){};
  PairFigures figures_ Q5_GUARDED_BY(phasorlock){};  ///< of the latest block

  std::atomic<double> _maxvoltage{0};
  std::atomic<std::int64_t> results_made_{0};
  std::atomic<std::int64_t> averages_made_{0};
  std::atomic<std::int64_t> blocks_begun_{0};
  std::atomic<bool> has_result_{false};

  static inline std::atomic<bool> _VLFflag{false};
  static inline std::atomic<bool> _cyclecomplete{false};
  static inline std::atomic<bool> _restartacquisition{false};
};

}  // namespace acquisition
