// One I2C bus, "/dev/i2c-N": a root segment, and the segments behind the channels of a multiplexer.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/instrument.h"
#include "simulator/i2c/chip.h"
#include "simulator/i2c/mux.h"

namespace simulator {

/// Chips are placed while the instrument is built; after that, threads: any. Every transfer holds
/// the bus, also while a slow chip stretches it.
class I2cBus {
 public:
  static constexpr int kRoot = -1;                       ///< the segment that needs no channel
  static constexpr std::size_t kLongestTransfer = 8192;  ///< as the kernel's driver cuts it

  struct Place {
    int channel;  ///< of the multiplexer, or kRoot
    std::uint8_t address;
    I2cChip* chip;
  };

  /// False when that place already has a chip.
  [[nodiscard]] bool Add(const Place& place);
  /// The multiplexer, a chip of the root segment, that switches the channels.
  void SetMux(const Pca9544a& mux) { mux_ = &mux; }
  const std::vector<Place>& Places() const { return places_; }

  /// Reaches every chip at `address` on the root and on the channels that are on. The count, or a
  /// negative errno: ENXIO when no chip answers. Where two chips answer, both pull the lines down.
  ssize_t Write(std::uint8_t address, std::span<const std::uint8_t> data);
  ssize_t Read(std::uint8_t address, std::span<std::uint8_t> data);

  enum class Phase { kWrite, kRead, kWriteRead };
  /// One transaction that nobody can get between: a write, a read, or both with a repeated start.
  /// 0, or a negative errno: EIO when fewer bytes than asked for were passed.
  int Transact(std::uint8_t address, Phase phase, std::span<const std::uint8_t> sent,
               std::span<std::uint8_t> received);

  std::unique_ptr<platform::DeviceFile> Open();

 private:
  class File;

  std::vector<I2cChip*> Reached(std::uint8_t address) const;
  ssize_t WriteLocked(std::uint8_t address, std::span<const std::uint8_t> data);
  ssize_t ReadLocked(std::uint8_t address, std::span<std::uint8_t> data);

  std::mutex bus_mutex_;  ///< one transfer at a time
  std::vector<Place> places_;
  const Pca9544a* mux_ = nullptr;
};

}  // namespace simulator
