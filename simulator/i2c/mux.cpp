#include "simulator/i2c/mux.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr std::uint8_t kEnable = 0x04;
constexpr std::uint8_t kNumberMask = 0x03;
constexpr std::uint8_t kOneHotMask = 0x0F;
constexpr int kChannels = 4;

}  // namespace

unsigned Pca9544a::ChannelsLocked() const {
  if (select_ == Select::kOneHot) return control_;
  return (control_ & kEnable) == 0 ? 0U : 1U << (control_ & kNumberMask);
}

unsigned Pca9544a::Channels() const {
  const std::lock_guard lock(mutex_);
  return ChannelsLocked();
}

int Pca9544a::Take(std::span<const std::uint8_t> data) {
  const std::uint8_t writable = select_ == Select::kOneHot ? kOneHotMask : kEnable | kNumberMask;
  if (!data.empty()) control_ = data.back() & writable;
  return 0;
}

int Pca9544a::Give(std::span<std::uint8_t> data) {
  std::ranges::fill(data, control_);
  return 0;
}

std::string Pca9544a::Describe() const {
  std::string on;
  for (int channel = 0; channel < kChannels; ++channel) {
    if ((ChannelsLocked() >> channel & 1U) != 0) on += " " + std::to_string(channel);
  }
  return on.empty() ? "no channel on" : "on:" + on;
}

}  // namespace simulator
