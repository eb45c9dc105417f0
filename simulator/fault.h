// What can go wrong with a unit of the instrument, in one vocabulary for all units.
//
//   ok            nothing
//   off           gone: no power, no connection
//   stuck         answers, but nothing changes any more
//   garbage       answers with noise (from the instrument's seed)
//   wrong         answers as a unit of another kind would
//   slow MS       takes MS milliseconds longer (100)
//   hang          a use of it does not come back until the fault is lifted
//   delayed MS    what it reports lags by MS milliseconds (100)
//   intermittent PERCENT   off in that share of its uses (50)
#pragma once

#include <condition_variable>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/thread_safety.h"

namespace simulator {

enum class Fault { kOk, kOff, kStuck, kGarbage, kWrong, kSlow, kHang, kDelayed, kIntermittent };

const char* FaultName(Fault fault);

/// The fault that one unit has now. Threads: any.
class FaultSwitch {
 public:
  FaultSwitch(std::initializer_list<Fault> supported, std::uint64_t seed);

  /// The words behind the unit's name in a `fault` command. Empty when done, else what is wrong
  /// with them: "unsupported" for a fault that this unit cannot have.
  std::string Set(std::span<const std::string_view> words);
  /// As the words that set it.
  std::string Show() const;
  /// The fault as it was set.
  Fault Chosen() const;
  const std::vector<Fault>& Supported() const { return supported_; }

  /// The fault of one use of the unit: kIntermittent is thrown for and comes out as kOk or kOff.
  Fault Now();
  /// How much longer a slow or delayed unit takes; zero otherwise.
  platform::Nanoseconds Delay() const;
  /// Waits while the unit hangs.
  void AwaitLifted();
  /// Takes the time that a slow or hanging unit takes more.
  void Hold(platform::Clock& clock);
  /// Ends a hang for good: the instrument ends.
  void Release();
  std::uint16_t Noise();

 private:
  const std::vector<Fault> supported_;
  mutable platform::Mutex mutex_;
  std::condition_variable changed_;
  bool released_ Q5_GUARDED_BY(mutex_) = false;
  Fault fault_ Q5_GUARDED_BY(mutex_) = Fault::kOk;
  int amount_ Q5_GUARDED_BY(mutex_) = 0;  ///< milliseconds or percent
  std::mt19937_64 random_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator
