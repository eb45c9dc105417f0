// The correlator that multiplies on this processor.
#pragma once

#include <memory>

#include "common/acquisition/block_products.h"
#include "common/acquisition/correlator_kernel.h"
#include "common/acquisition/sine_correlator.h"

namespace acquisition {

class ARMCorrelation : public SineCorrelator {
 public:
  /// `products` is the same object for both filters and bounds the size of a block; the other
  /// arguments are those of SineCorrelator.
  ARMCorrelation(int filtertype, int resetCount, double refFrequency, long divider,
                 std::int64_t samplesPerCycle, int swapChannels,
                 std::shared_ptr<BlockProducts> products);

  /// Also gives the channels the block's figures. A block that `products` is too small for is told
  /// in the log and not summed.
  void update(const int* words, int pairs) override;
  /// Sums the products that update left for the same block, or takes its sums where the runs are
  /// the same: it multiplies nothing.
  void updateF(const int* words, int pairs) override;

  bool DSPInterfaceReady() const override { return false; }
  int GetBlockNoMask() const override { return 0; }
  void newDataReady(int, int) override {}

 private:
  /// What the last pair of a run ends.
  struct RunEnd {
    bool cycle = false;
    bool reset_due = false;
  };

  bool Fits(int pairs) const;
  int UpdateRun(const int* words, int first, int pairs, std::array<SampleSums, 2>& block);
  RunEnd CountRun(int pairs) Q5_REQUIRES(updatelock);
  void EndRun(RunEnd end);
  int UpdateRunF(int first, int pairs);
  BlockProducts::Run SumOf(int first, int pairs);
  RunEnd CountRunF(int pairs) Q5_REQUIRES(updatelock);
  void EndRunF(RunEnd end);
  void StoreFigures(const int* words, int pairs, const std::array<SampleSums, 2>& block);

  const std::shared_ptr<BlockProducts> products_;
  const CorrelatorKernel& kernel_;
  int passes_ = 0;
  std::size_t next_run_ = 0;  ///< of the slow filter's, for the fast one
};

}  // namespace acquisition
