// Memory that a device shares with the daemon, which maps the same pages.
#pragma once

#include <span>

#include "platform/unique_fd.h"
#include "simulator/memory.h"

namespace simulator {

/// What the daemon writes can be seen here at any moment, without an order of its own.
class SharedMemory final : public Memory {
 public:
  /// Zeroed; cannot be made shorter or longer by those who map it. Without memory it has no bytes
  /// and no descriptor.
  SharedMemory(const char* name, std::size_t size);
  ~SharedMemory() override;
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;

  /// Below 0 without memory.
  int Descriptor() const { return descriptor_.Get(); }
  std::span<std::uint8_t> Data() const { return data_; }

  std::size_t Size() const override { return data_.size(); }
  std::vector<std::uint8_t> Bytes(std::size_t address, std::size_t count) const override;
  void Flip(std::size_t address, unsigned bit) override;
  void Blank(std::size_t from) override;
  void Restore() override { Blank(0); }

 private:
  platform::UniqueFd descriptor_;
  std::span<std::uint8_t> data_;
};

}  // namespace simulator
