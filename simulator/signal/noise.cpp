#include "simulator/signal/noise.h"

#include <random>

namespace simulator {
namespace {

/// The finaliser of SplitMix64: every bit of the input changes half of the output's.
std::uint64_t Mix(std::uint64_t value) {
  value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
  value = (value ^ value >> 27) * 0x94D049BB133111EBU;
  return value ^ value >> 31;
}

constexpr std::uint64_t kStride = 0x9E3779B97F4A7C15U;

}  // namespace

NoiseBlock::NoiseBlock(std::uint64_t seed) : seed_(seed), values_(kValues) {
  std::mt19937_64 random(seed);
  std::normal_distribution<float> normal;
  for (float& value : values_) value = normal(random);
}

std::size_t NoiseBlock::Start(std::uint64_t stretch, std::uint64_t lane) const {
  return Mix(seed_ + kStride * (2 * stretch + lane + 1)) % kValues;
}

}  // namespace simulator
