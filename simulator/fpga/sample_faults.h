// What can go wrong with the sample stream.
//
// Faults of the unit "samples": off (sampling cannot be started and stops), stuck (it
// stops), garbage (words of noise), delayed MS (ends of blocks are reported late).
//
// Values:
//   samples.corrupt  KIND CHANNEL FIRST COUNT [BLOCKS], or "off": bad words in the next blocks
//                    KIND     fault, over-range, busy, sync or sequence
//                    CHANNEL  1, 2 or both
//                    FIRST    index of the first bad pair in the block, or "end": the last ones
//                    BLOCKS   how many blocks (1), or "always"
//   samples.jump     pages by which the counter jumps at the next end of a block: blocks are lost,
//                    or below 0, it goes back
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>

#include "platform/thread_safety.h"
#include "simulator/fault.h"
#include "simulator/units.h"

namespace simulator::fpga {

/// Threads: any.
class SampleFaults {
 public:
  SampleFaults(std::uint64_t seed, Units& units);

  bool IsOff() const { return faults_.Chosen() == Fault::kOff; }
  bool StandsStill() const { return IsOff() || faults_.Chosen() == Fault::kStuck; }
  /// By how much the counter lags.
  platform::Nanoseconds Lag() const { return faults_.Delay(); }

  /// Does to the words of a complete block what is wrong with it.
  void Spoil(std::span<std::uint32_t> words);
  /// Pages by which the counter jumps now; 0 on the next call.
  std::int64_t TakeJump() { return jump_.exchange(0); }

 private:
  enum class Kind : std::uint8_t { kFault, kOverRange, kBusy, kSync, kSequence };
  struct Corruption {
    Kind kind{};
    unsigned channels = 0;             ///< bit 0: channel 1
    std::optional<std::size_t> first;  ///< nothing: the block's last pairs
    std::size_t count = 0;
    std::optional<std::uint64_t> blocks = 1;  ///< nothing: always
    std::string text;
  };
  struct KindName {
    const char* name;
    Kind kind;
  };
  static const KindName kKinds[];

  bool SetCorruption(std::string_view text);
  static std::optional<Corruption> Parse(std::string_view text);
  static void Apply(const Corruption& corruption, std::span<std::uint32_t> words);
  static std::uint32_t Spoiled(Kind kind, std::uint32_t word);

  FaultSwitch faults_;
  std::atomic<std::int64_t> jump_{0};
  mutable platform::Mutex mutex_;
  std::optional<Corruption> corruption_ Q5_GUARDED_BY(mutex_);
  std::mt19937_64 random_ Q5_GUARDED_BY(mutex_);
};

}  // namespace simulator::fpga
