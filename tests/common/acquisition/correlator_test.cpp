// Both filters over whole blocks, beside a plain sum in long double.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>

#include "common/acquisition/filters.h"
#include "common/electrical/elec.h"
#include "tests/common/acquisition/acquisition_bench.h"
#include "tests/common/msg/state/error_list.h"

namespace {

using acquisition::phasortoo_t;
using acquisition::SineCorrelator;

constexpr double kPi = std::numbers::pi;
constexpr double kFullScale = 8388607;

struct Tone {
  double amplitude[2];
  double phase[2];
  double offset[2] = {0, 0};
  /// The sample's value at pair `k` of a cycle of `spc`.
  int Word(int ch, long k, long spc) const {
    const double angle = 2 * kPi * static_cast<double>(k % spc) / static_cast<double>(spc);
    const auto v = std::lround(offset[ch] + amplitude[ch] * std::cos(angle + phase[ch]));
    return static_cast<int>(v * 256) | static_cast<int>(k & 31);
  }
};

std::vector<int> Words(const Tone& tone, long spc, long pairs, long first = 0) {
  std::vector<int> words;
  for (long k = first; k < first + pairs; ++k) {
    for (const int ch : {0, 1}) words.push_back(tone.Word(ch, k, spc));
  }
  return words;
}

double Wrapped(double angle) { return std::remainder(angle, 2 * kPi); }

class CorrelatorTest : public acquisition_test::AcquisitionTest {
 protected:
  static constexpr int kPairs = 1024;

