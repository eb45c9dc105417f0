#include "common/acquisition/arm_correlation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "common/acquisition/sample_word.h"
#include "common/log/logger_mgr.h"
#include "common/msg/hmp_data.h"

using Logger::logger_mgr;
using Logger::sinecorrelatorL;
using Msg::ghmp;

namespace acquisition {
namespace {

constexpr int kLogEvery = 5;  ///< blocks

/// Before the first sample; any replaces both ends.
constexpr SampleSums kNoSamples{0, -kSampleFullScale - 1, kSampleFullScale};

}  // namespace

ARMCorrelation::ARMCorrelation(int filtertype, int resetCount, double refFrequency, long divider,
                               long samplesPerCycle, int swapChannels,
                               std::shared_ptr<BlockProducts> products)
    : SineCorrelator(filtertype, resetCount, refFrequency, divider, samplesPerCycle, swapChannels),
      products_(std::move(products)),
      kernel_(BestCorrelatorKernel()) {}

bool ARMCorrelation::Fits(int pairs) const {
  if (pairs <= products_->pairs()) return true;
  logger_mgr::print(sinecorrelatorL, Logger::kError, 0,
                    "%s.%d: block of %d pairs, there is room for %d\n", __func__, __LINE__, pairs,
                    products_->pairs());
  return false;
}

// --- The slow filter ---

void ARMCorrelation::update(const int* words, int pairs) {
  if (pairs <= 0 || !Fits(pairs)) return;
  std::array<SampleSums, 2> block{kNoSamples, kNoSamples};
  for (int at = 0; at < pairs;) at += UpdateRun(words, at, pairs, block);
  StoreFigures(words, pairs, block);
}

// The pairs up to the next cycle's end, reset or the block's end; gives their number.
int ARMCorrelation::UpdateRun(const int* words, int first, int pairs,
                              std::array<SampleSums, 2>& block) {
  std::unique_lock lock(updatelock);
  in_middle_of_cycle = 1;
  PairRun run{words + 2 * static_cast<std::ptrdiff_t>(first),
              PairsToNextEnd(pairs - first),
              _phase_rate,
              _sample_count,
              {},
              {}};
  std::array<long, 2> before{};
  for (int ch = 0; ch < 2; ++ch) {
    run.sines[ch] = products_->saccptr[ch].data() + first;
    run.cosines[ch] = products_->caccptr[ch].data() + first;
    before[ch] = block[ch].sum;
  }
  std::array<double, 2> sines{};
  std::array<double, 2> cosines{};
  kernel_.correlate(run, sines.data(), cosines.data(), block.data());
  for (int ch = 0; ch < 2; ++ch) {
    _sacc[ch] -= sines[ch];
    _cacc[ch] += cosines[ch];
    _cycle_avgacc[ch] += static_cast<double>(block[ch].sum - before[ch]);
  }
  EndRun(lock, run.pairs);
  return run.pairs;
}

void ARMCorrelation::EndRun(std::unique_lock<std::mutex>& lock, int pairs) {
  const bool cycle_complete = CountPairs(pairs);
  if (cycle_complete) {
    logger_mgr::print(sinecorrelatorL, Logger::kDebug, 0, "Cycle complete \n");
    calc_phasors();
    scnewvalue[0] = _cycle_count;
    scnewvalue[1] = _sample_count;
  }
  if (cycle_complete || GetVLFFlag()) _settletime = CalculateSampleCount();
  const bool reset_due = ResetDue();
  lock.unlock();
  if (cycle_complete) {
    SetCycleComplete(true);
    CaptureNewCycleEvent();
    RunMeasurementScaling();
    in_middle_of_cycle = 0;
  }
  if (reset_due) reset(0);
}

void ARMCorrelation::StoreFigures(const int* words, int pairs,
                                  const std::array<SampleSums, 2>& block) {
  SampleChannels* channels = GetSampleChannels();
  if (channels == nullptr) return;
  std::array<long, 2> average{};
  std::array<double, 2> squares{};
  for (int ch = 0; ch < 2; ++ch) average[ch] = block[ch].sum / pairs;
  kernel_.squares(words, pairs, average.data(), squares.data());
  const bool told = ++passes_ % kLogEvery == 0 && ghmp->testStart;
  for (int ch = 0; ch < 2; ++ch) {
    BlockFigures figures;
    figures.sample_count = pairs;
    figures.min_sample = block[ch].min;
    figures.max_sample = block[ch].max;
    figures.avg_sample = average[ch];
    figures.max_amplitude = std::max(block[ch].max - average[ch], average[ch] - block[ch].min);
    figures.variance = pairs > 1 ? squares[ch] / (pairs - 1) : 0;
    channels->Channel(ch).StoreBlockFigures(figures);
    if (!told) continue;
    logger_mgr::print(sinecorrelatorL, Logger::kDebug, 0,
                      "%s.%d: ch%d samples %d min %ld max %ld avg %ld amplitude %ld variance %f\n",
                      __func__, __LINE__, ch + 1, pairs, figures.min_sample, figures.max_sample,
                      figures.avg_sample, figures.max_amplitude, figures.variance);
  }
}

// --- The fast filter ---

void ARMCorrelation::updateF(const int*, int pairs) {
  if (pairs <= 0 || !Fits(pairs)) return;
  for (int at = 0; at < pairs;) at += UpdateRunF(at, pairs);
}

int ARMCorrelation::UpdateRunF(int first, int pairs) {
  std::unique_lock lock(updatelock);
  in_middle_of_cycle = 1;
  const int run = PairsToNextEnd(pairs - first);
  const double* const arrays[kProductArrays] = {
      products_->saccptr[0].data() + first, products_->saccptr[1].data() + first,
      products_->caccptr[0].data() + first, products_->caccptr[1].data() + first};
  double sums[kProductArrays];
  kernel_.sum(arrays, run, sums);
  for (int ch = 0; ch < 2; ++ch) {
    _sacc[ch] -= sums[ch];
    _cacc[ch] += sums[2 + ch];
  }
  EndRunF(lock, run);
  return run;
}

void ARMCorrelation::EndRunF(std::unique_lock<std::mutex>& lock, int pairs) {
  const bool cycle_complete = CountPairs(pairs);
  if (cycle_complete) {
    logger_mgr::print(sinecorrelatorL, Logger::kDebug, 0, "FAST Cycle complete \n");
    calc_phasors();
  }
  const bool reset_due = ResetDue();
  lock.unlock();
  if (cycle_complete) {
    RunMeasurementScaling();
    in_middle_of_cycle = 0;
  }
  if (reset_due) reset(0);
}

}  // namespace acquisition
