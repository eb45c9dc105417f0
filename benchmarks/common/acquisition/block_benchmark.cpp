// One block of 1024 pairs through the sample path, at 512 samples a cycle (60 Hz) and at 32 (1000
// Hz, the most cycles that a block can have). Beside it a loop that calls sine and cosine for every
// pair and sums for both filters, a plain copy of the block, and a real Fourier transform of both
// channels.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <libconfig.h++>
#include <numbers>
#include <vector>

#include "common/acquisition/filters.h"
#include "common/acquisition/ranging/block_scan.h"
#include "common/acquisition/sample_channel.h"
#include "common/acquisition/sample_status.h"
#include "common/acquisition/sample_word.h"
#include "common/electrical/elec.h"
#include "common/msg/state/hmp_data.h"

#ifdef Q5_FFTW3
#include <fftw3.h>
#endif

namespace {

constexpr int kPairs = 1024;
constexpr double kPi = std::numbers::pi;

struct Channel : acquisition::SampleChannel {
  void StoreBlockFigures(const acquisition::BlockFigures& stored) override { figures = stored; }
  const Dev::mode_range_table_ent* get_range_info_in_use() const override { return &entry; }
  int get_range_index() const override { return 1; }
  int get_last_cpld_range() const override { return -1; }
  void set_CPLD_status_request() override {}
  std::uint16_t get_status_flag() const override { return 0; }
  const char* status_text() const override { return ""; }
  acquisition::BlockFigures figures;
  Dev::mode_range_table_ent entry{};
};

struct Channels : acquisition::SampleChannels {
  acquisition::SampleChannel& Channel(int channel) override { return channels[channel]; }
  void set_SineCorrelators(acquisition::SineCorrelator*, acquisition::SineCorrelator*) override {}
  void reset_sine_correlators() override {}
  void expect_block(const int*, int) override {}
  void stream_stands_still() override {}
  void stream_began_again() override {}
  int process_sample_buff(const int*, int) override { return 0; }
  int notify_samples_received() override { return 0; }
  ::Channel channels[2];
};

struct Setting {
  Setting() {
    Msg::ghmp.Set(&data);
    data.SetFrequency(60);
    data.ChangeConsumerFlag(false, ~0U);
    acquisition::elec::GetElec().SetTest(&data);
  }
  ~Setting() {
    acquisition::elec::GetElec().SetTest(nullptr);
    Msg::ghmp.Set(nullptr);
  }
  libconfig::Config config;
  Msg::HMPData data{config, Msg::MEAS_MODULE};
  Channels channels;
};

std::vector<int> Block(long samples_per_cycle) {
  std::vector<int> words;
  for (int i = 0; i < kPairs; ++i) {
    const double angle = 2 * kPi * i / static_cast<double>(samples_per_cycle);
    words.push_back(static_cast<int>(std::lround(6e6 * std::cos(angle))) * 256 | (i & 31));
    const int sequence = i >> 8 & (kPairs - 1) >> 8;
    words.push_back(static_cast<int>(std::lround(4e6 * std::cos(angle + 1))) * 256 | sequence);
  }
  return words;
}

void Publish(int filtertype, const acquisition::FinishedCycle* cycle) {
  if (cycle == nullptr) return;
  acquisition::phasortoo_t corrected[2] = {};
  for (int ch : {0, 1}) {
    corrected[ch].phase = cycle->phasors.phase[ch];
    corrected[ch].mag = cycle->phasors.mag[ch];
  }
  acquisition::elec::GetElec().StorePhasors(&filtertype, &cycle->phasors, corrected);
}

void BM_Block(benchmark::State& state) {
  Setting setting;
  const long samples_per_cycle = state.range(0);
  auto filters = acquisition::CreateFilters(
      {kPairs, 12500000, 32, samples_per_cycle, static_cast<int>(samples_per_cycle), 0});
  const std::vector<int> ring = Block(samples_per_cycle);
  std::vector<int> pool(ring.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        acquisition::CheckFaultAndOverRangeStatusBits(ring.data(), kPairs, setting.channels));
    std::memcpy(pool.data(), ring.data(), pool.size() * sizeof(int));
    benchmark::DoNotOptimize(SignalCalculator::HasBadSample(pool));
    const auto [products, cycle] = filters.slow->update(pool.data(), kPairs);
    Publish(acquisition::SineCorrelator::kSlow, cycle);
    for (int ch : {0, 1}) setting.channels.Channel(ch).StoreBlockFigures(products.figures[ch]);
    Publish(acquisition::SineCorrelator::kFast, filters.fast->updateF(products));
    if (!SignalCalculator::IsCleanBlock(pool)) {
      benchmark::DoNotOptimize(SignalCalculator::ScanBlock(pool, false));
    }
  }
}
BENCHMARK(BM_Block)->Arg(512)->Arg(32);

