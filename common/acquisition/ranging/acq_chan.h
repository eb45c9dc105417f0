// A channel: one measuring input with the state of its channel logic.
//
// SampleChannel is its interface to acquisition. FixedRange takes the range of a test.
//
// Threads: the producer stores figures and status, the consumer delivers block events, request
// handlers set tests up. Fields are read and written independently. The figures of a block and
// those of a cycle have a lock and are read as a whole. Events are delivered one at a time.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "common/acquisition/dobj.h"
#include "common/acquisition/ranging/channel_enums.h"
#include "common/acquisition/ranging/channel_parameters.h"
#include "common/acquisition/ranging/control_type.h"
#include "common/acquisition/ranging/fixed_range.h"
#include "common/acquisition/ranging/full_cycle.h"
#include "common/acquisition/ranging/result_guard.h"
#include "common/acquisition/sample_channel.h"
#include "common/calibration/phasor.h"
#include "common/dev/fpga/fpga_registers.h"
#include "common/dev/i2c/front_end/meas_channel.h"
#include "common/msg/state/hmp_data.h"
#include "platform/thread_safety.h"

namespace AcquisitionSystem {

using acquisition::SineCorrelator;
using Dev::mode_range_table_ent;
using Msg::Input_Mode;

/// No limit on the ranges that auto-ranging may use.
inline constexpr int kNoShuntLimit = 0x7FFFFFFF;

/// Both channels' front ends, for the channels that the process makes itself. Before the first
/// Instance(); not owned.
void SetFrontEnds(Dev::MeasChannel& first, Dev::MeasChannel& second);

class AcqChan : public DObj, public acquisition::SampleChannel {
 public:
  /// Centres the channel's offset DACs. `front_end` outlives the channel, `module` is the module
  /// that the daemon runs on.
  AcqChan(ACQ_CHAN_NUM ch, const char* name, Dev::MeasChannel& front_end, Dev::MID module);
  AcqChan(const AcqChan&) = delete;
  AcqChan& operator=(const AcqChan&) = delete;
  /// Removes the channel from the registry.
  ~AcqChan() override;

  // --- Registry. Null when no channel was made ---

  static AcqChan* get_AcqCh_instance(ACQ_CHAN_NUM ch);
  static void set_AcqCh_instance(ACQ_CHAN_NUM ch, AcqChan* channel);
  static ACQ_CHAN_NUM other_chan(ACQ_CHAN_NUM ch) { return ch == ACQ_CH1 ? ACQ_CH2 : ACQ_CH1; }
  /// The next channel; ACQ_CHAN_COUNT after the last.
  static ACQ_CHAN_NUM inc(ACQ_CHAN_NUM ch) { return ch == ACQ_CH1 ? ACQ_CH2 : ACQ_CHAN_COUNT; }

  // --- The correlators, one pair for both channels ---

  /// With correlators, both channels are set up for a test. Null pointers remove them.
  static void set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow);
  // Only for the sample threads and the thread that starts and stops acquisition. Other threads ask
  // acquisition, which owns the correlators.
  static SineCorrelator* get_sineCorr_Fast() { return sineCorr_Fast; }
  static SineCorrelator* get_sineCorr_Slow() { return sineCorr_Slow; }
  /// Resets both correlators and both channels' figures of a cycle, and clears the request. Only
  /// the producer calls it; other threads ask for it.
  static void reset_sine_correlators();
  static void set_reset_sine_correlators_request(int request) {
    acquisition::SetResetRequest(request);
  }
  static int get_reset_sine_correlators_request() { return acquisition::GetResetRequest(); }

  // --- Identity ---

  ACQ_CHAN_NUM get_hwch() const { return hwch; }
  Dev::MID get_module_ID() const { return module_ID; }
  bool IsSourceModule() const { return module_ID == Dev::SOURCE_MOD; }
  Dev::MeasChannel& FrontEnd() { return front_end_; }

  virtual Input_Mode get_mode() const = 0;
  virtual const char* get_chan_type() const = 0;

  // --- The test ---

  /// To be called before each test. 1, or -1 for an unknown channel number.
  virtual int init_test_parameters();
  /// To be called before each update of the parameters within a test.
  virtual void init_parameters_for_update() = 0;
  virtual void set_control_type() = 0;