  CorrelatorTest() {
    data.ChangeConsumerFlag(false, ~0U);
    data.SetFrequency(60);
    data.testStart = true;  // without a test a reset, also the fast filter's own, clears phasors
  }
  acquisition::Filters Make(long spc, int reset = 0) {
    return acquisition::CreateFilters(
        {kPairs, 12500000, 32, spc, reset == 0 ? static_cast<int>(spc) : reset, 0});
  }
  static void Feed(acquisition::Filters& filters, const std::vector<int>& words,
                   int pairs = kPairs) {
    for (std::size_t at = 0; at < words.size(); at += 2 * static_cast<std::size_t>(pairs)) {
      const int n = std::min(pairs, static_cast<int>((words.size() - at) / 2));
      filters.fast->updateF(filters.slow->update(words.data() + at, n).products);
    }
  }
  static std::array<phasortoo_t, 2> Scaled(const std::unique_ptr<SineCorrelator>& filter) {
    std::array<phasortoo_t, 2> phasors{};
    filter->GetPhasors(phasors.data());
    return phasors;
  }
  /// With magnitudes in sample counts.
  static std::array<phasortoo_t, 2> Phasors(const std::unique_ptr<SineCorrelator>& filter) {
    auto phasors = Scaled(filter);
    for (const int ch : {0, 1}) {
      phasors[ch].mag /= static_cast<double>(filter->GetRange(ch)->ScalingFactor);
    }
    return phasors;
  }
};

TEST_F(CorrelatorTest, PureTones) {
  std::mt19937 random(11);
  const auto uniform = [&](double low, double high) {
    return std::uniform_real_distribution(low, high)(random);
  };
  for (int round = 0; round < 1000; ++round) {
    const double hertz = std::pow(10, uniform(-2, 3));
    const long spc = hertz < 1 ? 4096L : 16L << random() % 8;
    data.SetFrequency(static_cast<float>(hertz));
    SineCorrelator::SetCycleComplete(false);
    auto filters = Make(spc);
    const Tone tone{{uniform(0.1, 1) * kFullScale, uniform(0.1, 1) * kFullScale},
                    {uniform(0, 2 * kPi), uniform(0, 2 * kPi)}};
    Feed(filters, Words(tone, spc, spc * (1 + random() % 3)),
         1 + static_cast<int>(random() % 1024));
    ASSERT_TRUE(SineCorrelator::CycleComplete());
    for (const auto& filter : {std::cref(filters.slow), std::cref(filters.fast)}) {
      const auto phasors = Phasors(filter.get());
      for (const int ch : {0, 1}) {
        // the division truncates towards zero, so a sample may be a count nearer to it
        ASSERT_NEAR(phasors[ch].mag, tone.amplitude[ch] / std::numbers::sqrt2,
                    2e-7 * kFullScale + 1)
            << hertz << " Hz, " << spc << " a cycle";
        ASSERT_GE(phasors[ch].phase, 0);
        ASSERT_NEAR(Wrapped(phasors[ch].phase - tone.phase[ch]), 0, 2e-6);
      }
      ASSERT_NEAR(Wrapped(phasors[0].phase - phasors[1].phase - tone.phase[0] + tone.phase[1]), 0,
                  1e-6);
    }
  }
}

// The reference of both filters restarts with the slow filter only.
TEST_F(CorrelatorTest, EqualsAPlainSumAlsoAfterAReset) {
  std::mt19937 random(5);
  for (const long spc : {16L, 37L, 512L}) {
    for (const long reset_at : {0L, 700L}) {
      auto filters = Make(spc);
      std::vector<int> words(2 * 5000);
      const Tone tone{{7e6, 3e6}, {1, 4}, {1e5, -2e6}};
      for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = tone.Word(static_cast<int>(i % 2), static_cast<long>(i / 2), spc) +
                   static_cast<int>(random() % 100000);
      }
      const auto head = words.begin() + 2 * reset_at;
      Feed(filters, {words.begin(), head});
      filters.slow->reset(0);
      filters.fast->reset(0);
      Feed(filters, {head, words.end()}, 333);

      const long pairs = 5000 - reset_at;
      const long cycles = pairs / spc;
      EXPECT_EQ(filters.slow->GetCycleCount(), cycles);
      const double rate = 60.0 * 2 * kPi / (60.0 * static_cast<double>(spc));
      for (const bool fast : {false, true}) {
        const long first = fast ? (cycles - 1) * spc : 0;
        const auto got = Phasors(fast ? filters.fast : filters.slow);
        for (const int ch : {0, 1}) {
          long double s = 0;
          long double c = 0;
          for (long k = first; k < cycles * spc; ++k) {
            const int v = words[2 * (reset_at + k) + ch] / 256;
            const auto theta = static_cast<long double>(rate * static_cast<double>(k));
            s -= v * std::sin(theta);
            c += v * std::cos(theta);
          }
          const long double n = static_cast<long double>(cycles * spc - first);
          const auto mag = static_cast<double>(std::sqrt(s * s + c * c) / n * std::sqrt(2.0L));
          EXPECT_NEAR(got[ch].mag / mag, 1, 1e-12);
          EXPECT_NEAR(Wrapped(got[ch].phase - static_cast<double>(std::atan2(s, c))), 0, 1e-12);
        }
      }
    }
  }
}

