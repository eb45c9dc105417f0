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
  /// The range code that the front end last said it has; -1 before it said any.
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
  /// Both null when acquisition stops. Not while the producer works on a block.
  virtual void set_SineCorrelators(SineCorrelator* fast, SineCorrelator* slow) = 0;
  /// Resets both correlators and the figures that span blocks, and takes the request away. Between
  /// two blocks, by the producer.
  virtual void reset_sine_correlators() = 0;
  /// A block before the correlators see it: a result that would contain bad samples is no longer
  /// valid once this has returned.
  virtual void expect_block(const int* block, int pairs) = 0;
  /// The stream of samples stands still: no result is valid until a whole cycle has come again.
  virtual void stream_stands_still() = 0;
  /// The stream was started again from outside of a test's set-up, so the board may have lost that
  /// set-up: no result is valid before the next one.
  virtual void stream_began_again() = 0;
  /// Reads the status bits of a block that the correlators have seen. 0; -1 for a sequence or sync
  /// error, or a count that is not supported.
  virtual int process_sample_buff(const int* block, int pairs) = 0;
  /// Samples have come: an event for both channels. 0, or the first channel's failure.
  virtual int notify_samples_received() = 0;
};

/// Asks the producer for a reset of the correlators, which it makes between two blocks: 0 none, 1
/// after one further block, 2 now. While it is not 0 no block reaches a correlator. This is the way
/// for every thread but the producer: a reset within a block would leave half a cycle in the sums.
inline constexpr int kNoReset = 0;
inline constexpr int kResetAfterABlock = 1;
inline constexpr int kResetNow = 2;
void SetResetRequest(int request);
int GetResetRequest();
/// Replaces `expected` by `wanted`; false, and no change, when another thread has asked for
/// something else meanwhile.
bool ReplaceResetRequest(int expected, int wanted);

}  // namespace acquisition