  RNG_CONTROL_TYPE get_control_type() const { return control_type; }
  const char* get_control_type_txt() const { return control_type_text(control_type); }
  DC_OFFSET_TYPE get_dc_offset_type() const;
  const char* get_offset_type_txt() const { return offset_type_text(get_dc_offset_type()); }
  static short get_test_type() { return Msg::ghmp->testype; }
  static void set_test_type(short type) { Msg::ghmp->testype = type; }
  static float get_max_value() { return static_cast<float>(Msg::ghmp->maxval); }
  /// `freq` (Hz) is one of a test at very low frequency.
  static bool IsItVLF(float freq);

  // --- Range ---

  int get_range_index() const override { return range_index; }
  void set_range_index(int index) { range_index = index; }
  const mode_range_table_ent* get_range_info_in_use() const override { return range_info_in_use; }
  /// Ignores null.
  void set_range_info_in_use(const mode_range_table_ent* entry);
  const mode_range_table_ent* get_meas() const { return meas; }
  void set_meas(const mode_range_table_ent* entry) { meas = entry; }
  const mode_range_table_ent* get_range_table_ent(int mode, int index) const;
  /// The index of a range in the table of `mode` (by default the present one); -1 when the table
  /// has no such range.
  int find_range_index(unsigned char code) const { return find_range_index(code, get_mode()); }
  int find_range_index(unsigned char code, int mode) const;
  int find_range_index(const mode_range_table_ent* entry) const {
    return find_range_index(entry, get_mode());
  }
  int find_range_index(const mode_range_table_ent* entry, int mode) const;

  // --- Status word ---

  /// The channel logic's word, or-ed with the bits of the samples: a result of bad samples is never
  /// valid, whatever the logic reports.
  std::uint16_t get_status_flag() const override;
  /// The logic's word becomes (word & mask) | bits; it stays when both are 0xFFFF.
  void set_status_flag(unsigned short mask, unsigned short bits);
  const char* status_text() const override { return status_flag_text(get_status_flag()); }
  /// See FixedRange.
  bool IsScaled() const { return fixed_range_.IsScaled(); }
  ResultGuard& Guard() { return result_guard_; }
  /// A test is set up: the faults of the one before no longer count.
  static void begin_test();
  /// Its parameters are known: each channel takes them at the next block that counts.
  static void announce_parameters();
  /// State of both correlators for the guard.
  static ResultGuard::Sums get_sums();

  // --- Front end ---

  int get_last_cpld_range() const override;
  Dev::MeasChStaReg get_last_status_reg() const;
  /// Asks for the CPLD's status at the channel's next block.
  void set_CPLD_status_request() override { CPLD_status_request = 1; }
  int get_CPLD_status_request() const { return CPLD_status_request; }
  /// Reads the status if it was asked for or `force` is set, and clears the request. False when it
  /// could not be read.
  bool get_CPLD_status_upon_request(int force);
  /// All four offset DACs. 3, or a negative status.
  int center_dc_offset_reg_bdcst() { return front_end_.center_dc_offset_reg_bdcst(); }

  // --- Events ---

  /// Any thread; waits while another event is delivered to this channel. 0, also for an unknown
  /// event number.
  int external_event_notify(EXTERNAL_EVENT event);
  /// How often the channel has got `event`.
  std::int64_t GetEventCount(EXTERNAL_EVENT event) const;

  /// Blocks still to ignore.
  void set_sample_discard_count(int count);
  int get_sample_discard_count() const { return sample_discard_count; }
  /// Returns the count and reduces it by one, not below 0.
  int sample_discard_countdown();

  /// True for the first call after it was set.
  int get_just_recovered() { return just_recovered.exchange(0); }
  void set_just_recovered(int recovered) { just_recovered = recovered; }

  // --- The latest block (sample counts) ---

  void StoreBlockFigures(const acquisition::BlockFigures& figures) override;
  acquisition::BlockFigures GetBlockFigures() const;
  int get_max_sample() const { return GetBlockFigures().max_sample; }
  int get_avg_sample() const { return GetBlockFigures().avg_sample; }
  int get_max_amplitude() const { return GetBlockFigures().max_amplitude; }
  /// The conditions of its samples.
  void set_sample_status(sample_block_status status);
  sample_block_status get_sample_status() const;

  // --- A whole cycle; see full_cycle.h ---

  /// Blocks in a cycle of the signal; 10 in a DC test, 32 while it is not known.
  int get_sample_sets_per_cycle() const;
  void full_cycle_reset_statistics();
  /// Adds the latest block; 0 for a block that must not count.
  void full_cycle_update_statistics(int valid);
  bool full_cycle_statistics_available() const;
  std::int64_t full_cycle_get_avg_sample() const;
  std::int64_t full_cycle_get_min_sample() const;
  std::int64_t full_cycle_get_max_sample() const;
  std::int64_t full_cycle_get_max_amplitude() const;
  int full_cycle_is_clipping() const;
  bool full_cycle_statistics_in_range() const;
  double full_cycle_ampl_percent_of_range() const;

