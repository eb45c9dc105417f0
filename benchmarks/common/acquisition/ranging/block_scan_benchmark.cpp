// The quick pass over a clean block beside the scan sample by sample, which it spares.
#include <benchmark/benchmark.h>

#include "common/acquisition/ranging/block_scan.h"
#include "tests/common/acquisition/ranging/sample_blocks.h"

namespace {

constexpr int kPairs = 1024;

void QuickPass(benchmark::State& state) {
  const std::vector<int> block = CleanBlock(kPairs);
  for (auto _ : state) benchmark::DoNotOptimize(SignalCalculator::IsCleanBlock(block));
  state.SetItemsProcessed(state.iterations() * kPairs);
}
BENCHMARK(QuickPass);

void SampleBySample(benchmark::State& state) {
  const std::vector<int> block = CleanBlock(kPairs);
  for (auto _ : state) benchmark::DoNotOptimize(SignalCalculator::ScanBlock(block, false));
  state.SetItemsProcessed(state.iterations() * kPairs);
}
BENCHMARK(SampleBySample);

}  // namespace
