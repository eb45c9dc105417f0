#include "simulator/signal/voltage_path.h"

#include <algorithm>
#include <string>

namespace simulator {
namespace {

constexpr const char* kTapNames[] = {"direct", "HV1", "HV2"};

}  // namespace

VoltagePath::VoltagePath(Units& units) : dividers_(ShippedDividers()) {
  for (std::size_t channel = 0; channel < kMeasChannels; ++channel) {
    units.AddValue(
        std::string("path.") + kChannelNames[channel],
        [this, channel] { return kTapNames[static_cast<std::size_t>(Get()[channel])]; },
        [this, channel](std::string_view text) {
          const auto* name = std::ranges::find(kTapNames, text);
          if (name == std::end(kTapNames)) return false;
          SetOne(channel, static_cast<Tap>(name - kTapNames));
          return true;
        });
  }
}

VoltagePath::Taps VoltagePath::Get() const {
  const platform::Lock lock(mutex_);
  return taps_;
}

void VoltagePath::Set(const Taps& taps) {
  if (before_) before_();
  const platform::Lock lock(mutex_);
  taps_ = taps;
  ++version_;
}

void VoltagePath::SetOne(std::size_t channel, Tap tap) {
  if (before_) before_();
  const platform::Lock lock(mutex_);
  taps_.at(channel) = tap;
  ++version_;
}

std::complex<double> VoltagePath::Response(Tap tap, double hertz) const {
  if (tap == Tap::kDirect) return 1;
  return dividers_[tap == Tap::kHv1 ? 0 : 1].Response(hertz);
}

}  // namespace simulator
