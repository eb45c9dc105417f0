#include "common/signalh/sample_rate.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/signalh/filter_selection.h"
#include "common/signalh/signal_shared.h"

namespace signalh {

using Logger::Capture;
using Logger::CaptureFloats;

namespace {

constexpr int kPairsPerPage = 512;
constexpr int kLineSyncSamples = 256;
constexpr int kFewestSamples = 16;
constexpr std::uint64_t kMostSamples = 0x40000000;  // that the clock dividers allow
constexpr std::uint64_t kMostVlfSamples = 0x2000000;
constexpr double kNoNyquist = 1e6;
constexpr float kExactVlf = 0.0001F;

/// After its first update a line frequency modulation keeps its rate.
bool KeepsItsRate(const Msg::TestParameters& test) {
  return test.testype == Msg::TEST_LINE_FREQ_MODULATION && test.firstUpdate;
}

/// The target number of samples; a frequency close to the previous one becomes the previous one.
std::uint64_t Target(float& freq, int interrupts) {
  const Msg::TestParameters& test = Shared().test;
  const float previous = test.previousfrequency;
  const float high = std::ceil(previous * 1.25F);
  const float low = std::floor(previous * 0.75F);
  CaptureFloats(Logger::CUTOFF_FREQUENCIES, low, high);
  int target = 0;
  if (KeepsItsRate(test) && freq >= low && freq <= high) {
    freq = previous;
    target = Shared().measurement.samplespercyc;
    Q5_LOG_INFO(signalhL, "using the previousfrequency to calculate the samplespercycle %f \n",
                static_cast<double>(freq));
    CaptureFloats(Logger::SAME_SAMPLES_PER_CYCLE, freq);
  }
  if (test.IsLineSyncTestNG()) {
    target = kLineSyncSamples;
    CaptureFloats(Logger::LINESYNC_SAMPLES_PER_CYCLE, freq);
  }
  if (target > 0) return static_cast<std::uint64_t>(target);
  const double pairs = static_cast<double>(interrupts) * kPairsPerPage / static_cast<double>(freq);
  return pairs >= static_cast<double>(kMostSamples)
             ? kMostSamples
             : static_cast<std::uint64_t>(std::max(pairs, 0.0));
}

/// Rounds down to a power of two, or up in tests at very low frequency.
std::uint64_t Round(std::uint64_t target, float freq) {
  const std::uint64_t least = std::max<std::uint64_t>(target, 1);
  return Shared().IsVLFTest() && !Exceptions(freq) ? std::bit_ceil(least) : std::bit_floor(least);
}

/// Doubles the samples until the rate satisfies the filter and the least rate, or until it would be
/// too high.
std::uint64_t RaiseFor(double nyquist, float freq, std::uint64_t samples) {
  Capture(Logger::BEFORE_MORESAMPLING, samples, static_cast<int>(nyquist));
  const Msg::ConfigData& config = Shared().config;
  const auto rate = [&](std::uint64_t count) {
    return static_cast<double>(count) * static_cast<double>(freq);
  };
  bool met = true;
  while (std::trunc(rate(samples)) < nyquist ||
         std::trunc(rate(samples)) < config.minsamplingrate) {
    const std::uint64_t more = samples * 2;
    if (rate(more) >= config.maxsamplingrate || more > kMostSamples ||
        (Shared().IsVLFTest() && more >= kMostVlfSamples)) {
      met = false;
      break;
    }
    samples = more;
  }
  Q5_LOG_INFO(signalhL,
              "Nyquist criteria %smet: Signal Freq = %f, Nyquist freq = %lf, sample rate = "
              "%lf\n",
              met ? "" : "not ", static_cast<double>(freq), nyquist, rate(samples));
  return samples;
}

}  // namespace

int DetermineFilter(float freq) {
  const Msg::TestParameters& test = Shared().test;
  const bool enabled = test.IsFilterEnabled();
  Q5_LOG_INFO(signalhL, "%s: filterenable %d frequency %f testype:%d \n", __func__, enabled ? 1 : 0,
              static_cast<double>(freq), test.testype.load());
  return enabled ? FilterByRule(test, freq) : kLegacyFilter;
}

float GetNyquistFreq() {
  const float freq = Shared().test.GetFrequency();
  const int filter = DetermineFilter(freq);
  if (filter >= 1 && filter < static_cast<int>(Filter3dB_bandwidth.size())) {
    return 2 * Filter3dB_bandwidth.at(static_cast<std::size_t>(filter));
  }
  Q5_LOG_ERROR_HERE(signalhL, "%s.%d: Freq=%f Filter %d must be > 0 and < %d.  Returning %f\n",
                    static_cast<double>(freq), filter, static_cast<int>(Filter3dB_bandwidth.size()),
                    0.0);
  return 0;
}

bool Exceptions(float freq) { return freq == kExactVlf; }

int CalculateSamplesPerCyc(float freq, int interrupts) {
  if (!(freq > 0)) {
    Q5_LOG_ERROR_HERE(signalhL, "%s.%d UNDEFINED FREQUENCY SHOULD NOT HAVE REACHED %f \n",
                      static_cast<double>(freq));
    return -1;
  }
  const std::uint64_t target = Target(freq, interrupts);
  std::uint64_t samples = Round(target, freq);
  if (!KeepsItsRate(Shared().test)) {
    const auto nyquist = static_cast<double>(GetNyquistFreq());
    samples = RaiseFor(nyquist == 0 ? kNoNyquist : nyquist, freq, samples);
  }
  Capture(Logger::SAMPLES_PER_CYCLE, samples);
  return static_cast<int>(std::max<std::uint64_t>(samples, kFewestSamples));
}

}  // namespace signalh