TEST_F(CorrelatorTest, WindowsAndTheConsumerFlag) {
  auto filters = Make(512);
  const auto mags = [&] {
    return std::pair(Phasors(filters.slow)[0].mag, Phasors(filters.fast)[0].mag);
  };
  const double rms = 1e6 / std::numbers::sqrt2;
  const Tone small{{1e6, 1e6}, {0.5, 0}};
  const Tone large{{3e6, 1e6}, {0.5, 0}};
  Feed(filters, Words(small, 512, 511));
  EXPECT_EQ(mags(), std::pair(0.0, 0.0));  // no whole cycle yet
  EXPECT_TRUE(filters.slow->IsInMiddleOfCycle());
  Feed(filters, Words(small, 512, 1, 511));
  EXPECT_FALSE(filters.slow->IsInMiddleOfCycle());
  EXPECT_NEAR(mags().first, rms, 2);
  Feed(filters, Words(large, 512, 512));
  EXPECT_NEAR(mags().first, 2 * rms, 2);
  EXPECT_NEAR(mags().second, 3 * rms, 2);
  const std::vector<int> words = Words(small, 512, 1024);
  const auto* finished = filters.slow->update(words.data(), 1024).cycle;
  ASSERT_NE(finished, nullptr);
  EXPECT_TRUE(finished->is_result);
  EXPECT_EQ(finished->phasors.mag[0], Scaled(filters.slow)[0].mag);
  filters.slow->reset(0);
  Feed(filters, Words(small, 512, 512));
  Feed(filters, Words(large, 512, 512));

  data.ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  Feed(filters, Words(small, 512, 1024));
  EXPECT_NEAR(mags().second, 3 * rms, 2);  // as before
  EXPECT_EQ(filters.slow->GetCycleCount(), 4);
  EXPECT_FALSE(filters.slow->update(words.data(), 1024).cycle->is_result);
  data.ChangeConsumerFlag(false, Msg::eConsChanger_MOS);

  filters.slow->reset(0);
  EXPECT_NEAR(mags().first, 2 * rms, 2);  // a test keeps them
  data.testStart = false;
  filters.slow->reset(0);
  EXPECT_EQ(mags().first, 0);

  Feed(filters, Words({{0, 1e6}, {0, 0}}, 512, 512));
  EXPECT_EQ(Phasors(filters.fast)[0].phase, 0);                   // no signal, no phase
  Feed(filters, std::vector<int>(2 * (kPairs + 1)), kPairs + 1);  // more than there is room for
  EXPECT_EQ(filters.slow->GetCycleCount(), 1);
}

TEST_F(CorrelatorTest, FiguresOfABlock) {
  auto filters = Make(512);
  std::vector<int> words;
  long double sum = 0;
  long double square_sum = 0;
  for (int i = 0; i < 101; ++i) {
    const int v = (i * 7919) % 2000 - 1500;
    sum += v;
    words.insert(words.end(), {v * 256, i * 256});
  }
  const auto average = static_cast<long>(sum) / 101;
  for (int i = 0; i < 101; ++i) {
    square_sum += std::pow(words[2 * i] / 256 - average, 2);
  }
  const auto& [figures, second] = filters.slow->update(words.data(), 101).products.figures;
  EXPECT_EQ(figures.sample_count, 101);
  EXPECT_EQ(figures.avg_sample, average);
  EXPECT_EQ(figures.max_amplitude,
            std::max(figures.max_sample - average, average - figures.min_sample));
  EXPECT_DOUBLE_EQ(figures.variance, static_cast<double>(square_sum / 100));
  EXPECT_EQ(second.min_sample, 0);
  EXPECT_EQ(second.max_sample, 100);
  EXPECT_EQ(second.max_amplitude, 50);

  // a sum of them needs more than 32 bits
  filters.slow->reset(0);
  filters.slow->update(std::vector<int>(2 * kPairs, 0x7FFFFF00).data(), kPairs);
  EXPECT_EQ(figures.avg_sample, 0x7FFFFF);
  EXPECT_EQ(figures.variance, 0);
  filters.slow->StoreOffsetPhasors();
  phasortoo_t offsets[2]{};
  filters.slow->GetOffsetPhasors(offsets);
  EXPECT_DOUBLE_EQ(offsets[0].mag, 0x7FFFFF * double{filters.slow->GetRange(0)->ScalingFactor});
}

// Neither the reference nor what it costs depends on the time since the reset.
TEST_F(CorrelatorTest, EachCycleEqualsTheFirst) {
  for (const long spc : {16L, 512L, 4096L}) {
    auto filters = Make(spc);
    const auto words = Words({{7e6, 3e6}, {1, 4}}, spc, std::max<long>(spc, kPairs));
    Feed(filters, words);
    const auto first = Phasors(filters.fast);
    for (int i = 0; i < 500; ++i) Feed(filters, words);
    const auto last = Phasors(filters.fast);
    for (const int ch : {0, 1}) {
      EXPECT_EQ(first[ch].phase, last[ch].phase) << spc;
      EXPECT_EQ(first[ch].mag, last[ch].mag) << spc;
    }
  }
}

