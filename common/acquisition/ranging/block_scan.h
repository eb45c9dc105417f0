// The scan of a block's sample words (sample_word.h). Nearly every block is clean, which one cheap
// pass shows. Only a block that is not clean is scanned sample by sample.
#pragma once

#include <array>
#include <span>

#include "common/acquisition/dobj.h"
#include "common/acquisition/ranging/full_cycle.h"

namespace SignalCalculator {

using AcquisitionSystem::sample_block_status;

/// Findings of a block for one channel.
struct ChannelScan {
  int over_range = 0;  ///< samples over range
  sample_block_status status{};
  bool read_cpld = false;     ///< the CPLD's status is wanted
  bool reset_wanted = false;  ///< the correlators have taken in bad samples
};

struct BlockScan {
  std::array<ChannelScan, ACQ_CHAN_COUNT> results;
  bool bad_sequence = false;  ///< a sequence or sync error
};

/// True when all sequence fields are right and no status bit is set. `block` holds whole pairs.
bool IsCleanBlock(std::span<const int> block);

/// By channel, whether a sample of it is over range or a fault.
std::array<bool, ACQ_CHAN_COUNT> HasBadSample(std::span<const int> block);

/// Logs its findings. In a DC test a fault in the middle of a block asks for no reset.
BlockScan ScanBlock(std::span<const int> block, bool dc_test);

}  // namespace SignalCalculator
