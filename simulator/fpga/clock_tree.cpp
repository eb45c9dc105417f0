#include "simulator/fpga/clock_tree.h"

#include <string>

#include "simulator/parse.h"

namespace simulator::fpga {
namespace {

// The clock select word.
constexpr unsigned kFromChip = 1U << 5;
constexpr unsigned kConverterRemote = 1U << 4;
constexpr unsigned kConverterShift = 7;
constexpr unsigned kConverterMask = 0xF;
constexpr unsigned kWaveformShift = 11;
constexpr unsigned kWaveformMask = 0x1F;

constexpr std::uint64_t kHighestRemote = 200000000;

/// A divider field holds log2 of the divider, less 1.
Fraction Divided(const Fraction& source, unsigned word, unsigned shift, unsigned mask) {
  return source / Fraction(Wide{2} << (word >> shift & mask));
}

}  // namespace

ClockTree::ClockTree(const Si5338* chip, Units& units) : chip_(chip) {
  units.AddValue(
      "clock.remote",
      [this] {
        const platform::Lock lock(remote_mutex_);
        if (remote_same_) return std::string("same");
        return remote_hertz_ ? std::to_string(*remote_hertz_) + " Hz" : "off";
      },
      [this](std::string_view text) {
        const auto hertz = ParseNumber(text, kHighestRemote);
        if (text != "same" && text != "off" && hertz.value_or(0) == 0) return false;
        const platform::Lock lock(remote_mutex_);
        remote_same_ = text == "same";
        remote_hertz_ = hertz;
        return true;
      });
}

Clocks ClockTree::Make(std::uint16_t clock_select) const {
  Clocks clocks;
  if ((clock_select & kFromChip) == 0) {
    clocks.source = Fraction(kOscillatorHertz);
  } else if (chip_ != nullptr) {
    clocks.source = chip_->Output(0);
  }
  if (clocks.source) {
    clocks.converter = Divided(*clocks.source, clock_select, kConverterShift, kConverterMask);
    clocks.waveform = Divided(*clocks.source, clock_select, kWaveformShift, kWaveformMask);
  }
  const platform::Lock lock(remote_mutex_);
  if ((clock_select & kConverterRemote) != 0 && !remote_same_) {
    clocks.converter.reset();
    if (remote_hertz_) clocks.converter = Fraction(*remote_hertz_);
  }
  return clocks;
}

}  // namespace simulator::fpga
