// A memory that the control socket shows and damages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulator {

/// Threads: any.
class Memory {
 public:
  virtual ~Memory() = default;

  virtual std::size_t Size() const = 0;
  /// Fewer than `count` where the memory ends.
  virtual std::vector<std::uint8_t> Bytes(std::size_t address, std::size_t count) const = 0;
  /// Requires an address below Size() and a bit below 8.
  virtual void Flip(std::size_t address, unsigned bit) = 0;
  /// Erases from this address to the end.
  virtual void Blank(std::size_t from) = 0;
  /// What was there at start.
  virtual void Restore() = 0;
};

}  // namespace simulator
