#include "simulator/i2c/chip.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <utility>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::initializer_list<Fault> kFaults = {
    Fault::kOff, Fault::kStuck, Fault::kGarbage, Fault::kSlow, Fault::kHang, Fault::kIntermittent};
constexpr std::initializer_list<Fault> kFaultsWithWrong = {
    Fault::kOff,  Fault::kStuck, Fault::kGarbage,     Fault::kWrong,
    Fault::kSlow, Fault::kHang,  Fault::kIntermittent};

constexpr std::uint64_t kMostTransfers = 1000000;
constexpr std::uint64_t kMostBytes = 65536;

}  // namespace

I2cChip::I2cChip(std::string name, const Surroundings& around, Identity identity)
    : name_(std::move(name)),
      clock_(around.clock),
      faults_(identity == Identity::kPlain ? kFaults : kFaultsWithWrong,
              around.seed ^ std::hash<std::string>()(name_)) {
  around.units.AddFaults(name_, faults_);
  around.units.AddValue(name_ + ".transfers", [this] { return Transfers(); });
  around.units.AddValue(name_ + ".last", [this] { return Last(); });
  AddValue(
      around.units, "fail_after",
      [this] { return fail_after_ ? std::to_string(*fail_after_) : "off"; },
      [this](std::string_view text) {
        const auto count = ParseNumber(text, kMostBytes);
        if (count || text == "off") fail_after_ = count;
        return count || text == "off";
      });
  AddValue(
      around.units, "fail_transfer",
      [this] { return fail_transfer_ == 0 ? "off" : std::to_string(fail_transfer_); },
      [this](std::string_view text) {
        const auto count = ParseNumber(text, kMostTransfers);
        if (count || text == "off") fail_transfer_ = count.value_or(0);
        return count || text == "off";
      });
}

void I2cChip::AddValue(Units& units, const std::string& value, Units::Getter get,
                       Units::Setter set) {
  Units::Setter locked_set;
  if (set) {
    locked_set = [this, set = std::move(set)](std::string_view text) {
      const std::lock_guard lock(mutex_);
      return set(text);
    };
  }
  units.AddValue(
      name_ + "." + value,
      [this, get = std::move(get)] {
        const std::lock_guard lock(mutex_);
        return get();
      },
      std::move(locked_set));
}

std::string I2cChip::Transfers() const {
  const std::lock_guard lock(mutex_);
  return std::to_string(reads_) + " reads, " + std::to_string(writes_) + " writes, " +
         std::to_string(failed_) + " failed";
}

std::string I2cChip::Last() const {
  const std::lock_guard lock(mutex_);
  return Describe();
}

I2cChip::Start I2cChip::Begin(std::size_t size, std::unique_lock<std::mutex>& lock) {
  Start start;
  start.fault = faults_.Now();
  faults_.Hold(clock_);
  lock.lock();
  start.count = fail_after_ ? std::min<std::size_t>(size, *fail_after_) : size;
  if (start.fault == Fault::kOff) {
    start.error = -ENXIO;
    return start;
  }
  const bool its_turn = fail_transfer_ > 0 && --fail_transfer_ == 0;
  if (its_turn || (start.count == 0 && size > 0)) start.error = -EIO;
  return start;
}

ssize_t I2cChip::Fail(int error) {
  ++failed_;
  return error;
}

ssize_t I2cChip::Write(std::span<const std::uint8_t> data) {
  std::unique_lock lock(mutex_, std::defer_lock);
  const Start start = Begin(data.size(), lock);
  if (start.error != 0) return Fail(start.error);
  if (start.fault != Fault::kStuck) {
    const int error = Take(data.first(start.count));
    if (error != 0) return Fail(error);
  }
  ++writes_;
  return static_cast<ssize_t>(start.count);
}

ssize_t I2cChip::Read(std::span<std::uint8_t> data) {
  std::unique_lock lock(mutex_, std::defer_lock);
  const Start start = Begin(data.size(), lock);
  if (start.error != 0) return Fail(start.error);
  const auto passed = data.first(start.count);
  if (start.fault == Fault::kStuck && answer_.size() >= passed.size()) {
    std::copy_n(answer_.begin(), passed.size(), passed.begin());
  } else {
    const int error = Give(passed);
    if (error != 0) return Fail(error);
    answer_.assign(passed.begin(), passed.end());
  }
  if (start.fault == Fault::kGarbage) {
    std::ranges::generate(passed, [this] { return static_cast<std::uint8_t>(faults_.Noise()); });
  }
  ++reads_;
  return static_cast<ssize_t>(start.count);
}

}  // namespace simulator
