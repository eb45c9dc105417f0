// The channels that measure a signal that another module drives: the two of this module.
#pragma once

#include "common/acquisition/ranging/acq_chan.h"

namespace AcquisitionSystem {

/// One point of a frequency sweep: a load seen as a capacitance.
struct rng_extrapolation_ent {
  float f;                                   ///< Hz
  float V;                                   ///< RMS
  float I;                                   ///< RMS
  float C;                                   ///< F
  unsigned char range_code[ACQ_CHAN_COUNT];  ///< in use then
};

class AcqChFollowing : public AcqChan {
 public:
  static constexpr int kExtrapEntries = 24;

  using AcqChan::AcqChan;

  /// Delivers `event` to channel 1, then to channel 2. Returns the first negative result, else 0.
  static int notify_both_channels(EXTERNAL_EVENT event);

  const char* get_chan_type() const override { return "Following"; }
  int init_test_parameters() override;
  void init_parameters_for_update() override;
  void set_control_type() override;

  const rng_extrapolation_ent* get_extrap() const { return extrap.data(); }
  int get_extrap_index() const { return extrap_index; }
  bool get_accepting_extrap_values() const { return accepting_extrap_values != 0; }
  void set_accepting_extrap_values(int accepting) { accepting_extrap_values = accepting; }

 protected:
  std::array<rng_extrapolation_ent, kExtrapEntries> extrap{};
  std::atomic<int> extrap_index{0};
  std::atomic<int> init_extrap_entry{0};
  std::atomic<int> accepting_extrap_values{0};
};

class AcqChFollowing1 : public AcqChFollowing {
 public:
  /// The process's own, made and registered on the first call. Null without front ends.
  static AcqChFollowing1* Instance();

  AcqChFollowing1(Dev::MeasChannel& front_end, Dev::MID module);
  Input_Mode get_mode() const override;
};

class AcqChFollowing2 : public AcqChFollowing {
 public:
  static AcqChFollowing2* Instance();

  AcqChFollowing2(Dev::MeasChannel& front_end, Dev::MID module);
  Input_Mode get_mode() const override;
};

}  // namespace AcquisitionSystem
