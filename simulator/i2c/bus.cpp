#include "simulator/i2c/bus.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform/ioctl_table.h"
#include "simulator/i2c/smbus.h"

namespace simulator {
namespace {

constexpr std::int64_t kHighestAddress = 0x7F;

}  // namespace

/// One open file of the bus, with the address that it speaks to.
class I2cBus::File final : public platform::DeviceFile {
 public:
  explicit File(I2cBus& bus) : bus_(bus) {}

  ssize_t Read(void* data, size_t size) override {
    return bus_.Read(address_,
                     {static_cast<std::uint8_t*>(data), std::min(size, kLongestTransfer)});
  }
  ssize_t Write(const void* data, size_t size) override {
    return bus_.Write(address_,
                      {static_cast<const std::uint8_t*>(data), std::min(size, kLongestTransfer)});
  }
  int Ioctl(unsigned long request, void* argument) override {
    std::int64_t value = 0;
    std::memcpy(&value, argument, sizeof value);
    switch (request) {
      case I2C_SLAVE:
      case I2C_SLAVE_FORCE:
        if (value < 0 || value > kHighestAddress) return -EINVAL;
        address_ = static_cast<std::uint8_t>(value);
        return 0;
      case I2C_RETRIES:  // a model that does not answer once never does
        return 0;
      case I2C_SMBUS: {
        platform::SmbusTransfer transfer;
        std::memcpy(&transfer, argument, sizeof transfer);
        const int result = TransferSmbus(bus_, address_, transfer);
        std::memcpy(argument, &transfer, sizeof transfer);
        return result;
      }
      default:
        return -ENOTTY;
    }
  }

 private:
  I2cBus& bus_;
  std::atomic<std::uint8_t> address_{0};
};

bool I2cBus::Add(const Place& place) {
  const bool taken = std::ranges::any_of(places_, [&](const Place& other) {
    return other.channel == place.channel && other.address == place.address;
  });
  if (!taken) places_.push_back(place);
  return !taken;
}

std::vector<I2cChip*> I2cBus::Reached(std::uint8_t address) const {
  const unsigned channels = mux_ == nullptr ? 0 : mux_->Channels();
  std::vector<I2cChip*> reached;
  for (const Place& place : places_) {
    const bool on = place.channel == kRoot || (channels >> place.channel & 1U) != 0;
    if (on && place.address == address) reached.push_back(place.chip);
  }
  return reached;
}

ssize_t I2cBus::Write(std::uint8_t address, std::span<const std::uint8_t> data) {
  const std::lock_guard lock(bus_mutex_);
  return WriteLocked(address, data);
}

ssize_t I2cBus::Read(std::uint8_t address, std::span<std::uint8_t> data) {
  const std::lock_guard lock(bus_mutex_);
  return ReadLocked(address, data);
}

int I2cBus::Transact(std::uint8_t address, Phase phase, std::span<const std::uint8_t> sent,
                     std::span<std::uint8_t> received) {
  const std::lock_guard lock(bus_mutex_);
  if (phase != Phase::kRead) {
    const ssize_t count = WriteLocked(address, sent);
    if (count < 0) return static_cast<int>(count);
    if (static_cast<std::size_t>(count) < sent.size()) return -EIO;
  }
  if (phase == Phase::kWrite) return 0;
  const ssize_t count = ReadLocked(address, received);
  if (count < 0) return static_cast<int>(count);
  return static_cast<std::size_t>(count) < received.size() ? -EIO : 0;
}

ssize_t I2cBus::WriteLocked(std::uint8_t address, std::span<const std::uint8_t> data) {
  ssize_t result = -ENXIO;
  for (I2cChip* chip : Reached(address)) result = std::max(result, chip->Write(data));
  return result;
}

ssize_t I2cBus::ReadLocked(std::uint8_t address, std::span<std::uint8_t> data) {
  ssize_t result = -ENXIO;
  std::vector<std::uint8_t> lines(data.size(), 0xFF);
  for (I2cChip* chip : Reached(address)) {
    std::vector<std::uint8_t> answer(data.size(), 0xFF);
    const ssize_t count = chip->Read(answer);
    result = std::max(result, count);
    for (std::size_t i = 0; i < static_cast<std::size_t>(std::max<ssize_t>(count, 0)); ++i) {
      lines[i] &= answer[i];
    }
  }
  if (result > 0) std::copy_n(lines.begin(), result, data.begin());
  return result;
}

std::unique_ptr<platform::DeviceFile> I2cBus::Open() { return std::make_unique<File>(*this); }

}  // namespace simulator
