#include "common/dev/fpga/waveform_samples.h"

#include <cmath>
#include <numbers>

namespace Dev {
namespace {

constexpr double kTurn = 2 * std::numbers::pi;
constexpr double kFullScale = 32767.0;
constexpr double kTwiceFullScale = 65534.0;

constexpr double kCycle = double{kHighSpeedCycle};
constexpr double kChirpPeriod = 65536.0;
constexpr double kChirpDelta = 0.25;
static_assert(kCycle * kChirpDelta <= kChirpPeriod, "the chirp's period stays above 0");
constexpr auto kTaperStart = static_cast<std::size_t>(0.6 * kCycle);
constexpr auto kTaperEnd = static_cast<std::size_t>(0.9 * kCycle);
constexpr double kTaperStep = 1 / (0.3 * kCycle);

constexpr double kSweepStart = 1.0 / 65536;  // cycles per sample
constexpr double kSweepEnd = 1.0 / 8192;
constexpr double kSweepRate = (kSweepEnd - kSweepStart) / kCycle;

std::int16_t Truncated(double value) { return static_cast<std::int16_t>(static_cast<int>(value)); }

std::int16_t Negated(std::int16_t value) { return static_cast<std::int16_t>(-value); }

}  // namespace

// One quarter is computed and mirrored. Twice the value plus one, halved, rounds it to nearest.
void FillSine(std::span<std::int16_t> cycle) {
  const std::size_t size = cycle.size();
  const std::size_t half = size / 2;
  for (std::size_t i = 0; i <= size / 4; ++i) {
    const double sine = std::sin(kTurn * static_cast<double>(i) / static_cast<double>(size));
    const auto twice = static_cast<unsigned>(sine * kTwiceFullScale);
    const auto sample = static_cast<std::int16_t>((twice + 1) >> 1);
    cycle[i] = sample;
    cycle[half - i] = sample;
    cycle[half + i] = Negated(sample);
    if (i > 0) cycle[size - i] = Negated(sample);
  }
}

void FillChirp(std::span<std::int16_t> cycle) {
  double period = kChirpPeriod;
  double taper = 1.0;
  for (std::size_t i = 0; i < cycle.size(); ++i) {
    if (i > kTaperEnd) {
      taper = 0;
    } else if (i > kTaperStart) {
      taper -= kTaperStep;
    }
    const double sine = std::sin(kTurn * static_cast<double>(i) / period);
    cycle[i] = Negated(Truncated(sine * kFullScale * taper));
    period -= kChirpDelta;
  }
}

void FillSweep(std::span<std::int16_t> cycle) {
  for (std::size_t i = 0; i < cycle.size(); ++i) {
    const auto at = static_cast<double>(i);
    const double turns = kSweepStart * at + kSweepRate * at * at / 2;
    cycle[i] = Negated(Truncated(std::sin(kTurn * turns) * kFullScale));
  }
}

PreCycleParams MakePreCycleParams() {
  PreCycleParams params{};
  params.ratio = std::pow(1 / kPreCycleSpeed, 1 / kPreCycleLength);
  params.log_ratio = std::log(params.ratio);
  params.start_phase = kTurn * kPreCycleSpeed / params.log_ratio;
  return params;
}

void FillPreCycle(std::span<std::int16_t> samples, const PreCycleParams& params) {
  constexpr double kLength = double{kPreCycleOffset};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto at = static_cast<double>(i);
    const double part = at / kLength;
    const double phase =
        kTurn * kPreCycleSpeed * std::pow(params.ratio, at / kCycle) / params.log_ratio -
        params.start_phase;
    samples[i] = Truncated(std::sin(phase) * part * part * part * kFullScale);
  }
}

}  // namespace Dev