TEST_F(CorrelatorTest, VoltsAndAmps) {
  const Tone tone{{1e6, 5e5}, {0, 1}};
  const double rms[2] = {1e6 / std::numbers::sqrt2, 5e5 / std::numbers::sqrt2};
  const double hv1 = 1203.7F, hv2 = 98.41F;
  data.SetHVMeasScaleFactor(static_cast<float>(hv1));
  data.SetHV2MeasScaleFactor(static_cast<float>(hv2));
  const double volt = 8.932e-5F;  // the default entries
  const double dc_volt = 3.573e-7F;
  const double amp = 8.932e-6F;
  const struct {
    int source, swapped, mode1, mode2;
    double scale[2];
  } cases[] = {
      {Msg::internalHVVoltageSourceE, 0, Msg::AC_Volt, Msg::ACDC_Current, {hv1 * volt, amp}},
      {Msg::internalHVVoltageSourceE, 0, Msg::AC_Volt, Msg::AC_Volt, {hv1 * volt, hv2 * volt}},
      {Msg::internalHVVoltageSourceE, 1, Msg::AC_Volt, Msg::ACDC_Current, {amp, hv1 * volt}},
      {Msg::internalLVVoltageSourceE, 0, Msg::AC_Volt, Msg::ACDC_Current, {hv1 * volt, amp}},
      {Msg::internalACCurrentSourceE, 0, Msg::AC_Volt, Msg::ACDC_Current, {hv1 * volt, amp}},
      {Msg::externalVoltageSourceE, 0, Msg::AC_Volt, Msg::ACDC_Current, {hv1 * volt, amp}},
      {Msg::internalDCLVVoltageSourceE, 0, Msg::DC_Volt, Msg::ACDC_Current, {dc_volt, amp}},
      {Msg::externalCurrentSourceE, 1, Msg::AC_Volt, Msg::ACDC_Current, {amp, volt}},
  };
  for (const auto& c : cases) {
    data.sourcemode = static_cast<short>(c.source);
    data.measCh1_mode = static_cast<Msg::Input_Mode>(c.mode1);
    data.measCh2_mode = static_cast<Msg::Input_Mode>(c.mode2);
    auto filters = acquisition::CreateFilters({kPairs, 12500000, 32, 256, 256, c.swapped});
    Feed(filters, Words(tone, 256, 1024));  // once a cycle, not again and again
    for (const int ch : {0, 1}) {
      EXPECT_NEAR(Scaled(filters.slow)[ch].mag / (rms[ch] * c.scale[ch]), 1, 2e-6);
    }
  }
  EXPECT_TRUE(ListOf(data).empty());
  data.measCh2_mode = Msg::Off;
  auto filters = Make(256);
  EXPECT_EQ(ListOf(data).back(), 265);
  EXPECT_EQ(filters.slow->SetScaleFactors(0, 5, 1), -1);
  EXPECT_EQ(filters.slow->SetScaleFactors(1, Msg::DC_Volt, 1), 0);
  filters.slow->update(std::vector<int>(2, 1000 * 256).data(), 1);
  phasortoo_t averages[2]{};
  filters.slow->GetAvgs(averages);
  EXPECT_EQ(averages[0].mag, 0);
  EXPECT_FLOAT_EQ(static_cast<float>(averages[1].mag), 3.573e-4F);
}