  // --- Phasors. 0, or -1 without correlators ---

  /// False while a test at very low frequency has not seen a whole cycle.
  static bool phasors_stable(SineCorrelator* correlator);
  /// `out` is an array of two, one per channel, in units of the range.
  static int get_standard_dev(double* out);
  /// The corrected phasors of the fast correlator; `out` is an array of two.
  static int get_corrected_phasors(acquisition::phasortoo_t* out);
  static int get_correct_avgs(acquisition::phasortoo_t* out);
  static int clear_dc_offsets();

  // --- State of the range selection ---

  std::atomic<int> source{Msg::internalLVVoltageSourceE};  ///< Msg::SOURCE_E
  std::atomic<int> shunt_limit_range{kNoShuntLimit};  ///< highest index that auto-ranging may use
  std::atomic<int> valid_data_last_time{0};  ///< valid data was reported since the last reset
  /// Monotonic time at which the measurement relays are warm in a test at very low frequency.
  std::atomic<platform::Nanoseconds> vlf_warm_time_expires{platform::Nanoseconds(0)};
  std::atomic<bool> vlf_warm_time_expired_last_time{false};
  // Values from other programs.
  std::atomic<int> start_received{0};
  std::atomic<int> drv_chg_complete_received{0};
  std::atomic<int> src_enabled_event_received{0};
  std::atomic<int> notify_sent{0};
  const float voltagefudgefactor;  ///< margins on ranges
  const float currentfudgefactor;

 protected:
  void ClearCpldStatusRequest() { CPLD_status_request = 0; }

  std::atomic<RNG_CONTROL_TYPE> control_type{RNG_CONTROL_AUTO};

 private:
  void ResetForTest();
  int TakeFirstRange();
  void WriteRange();
  void StartFiguresOfTest();

  void HandleEvent(EXTERNAL_EVENT event) Q5_REQUIRES(ext_event_mutex);
  ChannelParameters NextParameters() Q5_REQUIRES(ext_event_mutex);
  template <class Matches>
  int FindRange(int mode, Matches matches) const;
  int SetsPerCycle() const Q5_REQUIRES(figures_lock_);
  template <class Read>
  auto FromCycle(Read read) const {
    const platform::Lock lock(figures_lock_);
    return read(full_cycle_, SetsPerCycle());
  }

  static std::atomic<SineCorrelator*> sineCorr_Fast;
  static std::atomic<SineCorrelator*> sineCorr_Slow;
  static std::array<std::atomic<AcqChan*>, ACQ_CHAN_COUNT> instance_array;

  const ACQ_CHAN_NUM hwch;
  const Dev::MID module_ID;
  Dev::MeasChannel& front_end_;
  const Dev::MeasChCpldIdRev cpldid_reg_struct;

  std::atomic<int> range_index{1};
  std::atomic<const mode_range_table_ent*> range_info_in_use;
  std::atomic<const mode_range_table_ent*> meas;
  std::atomic<std::uint16_t> status_flag{Data_Not_Valid};
  ResultGuard result_guard_;
  std::atomic<int> sample_discard_count{0};
  std::atomic<int> just_recovered{0};
  std::atomic<int> CPLD_status_request{0};

  mutable platform::Mutex status_reg_lock_;
  Dev::MeasChStaReg last_status_reg Q5_GUARDED_BY(status_reg_lock_){};
  bool status_read_ Q5_GUARDED_BY(status_reg_lock_) = false;

  mutable platform::Mutex ext_event_mutex;  // held for each event, which may change fixed_range_
  std::array<std::int64_t, ACQ_EVT_TYPES> event_counts_ Q5_GUARDED_BY(ext_event_mutex){};
  unsigned parameters_version_ Q5_GUARDED_BY(ext_event_mutex) = 0;
  FixedRange fixed_range_{*this};

  mutable platform::Mutex figures_lock_;
  acquisition::BlockFigures this_sample_set Q5_GUARDED_BY(figures_lock_);
  sample_block_status block_status_ Q5_GUARDED_BY(figures_lock_){};
  FullCycle full_cycle_ Q5_GUARDED_BY(figures_lock_);
};

}  // namespace AcquisitionSystem
