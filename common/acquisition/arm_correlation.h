// The correlator that multiplies on this processor.
#pragma once

#include <functional>

#include "common/acquisition/block_products.h"
#include "common/acquisition/correlator_kernel.h"
#include "common/acquisition/sine_correlator.h"

namespace acquisition {

class ARMCorrelation : public SineCorrelator {
 public:
  /// `most_pairs` bounds the size of a block; the fast filter holds none. The other arguments are
  /// those of SineCorrelator.
  ARMCorrelation(int filtertype, int resetCount, double refFrequency, long divider,
                 std::int64_t samplesPerCycle, int swapChannels, int most_pairs,
                 std::function<void()> on_reset = {});

  SlowBlock update(const int* words, int pairs) override;
  /// A run that the slow filter has too takes over its sums.
  const FinishedCycle* updateF(const BlockProducts& products) override;

  bool DSPInterfaceReady() const override { return false; }
  int GetBlockNoMask() const override { return 0; }
  void newDataReady(int, int) override {}

 private:
  /// What ends with the last pair of a run.
  struct RunEnd {
    bool cycle = false;
    bool reset_due = false;
  };

  bool Fits(int pairs) const;
  void SumBlock(const int* words, int pairs);
  int UpdateRun(const int* words, int first, int pairs, std::array<SampleSums, 2>& block);
  RunEnd CountRun(int pairs) Q5_REQUIRES(updatelock);
  void EndRun(RunEnd end);
  int UpdateRunF(const BlockProducts& products, int first);
  BlockProducts::Run SumOf(const BlockProducts& products, int first, int pairs);
  RunEnd CountRunF(int pairs) Q5_REQUIRES(updatelock);
  void EndRunF(RunEnd end);
  void MakeFigures(const int* words, int pairs, const std::array<SampleSums, 2>& block);
  void LogFigures() const;

  BlockProducts products_;  ///< of the slow filter
  const CorrelatorKernel& kernel_;
  int passes_ = 0;
  std::size_t next_run_ = 0;  ///< of the slow filter's, for the fast one
};

}  // namespace acquisition
