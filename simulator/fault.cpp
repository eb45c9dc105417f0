#include "simulator/fault.h"

#include <algorithm>

#include "simulator/parse.h"

namespace simulator {
namespace {

struct FaultInfo {
  Fault fault;
  const char* name;
  int default_amount;  ///< 0: takes none
  int max_amount;
};

constexpr int kLongestDelayMs = 60000;
constexpr FaultInfo kFaults[] = {
    {Fault::kOk, "ok", 0, 0},
    {Fault::kOff, "off", 0, 0},
    {Fault::kStuck, "stuck", 0, 0},
    {Fault::kGarbage, "garbage", 0, 0},
    {Fault::kWrong, "wrong", 0, 0},
    {Fault::kSlow, "slow", 100, kLongestDelayMs},
    {Fault::kHang, "hang", 0, 0},
    {Fault::kDelayed, "delayed", 100, kLongestDelayMs},
    {Fault::kIntermittent, "intermittent", 50, 100},
};

const FaultInfo& Info(Fault fault) { return *std::ranges::find(kFaults, fault, &FaultInfo::fault); }

}  // namespace

const char* FaultName(Fault fault) { return Info(fault).name; }

FaultSwitch::FaultSwitch(std::initializer_list<Fault> supported, std::uint64_t seed)
    : supported_(supported), random_(seed) {}

std::string FaultSwitch::Set(std::span<const std::string_view> words) {
  const auto* info = std::ranges::find_if(
      kFaults, [&](const FaultInfo& entry) { return !words.empty() && words[0] == entry.name; });
  if (info == std::end(kFaults)) {
    return "expected ok, off, stuck, garbage, wrong, slow, hang, delayed or intermittent";
  }
  const bool known =
      info->fault == Fault::kOk || std::ranges::find(supported_, info->fault) != supported_.end();
  if (!known) return "unsupported";
  int amount = info->default_amount;
  if (words.size() > 1) {
    const auto given = ParseNumber(words[1], static_cast<std::uint64_t>(info->max_amount));
    if (words.size() > 2 || !given || *given == 0) {
      return info->max_amount == 0
                 ? std::string(info->name) + " takes no number"
                 : "expected one number, 1 to " + std::to_string(info->max_amount);
    }
    amount = static_cast<int>(*given);
  }
  const platform::Lock lock(mutex_);
  fault_ = info->fault;
  amount_ = amount;
  changed_.notify_all();
  return "";
}

std::string FaultSwitch::Show() const {
  const platform::Lock lock(mutex_);
  std::string text = FaultName(fault_);
  if (amount_ != 0) text += " " + std::to_string(amount_);
  return text;
}

Fault FaultSwitch::Chosen() const {
  const platform::Lock lock(mutex_);
  return fault_;
}

Fault FaultSwitch::Now() {
  const platform::Lock lock(mutex_);
  if (fault_ != Fault::kIntermittent) return fault_;
  return static_cast<int>(random_() % 100) < amount_ ? Fault::kOff : Fault::kOk;
}

platform::Nanoseconds FaultSwitch::Delay() const {
  const platform::Lock lock(mutex_);
  const bool delays = fault_ == Fault::kSlow || fault_ == Fault::kDelayed;
  return std::chrono::milliseconds(delays ? amount_ : 0);
}

void FaultSwitch::AwaitLifted() {
  platform::Lock lock(mutex_);
  changed_.wait(lock, [this]() Q5_REQUIRES(mutex_) { return fault_ != Fault::kHang || released_; });
}

void FaultSwitch::Hold(platform::Clock& clock) {
  AwaitLifted();
  if (Chosen() == Fault::kSlow) clock.SleepFor(Delay());
}

void FaultSwitch::Release() {
  const platform::Lock lock(mutex_);
  released_ = true;
  changed_.notify_all();
}

std::uint16_t FaultSwitch::Noise() {
  const platform::Lock lock(mutex_);
  return static_cast<std::uint16_t>(random_());
}

}  // namespace simulator
