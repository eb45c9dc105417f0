// A measurement channel board as the physics sees it: what its front end is set to, and what its
// hardware truly does.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "simulator/calibration/channel_hardware.h"
#include "simulator/meas_cpld.h"

namespace simulator {

inline constexpr std::size_t kOffsetDacs = 4;

/// What the front end is set to now.
struct FrontEnd {
  InputMode mode = InputMode::kOff;
  int filter = 0;  ///< 0 to 15
  std::uint8_t range_code = 0;
  std::array<std::uint16_t, kOffsetDacs> dac{};  ///< 0x8000 is the centre
  int test_mode = 0;                             ///< DC test mode of a 1093 board; 0 is none
  bool safe = false;                             ///< the overload latch has taken the input off
  bool busy = false;                             ///< a change is under way
  platform::Nanoseconds busy_until{0};           ///< max() for a change that never ends
  bool powered = false;                          ///< the analogue supply is on

  friend bool operator==(const FrontEnd&, const FrontEnd&) = default;
};

/// Threads: any.
class MeasChannelBoard {
 public:
  struct Kind {
    CpldId id = CpldId::k1093;
    std::uint16_t revision = 0;
  };

  /// `name` is the prefix of the CPLD's values.
  MeasChannelBoard(const std::string& name, const Kind& kind, ChannelHardware hardware,
                   platform::Clock& clock, Units& units)
      : kind_(kind),
        hardware_(std::move(hardware)),
        cpld_(name, kind.id, kind.revision, clock, units) {}

  FrontEnd Settings() const;
  const ChannelHardware& Hardware() const { return hardware_; }
  CpldId Id() const { return kind_.id; }
  /// Also how the physics reports an overload and an ADC at its limit.
  MeasCpld& Cpld() { return cpld_; }

  std::uint16_t Dac(std::size_t channel) const { return dacs_.at(channel); }
  void SetDac(std::size_t channel, std::uint16_t value) {
    if (before_) before_();
    dacs_.at(channel) = value;
  }
  /// As MeasCpld::Observe, for the DACs, too.
  void Observe(const std::function<void()>& before) {
    before_ = before;
    cpld_.Observe(before);
  }

 private:
  const Kind kind_;
  const ChannelHardware hardware_;
  MeasCpld cpld_;
  std::function<void()> before_;
  std::array<std::atomic<std::uint16_t>, kOffsetDacs> dacs_{};
};

}  // namespace simulator
