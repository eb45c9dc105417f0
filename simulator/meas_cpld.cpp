#include "simulator/meas_cpld.h"

#include <algorithm>
#include <cstdio>

#include "simulator/parse.h"

namespace simulator {
namespace {

enum Select : std::uint8_t {
  kIdentity = 0x01,
  kConfiguration = 0x02,
  kState = 0x04,
  kRange = 0x08
};

enum StatusBit : std::uint8_t {
  kBusy = 0xC0,
  kSafemode = 0x90,  ///< a fault, and the overload latch
  kAdcOverRange = 0x08,
  kOverloadNow = 0x01,
};

constexpr std::uint8_t kTestModeKey = 0x55;
constexpr std::size_t kTestModeFrame = 3;
constexpr std::size_t kRangeFrame = 1;
constexpr platform::Nanoseconds kBusyTime = std::chrono::milliseconds(50);
constexpr std::uint64_t kLongestBusyMs = 60000;

/// Where things are in the status frame.
constexpr std::size_t kStatusBytes = 24;
constexpr std::size_t kConfigAt = 1;
constexpr std::size_t kTestModeAt = 9;
constexpr std::size_t RangeAt(CpldId id) { return id == CpldId::k0985 ? 4 : 5; }

std::string Hex(unsigned value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*X", digits, value);
  return text;
}

}  // namespace

MeasCpld::MeasCpld(const std::string& name, CpldId id, std::uint16_t revision,
                   platform::Clock& clock, Units& units)
    : id_(id), revision_(revision), clock_(clock), busy_time_(kBusyTime) {
  units.AddValue(name + ".config", [this] { return Hex(Read().config, 6); });
  units.AddValue(name + ".range", [this] { return Hex(Read().range_code, 2); });
  units.AddValue(name + ".test_mode", [this] { return std::to_string(Read().test_mode); });
  units.AddValue(name + ".status", [this] {
    const platform::Lock lock(mutex_);
    return Hex(Status(), 2);
  });
  units.AddValue(
      name + ".faults",
      [this] {
        const platform::Lock lock(mutex_);
        return Hex(faults_, 2);
      },
      [this](std::string_view text) {
        const auto value = ParseHexOrDecimal(text, 0xFF);
        TellBefore();
        const platform::Lock lock(mutex_);
        if (value) faults_ = static_cast<std::uint8_t>(*value);
        return value.has_value();
      });
  units.AddValue(
      name + ".overload",
      [this] {
        const platform::Lock lock(mutex_);
        return overload_ ? "1" : "0";
      },
      [this](std::string_view text) {
        const auto value = ParseNumber(text, 1);
        TellBefore();
        if (value) SetOverload(*value != 0);
        return value.has_value();
      });
  AddFlag(name, ".safemode", latched_, units);
  units.AddValue(
      name + ".busy_ms",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(busy_time_ / std::chrono::milliseconds(1));
      },
      [this](std::string_view text) {
        const auto value = ParseNumber(text, kLongestBusyMs);
        const platform::Lock lock(mutex_);
        if (value) busy_time_ = std::chrono::milliseconds(*value);
        return value.has_value();
      });
}

void MeasCpld::AddFlag(const std::string& name, const char* value, bool& flag, Units& units) {
  units.AddValue(
      name + value,
      [this, &flag] {
        const platform::Lock lock(mutex_);
        return flag ? "1" : "0";
      },
      [this, &flag](std::string_view text) {
        const auto given = ParseNumber(text, 1);
        TellBefore();
        const platform::Lock lock(mutex_);
        if (given) flag = *given != 0;
        return given.has_value();
      });
}

bool MeasCpld::Busy() const {
  return (faults_ & kBusy) == kBusy || clock_.Monotonic() < busy_until_;
}

std::uint8_t MeasCpld::Status() const {
  if (Busy()) return static_cast<std::uint8_t>(faults_ | kBusy);
  unsigned status = faults_;
  if (latched_) status |= kSafemode;
  if (overload_) status |= kOverloadNow;
  if (adc_over_range_) status |= kAdcOverRange;
  return static_cast<std::uint8_t>(status);
}

void MeasCpld::SetOverload(bool on) {
  const platform::Lock lock(mutex_);
  overload_ = on;
  latched_ = latched_ || on;
}

void MeasCpld::SetAdcOverRange(bool on) {
  const platform::Lock lock(mutex_);
  adc_over_range_ = on;
}

MeasCpld::Settings MeasCpld::Read() const {
  const platform::Lock lock(mutex_);
  Settings settings;
  settings.config = static_cast<std::uint32_t>(config_[0] | config_[1] << 8 | config_[2] << 16);
  settings.range_code = range_code_;
  settings.test_mode = test_mode_;
  settings.safe = latched_;
  settings.busy = Busy();
  const bool for_ever = (faults_ & kBusy) == kBusy;
  settings.busy_until = for_ever ? platform::Nanoseconds::max() : busy_until_;
  return settings;
}

/// What every write that took has in common.
void MeasCpld::Accept() {
  latched_ = overload_;
  busy_until_ = clock_.Monotonic() + busy_time_;
}

void MeasCpld::Identify(std::span<std::uint8_t> in, bool wrong) const {
  const CpldId other = id_ == CpldId::k0985 ? CpldId::k1093 : CpldId::k0985;
  const auto id = static_cast<std::uint16_t>(wrong ? other : id_);
  const std::uint8_t frame[] = {static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id),
                                static_cast<std::uint8_t>(revision_ >> 8),
                                static_cast<std::uint8_t>(revision_)};
  std::copy_n(frame, std::min(in.size(), sizeof frame), in.begin());
}

/// The register comes with its last byte first.
void MeasCpld::Configure(std::span<const std::uint8_t> out) {
  if (out.size() != config_.size()) return;
  std::ranges::reverse_copy(out, config_.begin());
  Accept();
}

void MeasCpld::SetRange(std::span<const std::uint8_t> out) {
  if (out.size() == kRangeFrame) {
    range_code_ = out[0];
    Accept();
  } else if (id_ == CpldId::k1093 && out.size() == kTestModeFrame && out[0] == kTestModeKey) {
    test_mode_ = out[2];
    Accept();
  }
}

void MeasCpld::Show(std::span<std::uint8_t> in) const {
  std::array<std::uint8_t, kStatusBytes> frame{};
  frame[0] = Status();
  std::ranges::reverse_copy(config_, frame.begin() + kConfigAt);
  frame[RangeAt(id_)] = range_code_;
  if (id_ == CpldId::k1093) frame[kTestModeAt] = test_mode_;
  std::copy_n(frame.begin(), std::min(in.size(), frame.size()), in.begin());
}

void MeasCpld::Exchange(std::uint8_t select, std::span<const std::uint8_t> out,
                        std::span<std::uint8_t> in, bool wrong) {
  TellBefore();
  const platform::Lock lock(mutex_);
  if (in.empty()) return;
  if (select == kIdentity) return Identify(in, wrong);
  if (select == kState) return Show(in);
  if (select != kConfiguration && select != kRange) return;
  // What is shifted in while a register is written is the status before the write.
  std::ranges::fill(in, std::uint8_t{0});
  in[0] = Status();
  if (Busy()) return;
  if (select == kConfiguration) {
    Configure(out);
  } else {
    SetRange(out);
  }
}

std::string MeasCpld::Describe() const {
  const Settings settings = Read();
  return "config " + Hex(settings.config, 6) + " range " + Hex(settings.range_code, 2) +
         " test mode " + std::to_string(settings.test_mode) + (settings.safe ? " safemode" : "") +
         (settings.busy ? " busy" : "");
}

}  // namespace simulator
