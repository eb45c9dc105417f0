// A chip's named 16-bit registers with access masks; the base of models that are mostly registers.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/thread_safety.h"

namespace simulator {

struct RegisterInfo {
  std::uint16_t offset;
  const char* name;
  std::uint16_t writable;   ///< bits that a write from the bus changes
  std::uint16_t reset = 0;  ///< value after power-up
};

/// Threads: any; each operation is atomic.
class RegisterFile {
 public:
  /// `table` is constant data that outlives the object, sorted by offset.
  explicit RegisterFile(std::span<const RegisterInfo> table);

  std::span<const RegisterInfo> Table() const { return table_; }

  /// From the bus. Nothing and false for an offset without a register.
  std::optional<std::uint16_t> Read(std::uint32_t offset) const;
  bool Write(std::uint32_t offset, std::uint16_t value);
  /// From the hardware's side: sets the bits of `mask`, read-only ones too.
  bool Drive(std::uint32_t offset, std::uint16_t value, std::uint16_t mask = 0xFFFF);

 private:
  std::optional<std::size_t> Find(std::uint32_t offset) const;

  const std::span<const RegisterInfo> table_;
  mutable platform::Mutex mutex_;
  std::vector<std::uint16_t> values_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator
