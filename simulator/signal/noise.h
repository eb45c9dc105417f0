// Gaussian noise by place: the same place always has the same noise, however it is come to.
//
// A block of independent values is drawn once; each stretch of samples starts at a place of its own
// in it. Stretches overlap now and then, so this is noise for an instrument's floor and not for
// statistics over millions of samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulator {

class NoiseBlock {
 public:
  static constexpr std::size_t kValues = std::size_t{1} << 16;

  explicit NoiseBlock(std::uint64_t seed);

  /// Where the stretch with these two numbers starts.
  std::size_t Start(std::uint64_t stretch, std::uint64_t lane) const;
  /// Of unit variance; `place` counts on over the block's end.
  float At(std::size_t place) const { return values_[place % kValues]; }

 private:
  const std::uint64_t seed_;
  std::vector<float> values_;
};

}  // namespace simulator
