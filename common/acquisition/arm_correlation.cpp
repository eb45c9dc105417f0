#include "common/acquisition/arm_correlation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "common/acquisition/sample_word.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"

using Msg::ghmp;

namespace acquisition {
namespace {

constexpr int kLogEvery = 5;  ///< blocks

/// Before the first sample; any replaces both ends.
constexpr SampleSums kNoSamples{0, -kSampleFullScale - 1, kSampleFullScale};

}  // namespace

ARMCorrelation::ARMCorrelation(int filtertype, int resetCount, double refFrequency, long divider,
                               std::int64_t samplesPerCycle, int swapChannels, int most_pairs,
                               std::function<void()> on_reset)
    : SineCorrelator(filtertype, resetCount, refFrequency, divider, samplesPerCycle, swapChannels,
                     std::move(on_reset)),
      products_(filtertype == kSlow ? static_cast<std::size_t>(most_pairs) : 0),
      kernel_(BestCorrelatorKernel()) {}

bool ARMCorrelation::Fits(int pairs) const {
  if (pairs <= products_.Capacity()) return true;
  Q5_LOG_ERROR_HERE(sinecorrelatorL, "%s.%d: block of %d pairs, there is room for %d\n", pairs,
                    products_.Capacity());
  return false;
}

// --- The slow filter ---

SineCorrelator::SlowBlock ARMCorrelation::update(const int* words, int pairs) {
  products_.runs.clear();
  products_.pairs = pairs > 0 && Fits(pairs) ? pairs : 0;
  if (products_.pairs == 0) return {products_, nullptr};
  SumBlock(words, pairs);
  return {products_, EndBlock()};
}

void ARMCorrelation::SumBlock(const int* words, int pairs) {
  std::array<SampleSums, 2> block{kNoSamples, kNoSamples};
  BeginBlock();
  for (int at = 0; at < pairs;) at += UpdateRun(words, at, pairs, block);
  MakeFigures(words, pairs, block);
  TakeFigures(products_.figures);
  if (++passes_ % kLogEvery == 0 && ghmp->testStart) LogFigures();
}

// The pairs up to the next cycle's end, reset or the block's end; returns their number.
int ARMCorrelation::UpdateRun(const int* words, int first, int pairs,
                              std::array<SampleSums, 2>& block) {
  platform::Lock lock(updatelock);
  in_middle_of_cycle = true;
  PairRun run{words + 2 * static_cast<std::ptrdiff_t>(first),
              PairsToNextEnd(pairs - first),
              _phase_rate,
              PlaceInCycle(),
              {},
              {}};
  std::array<std::int64_t, 2> before{};
  for (int ch = 0; ch < 2; ++ch) {
    run.sines[ch] = products_.saccptr[ch].data() + first;
    run.cosines[ch] = products_.caccptr[ch].data() + first;
    before[ch] = block[ch].sum;
  }
  products_.runs.push_back({first, run.pairs, {}, {}});
  BlockProducts::Run& sums = products_.runs.back();
  kernel_.correlate(run, sums.sines.data(), sums.cosines.data(), block.data());
  for (int ch = 0; ch < 2; ++ch) {
    _sacc[ch] -= sums.sines[ch];
    _cacc[ch] += sums.cosines[ch];
    _cycle_avgacc[ch] += static_cast<double>(block[ch].sum - before[ch]);
  }
  const RunEnd end = CountRun(run.pairs);
  lock.Unlock();
  EndRun(end);
  return run.pairs;
}

ARMCorrelation::RunEnd ARMCorrelation::CountRun(int pairs) {
  const bool cycle_complete = CountPairs(pairs);
  if (cycle_complete) {
    Q5_LOG_DEBUG(sinecorrelatorL, "Cycle complete \n");
  }
  if (cycle_complete || GetVLFFlag()) _settletime = CalculateSampleCount();
  return {cycle_complete, ResetDue()};
}

void ARMCorrelation::EndRun(RunEnd end) {
  if (end.cycle) {
    SetCycleComplete(true);
    CaptureNewCycleEvent();
    EndCycle();
    in_middle_of_cycle = false;
  }
  if (end.reset_due) ResetWindow();
}

void ARMCorrelation::MakeFigures(const int* words, int pairs,
                                 const std::array<SampleSums, 2>& block) {
  std::array<int, 2> average{};
  std::array<double, 2> squares{};
  for (int ch = 0; ch < 2; ++ch) average[ch] = static_cast<int>(block[ch].sum / pairs);
  kernel_.squares(words, pairs, average.data(), squares.data());
  for (int ch = 0; ch < 2; ++ch) {
    BlockFigures& figures = products_.figures[ch];
    figures.sample_count = pairs;
    figures.min_sample = block[ch].min;
    figures.max_sample = block[ch].max;
    figures.avg_sample = average[ch];
    figures.max_amplitude = std::max(block[ch].max - average[ch], average[ch] - block[ch].min);
    figures.variance = pairs > 1 ? squares[ch] / (pairs - 1) : 0;
  }
}

void ARMCorrelation::LogFigures() const {
  for (int ch = 0; ch < 2; ++ch) {
    const BlockFigures& figures = products_.figures[ch];
    Q5_LOG_DEBUG_HERE(sinecorrelatorL,
                      "%s.%d: ch%d samples %d min %d max %d avg %d amplitude %d variance %f\n",
                      ch + 1, figures.sample_count, figures.min_sample, figures.max_sample,
                      figures.avg_sample, figures.max_amplitude, figures.variance);
  }
}

// --- The fast filter ---

const FinishedCycle* ARMCorrelation::updateF(const BlockProducts& products) {
  if (products.pairs == 0) return nullptr;
  next_run_ = 0;
  BeginBlock();
  TakeFigures(products.figures);
  for (int at = 0; at < products.pairs;) at += UpdateRunF(products, at);
  return EndBlock();
}

// In most cases both filters have the same runs.
BlockProducts::Run ARMCorrelation::SumOf(const BlockProducts& products, int first, int pairs) {
  const auto& runs = products.runs;
  while (next_run_ < runs.size() && runs[next_run_].first < first) ++next_run_;
  if (next_run_ < runs.size() && runs[next_run_].first == first && runs[next_run_].pairs == pairs) {
    return runs[next_run_];
  }
  const double* const arrays[kProductArrays] = {
      products.saccptr[0].data() + first, products.saccptr[1].data() + first,
      products.caccptr[0].data() + first, products.caccptr[1].data() + first};
  double sums[kProductArrays];
  kernel_.sum(arrays, pairs, sums);
  return {first, pairs, {sums[0], sums[1]}, {sums[2], sums[3]}};
}

int ARMCorrelation::UpdateRunF(const BlockProducts& products, int first) {
  platform::Lock lock(updatelock);
  in_middle_of_cycle = true;
  const int run = PairsToNextEnd(products.pairs - first);
  const BlockProducts::Run sums = SumOf(products, first, run);
  for (int ch = 0; ch < 2; ++ch) {
    _sacc[ch] -= sums.sines[ch];
    _cacc[ch] += sums.cosines[ch];
  }
  const RunEnd end = CountRunF(run);
  lock.Unlock();
  EndRunF(end);
  return run;
}

ARMCorrelation::RunEnd ARMCorrelation::CountRunF(int pairs) {
  const bool cycle_complete = CountPairs(pairs);
  if (cycle_complete) {
    Q5_LOG_DEBUG(sinecorrelatorL, "FAST Cycle complete \n");
  }
  return {cycle_complete, ResetDue()};
}

void ARMCorrelation::EndRunF(RunEnd end) {
  if (end.cycle) {
    EndCycle();
    in_middle_of_cycle = false;
  }
  if (end.reset_due) ResetWindow();
}

}  // namespace acquisition