struct Sums {
  double s[2]{};
  double c[2]{};

  void Add(int ch, double by_sine, double by_cosine) {
    s[ch] -= by_sine;
    c[ch] += by_cosine;
  }
  void EndCycle(int filtertype, long pairs) const {
    acquisition::phasorarr_t phasors{{}, {}, pairs};
    for (int ch = 0; ch < 2; ++ch) {
      phasors.phase[ch] = std::atan2(s[ch], c[ch]);
      phasors.mag[ch] = std::sqrt(s[ch] * s[ch] + c[ch] * c[ch]) / static_cast<double>(pairs);
    }
    acquisition::phasortoo_t corrected[2] = {};
    for (int ch = 0; ch < 2; ++ch) {
      corrected[ch].phase = phasors.phase[ch];
      corrected[ch].mag = phasors.mag[ch];
    }
    acquisition::elec::GetElec().StorePhasors(&filtertype, &phasors, corrected);
  }
};

// Status check, copy, sums of both filters; phasors and electrical results at the end of a cycle.
// No scaling, locks, logs or figures of the block.
void BM_StraightforwardLoop(benchmark::State& state) {
  Setting setting;
  const long samples_per_cycle = state.range(0);
  const std::vector<int> ring = Block(samples_per_cycle);
  std::vector<int> pool(ring.size());
  const double rate = 2 * kPi / static_cast<double>(samples_per_cycle);
  long count = 0;
  Sums slow;
  Sums fast;
  for (auto _ : state) {
    unsigned bits = 0;
    for (const int word : ring) bits |= acquisition::Status(word);
    benchmark::DoNotOptimize(bits);
    std::memcpy(pool.data(), ring.data(), pool.size() * sizeof(int));
    for (int i = 0; i < kPairs; ++i) {
      const double theta = rate * static_cast<double>(count);
      const double s = std::sin(theta);
      const double c = std::cos(theta);
      for (int ch = 0; ch < 2; ++ch) {
        const int v = pool[2 * i + ch] / 256;
        slow.Add(ch, v * s, v * c);
        fast.Add(ch, v * s, v * c);
      }
      if (++count % samples_per_cycle == 0) {
        slow.EndCycle(acquisition::SineCorrelator::kSlow, count);
        fast.EndCycle(acquisition::SineCorrelator::kFast, samples_per_cycle);
        fast = {};
      }
    }
  }
}
BENCHMARK(BM_StraightforwardLoop)->Arg(512)->Arg(32);

void BM_CopyOfTheBlock(benchmark::State& state) {
  const std::vector<int> ring = Block(512);
  std::vector<int> pool(ring.size());
  for (auto _ : state) {
    std::memcpy(pool.data(), ring.data(), pool.size() * sizeof(int));
    benchmark::DoNotOptimize(pool.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CopyOfTheBlock);

#ifdef Q5_FFTW3
void BM_FourierTransformOfTheBlock(benchmark::State& state) {
  double* in = fftw_alloc_real(kPairs);
  fftw_complex* out = fftw_alloc_complex(kPairs / 2 + 1);
  fftw_plan plan = fftw_plan_dft_r2c_1d(kPairs, in, out, FFTW_MEASURE);
  const std::vector<int> words = Block(512);
  for (auto _ : state) {
    for (int ch = 0; ch < 2; ++ch) {
      for (int i = 0; i < kPairs; ++i) in[i] = words[2 * i + ch] / 256;
      fftw_execute(plan);
      benchmark::DoNotOptimize(out);
      benchmark::ClobberMemory();
    }
  }
  fftw_destroy_plan(plan);
  fftw_free(out);
  fftw_free(in);
}
BENCHMARK(BM_FourierTransformOfTheBlock);
#endif

}  // namespace
