// The range of a channel, fixed for as long as the test's parameters stay: what a channel does when
// it gets a test, a new parameter, or its end.
//
// A range is taken in steps, one or more a block: write the range register (the CPLD refuses it
// while it works on something else), have the status read until the CPLD confirms, take the scale
// factors and corrections, let the filter settle, restart the correlators, wait for their first
// cycle. Meanwhile the status word says Ranging; then the data is valid. The offset DACs stay where
// they are.
//
// Threads: any, one call at a time; the channel holds its event lock. Only Stop waits, for a CPLD
// that is busy.
#pragma once

#include <atomic>

#include "platform/clock.h"

namespace AcquisitionSystem {

class AcqChan;

/// Seconds that a filter takes to settle, by filter index; below 0 for those that never measure.
inline constexpr double analogfilterdelays[16] = {-1.0, 0.1,  0.1, 18.0, 6.0, 1.8, 0.7, 0.5,
                                                  0.2,  0.15, 0.1, 0.1,  0.1, 0.1, 0.1, -1.0};
/// The longer delay of both channels' filters, s; 0.1 when one is none that measures.
double get_filter_delay_time();

class FixedRange {
 public:
  /// `channel` owns this.
  explicit FixedRange(AcqChan& channel) : channel_(channel) {}

  /// The test's parameters have come, or changed: takes the range from the beginning.
  void Start();
  /// A block has come: goes on, and begins anew by itself when a range, a filter or a frequency is
  /// no longer that of the test.
  void Step();
  /// The test is over: the channel goes back to its first range, and its data is not valid.
  void Stop();

  /// Phasors are to the scale of the range that the front end has confirmed, whatever else spoils
  /// results. Any thread.
  bool IsScaled() const { return scaled_; }

  /// The index that suits the test: the host's own, when it names one that there is; else the most
  /// sensitive one whose full scale is above the target level's peak, where a level is known; else
  /// the least sensitive one.
  int Choose() const;

 private:
  enum class Phase { kIdle, kWrite, kConfirm, kSettle, kRestart, kFirstCycle, kGivenUp };

  /// What a range is taken for.
  struct Setting {
    int mode = 0;  ///< Msg::Input_Mode
    int index = 0;
    int filters[2] = {};
    float frequency = 0;  ///< Hz
    bool operator==(const Setting&) const = default;
  };

  Setting Wanted() const;
  /// The front end has confirmed the range, and the correlators have been told.
  bool IsTaken() const;
  bool InForce() const;
  int HostRange() const;
  /// Peak at the channel's input, V or A; 0 when it is not known.
  double TargetPeak() const;

  void Write();
  void Confirm();
  void TakeScale();
  void Settle();
  void Restart();
  void AwaitFirstCycle();
  void LookAtFrontEnd();
  void GiveUp(const char* what, short code);

  AcqChan& channel_;
  Phase phase_ = Phase::kIdle;
  Setting setting_;
  int attempts_ = 0;
  platform::Nanoseconds settled_at_{0};  ///< monotonic
  platform::Nanoseconds next_look_{0};   ///< likewise
  int lost_looks_ = 0;                   ///< one after another
  std::atomic<bool> scaled_{false};
};

}  // namespace AcquisitionSystem
