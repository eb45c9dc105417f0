// The range of a channel, which is fixed while the test's parameters stay: the steps of a channel
// at the start of a test, at new parameters, and at its end.
//
// A range is taken in steps, one or more a block: write the range register (the CPLD refuses it
// while it works on something else), have the status read until the CPLD confirms, take the scale
// factors and corrections, let the filter settle, restart the correlators, wait for their first
// cycle. Meanwhile the status word contains Ranging; then the data is valid. The offset DACs stay
// where they are.
//
// Threads: any, one call at a time; the channel holds its event lock. Only Stop waits, for a CPLD
// that is busy.
#pragma once

#include <atomic>

#include "common/acquisition/ranging/channel_parameters.h"
#include "platform/clock.h"

namespace AcquisitionSystem {

class AcqChan;

/// Seconds until a filter has settled, by filter index; below 0 for filters that never measure.
inline constexpr double analogfilterdelays[16] = {-1.0, 0.1,  0.1, 18.0, 6.0, 1.8, 0.7, 0.5,
                                                  0.2,  0.15, 0.1, 0.1,  0.1, 0.1, 0.1, -1.0};
/// The longer delay of both channels' filters, s; 0.1 unless both are filters that measure.
double get_filter_delay_time(int first, int second);

class FixedRange {
 public:
  /// `channel` owns this.
  explicit FixedRange(AcqChan& channel) : channel_(channel) {}

  /// The test's parameters are new or have changed: takes the range from the first step.
  void Start(const ChannelParameters& parameters);
  /// The parameters will change further: starts again at the next block.
  void Change(const ChannelParameters& parameters) { parameters_ = parameters; }
  /// A block has come: does the next steps, or starts again when the range is no longer in force.
  void Step();
  /// The test is over: the channel returns to its first range, and its data is not valid.
  void Stop();

  /// True when phasors have the scale of the range that the front end has confirmed, whatever else
  /// spoils results. Any thread.
  bool IsScaled() const { return scaled_; }

 private:
  enum class Phase { kRest, kIdle, kWrite, kConfirm, kSettle, kRestart, kFirstCycle, kGivenUp };

  void Begin();
  /// The index for the test: the host's own if it is valid; else, when the target level is known,
  /// the most sensitive one whose full scale is above its peak; else the least sensitive one.
  int Choose() const;
  /// The front end has confirmed the range, and the correlators use it.
  bool IsTaken() const;
  bool InForce() const;

  void Write();
  void Confirm();
  void TakeScale();
  void Settle();
  void Restart();
  void AwaitFirstCycle();
  void LookAtFrontEnd();
  void GiveUp(const char* what, short code);

  AcqChan& channel_;
  Phase phase_ = Phase::kRest;
  ChannelParameters parameters_;
  unsigned version_ = 0;  ///< of the parameters that the range is taken for
  int index_ = 0;         ///< of the range
  int attempts_ = 0;
  platform::Nanoseconds settled_at_{0};  ///< monotonic
  platform::Nanoseconds next_look_{0};   ///< likewise
  int lost_looks_ = 0;                   ///< one after another
  std::atomic<bool> scaled_{false};
};

}  // namespace AcquisitionSystem