TEST_F(CorrelatorTest, DcAverages) {
  data.sourcemode = Msg::internalDCLVVoltageSourceE;
  auto filters = Make(512);
  const auto average = [&](int counts, bool smooth = true) {
    acquisition::PairFigures figures;
    figures[0].avg_sample = counts;
    filters.slow->updateDC(figures, smooth);
    phasortoo_t averages[2]{};
    filters.slow->GetAvgPhasors(averages);
    return averages[0].mag / 8.932e-5F;
  };
  double expected = 0;
  for (int n = 1; n <= 300; ++n) {
    expected += 1000 * n - (n > 90 ? 1000 * (n - 90) : 0);
    ASSERT_NEAR(average(1000 * n), expected / std::min(n, 90), 1e-6) << n;
  }
  EXPECT_NEAR(average(5, false), 5, 1e-9);  // at once
  filters.slow->reset(0);
  EXPECT_NEAR(average(70), 70, 1e-9);  // starts anew

  Feed(filters, Words({{0, 0}, {0, 0}, {4000, -300}}, 512, 2048));
  filters.slow->StoreOffsetPhasors();
  phasortoo_t offsets[2]{};
  filters.slow->GetOffsetPhasors(offsets);
  EXPECT_NEAR(offsets[0].mag / 8.932e-5F, 4000, 1e-6);
  filters.slow->ClearOffsetPhasors();
  filters.slow->GetOffsetPhasors(offsets);
  EXPECT_EQ(offsets[0].mag, 0);
}

TEST_F(CorrelatorTest, AgeAndTheResetOfAVerySlowTest) {
  data.SetFrequency(0.5F);
  auto filters = Make(4096);
  Feed(filters, Words({{0, 0}, {0, 0}}, 4096, 8192));
  EXPECT_EQ(filters.slow->GetSettleTime(), 4);  // seconds
  EXPECT_EQ(filters.slow->MonitorSampleCount(), 4);
  SineCorrelator::SetVLFFlag();
  Feed(filters, Words({{0, 0}, {0, 0}}, 4096, 512));
  EXPECT_EQ(filters.slow->GetSettleTime(), 2 * 1024 + 128);
  data.vlfresetcyclefraction = 2.25F;
  filters.slow->DoSpecialVLFReset();
  EXPECT_FALSE(data.vlfreset);
  Feed(filters, Words({{0, 0}, {0, 0}}, 4096, 512));
  filters.slow->DoSpecialVLFReset();
  EXPECT_TRUE(data.vlfreset);
  EXPECT_EQ(filters.slow->GetSettleTime(), 0);
  for (int i = 0; i < 34 * 4; ++i) Feed(filters, Words({{0, 0}, {0, 0}}, 4096, 1024));
  EXPECT_EQ(filters.slow->GetSettleTime(), 32767);  // as much as the field holds
  SineCorrelator::ResetVLFFlag();
  EXPECT_TRUE(SineCorrelator::GetRestartAcquisition());

  filters.fast->Reinit(64, 64);
  filters.slow->Reinit(64, 64);
  Feed(filters, Words({{1e6, 1e6}, {0, 0}}, 64, 128));
  EXPECT_EQ(filters.slow->GetCycleCount(), 2);
  EXPECT_EQ(filters.fast->GetCycleCount(), 0);  // has reset itself
  EXPECT_NEAR(Phasors(filters.fast)[1].mag, 1e6 / std::numbers::sqrt2, 2);
}

TEST_F(CorrelatorTest, RequestsAndReadersRunBesideTheProducer) {
  auto filters = Make(64);
  const auto words = Words({{1e6, 2e6}, {0, 0}}, 64, kPairs);
  std::atomic<bool> done{false};
  std::thread other([&] {
    while (!done) {
      const auto phasors = Phasors(filters.fast);
      if (phasors[0].mag != 0) {
        EXPECT_NEAR(phasors[1].mag / phasors[0].mag, 2, 1e-3);
      }
      acquisition::electricalresults_t r{};
      acquisition::elec::GetElec().GetResults(1, &r);
      filters.slow->GetSettleTime();
      acquisition::SetResetRequest(acquisition::kResetNow);
      filters.fast->SetScaleFactors(0, Msg::AC_Volt, 1);
    }
  });
  for (int i = 0; i < 200; ++i) {
    Feed(filters, words);
    filters.slow->updateDC({}, true);
    if (!acquisition::ReplaceResetRequest(acquisition::kResetNow, acquisition::kNoReset)) continue;
    filters.slow->reset(0);
    filters.fast->reset(0);
  }
  done = true;
  other.join();
  acquisition::SetResetRequest(acquisition::kNoReset);
}

}  // namespace
