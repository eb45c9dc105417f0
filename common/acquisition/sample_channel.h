// What acquisition passes to the channels and asks of them. `ranging` implements it.
//
// Threads: the producer, the consumer and request handlers call at the same time.
#pragma once

#include <cstdint>

#include "common/acquisition/block_figures.h"
#include "common/xml/cal_tables.h"

namespace acquisition {

class SineCorrelator;

/// One channel.
class SampleChannel {
 public:
  virtual ~SampleChannel() = default;

  /// Once a block, after the slow filter.
  virtual void StoreBlockFigures(const BlockFigures& figures) = 0;

  /// Never null.
  virtual const Dev::mode_range_table_ent* get_range_info_in_use() const = 0;
  virtual int get_range_index() const = 0;
  /// The range code that the front end reported last; -1 before the first report.
  virtual int get_last_cpld_range() const = 0;

  /// Asks for the CPLD's status at the channel's next block event.
  virtual void set_CPLD_status_request() = 0;

  virtual std::uint16_t get_status_flag() const = 0;
  /// The names of the status word's bits, for the log.
  virtual const char* status_text() const = 0;
};

/// Both channels and what belongs to them together.
class SampleChannels {
 public:
  virtual ~SampleChannels() = default;

  /// `channel` is 0 or 1.
  virtual SampleChannel& Channel(int channel) = 0;
  /// Both are null when acquisition stops. Not to be called while the producer works on a block.
  virtual void set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) = 0;
  /// Resets both correlators and the figures that span blocks, and clears the request. The producer
  /// calls it between two blocks.
  virtual void reset_sine_correlators() = 0;
  /// Looks at a block before the correlators: once this has returned, a result that would contain
  /// bad samples is no longer valid.
  virtual void expect_block(const int* block, int pairs) = 0;
  /// The stream of samples has stopped: no result is valid until a whole cycle has come again.
  virtual void stream_stands_still() = 0;
  /// The stream was started again outside of a set-up, so the board may have lost the test's
  /// set-up: no result is valid before the next set-up.
  virtual void stream_began_again() = 0;
  /// Reads the status bits of a block that the correlators have seen. 0; -1 for a sequence or sync
  /// error, or a count that is not supported.
  virtual int process_sample_buff(const int* block, int pairs) = 0;
  /// Samples have come: delivers an event to both channels. 0, or the failure of the first channel
  /// that has one.
  virtual int notify_samples_received() = 0;
};

/// Asks the producer to reset the correlators between two blocks: 0 none, 1 after one further
/// block, 2 now. While the request is not 0 no block reaches a correlator. All threads except the
/// producer use this: a reset within a block would leave half a cycle in the sums.
inline constexpr int kNoReset = 0;
inline constexpr int kResetAfterABlock = 1;
inline constexpr int kResetNow = 2;
void SetResetRequest(int request);
int GetResetRequest();
/// Replaces `expected` by `wanted`; false, and no change, when another thread has asked for
/// something else meanwhile.
bool ReplaceResetRequest(int expected, int wanted);

}  // namespace acquisition
