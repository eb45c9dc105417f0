// The FPGA's sample stream: it takes pairs from the converters, numbers them, writes them into the
// ring and wakes the driver's readers at complete blocks.
//
// Pairs are made when someone asks for them, up to the present, so that what they show depends on
// the moment of a change and not on who looks when.
//
// Values: samples.rate (pairs a second, exact), samples.counter (pages since sampling began),
// samples.block (pages in a block), samples.running. Memory: samples.ring.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "simulator/driver_counters.h"
#include "simulator/fpga/sample_faults.h"
#include "simulator/fpga/sample_pacer.h"
#include "simulator/fpga/sample_ring.h"
#include "simulator/fpga/sample_source.h"

namespace simulator::fpga {

/// What one open file has seen of the stream.
struct SampleReader {
  std::uint64_t run = 0;  ///< which start of sampling
  std::uint64_t pages = 0;
};

/// Threads: one at a time.
class Sampler {
 public:
  /// Converter clocks in a pair of samples.
  static constexpr unsigned kClocksPerPair = 64;

  /// All references outlive it.
  Sampler(SampleSource& source, DriverCounters& counters, double speed, std::uint64_t seed,
          Units& units);

  int Descriptor() const { return ring_.Descriptor(); }
  SharedMemory& Memory() { return ring_.Memory(); }

  /// 0, or EIO of a stream that is off.
  int Start(platform::Nanoseconds now);
  void Stop() { running_ = false; }
  bool IsRunning() const { return running_; }
  /// The size of a block; EINVAL for one that is not a whole number of pages or does not divide the
  /// ring.
  int Announce(std::uint32_t bytes);

  /// Makes the pairs up to `now`, as everything was set.
  void Advance(platform::Nanoseconds now);
  /// What holds from `now` on. Requires that Advance has reached `now`.
  void Configure(platform::Nanoseconds now, const std::optional<Fraction>& converter_clock,
                 const SampleConditions& conditions, const std::array<bool, kChannels>& inverted);

  /// The counter at the last end of a block of so many pages; `now` as for Advance.
  std::uint64_t Counter(std::uint64_t block_pages, platform::Nanoseconds now) const;
  /// True, and the counter noted as taken, when this reader has not seen it yet.
  bool Take(SampleReader& reader, std::uint64_t block_pages, platform::Nanoseconds now);
  /// When there is something new for this reader; nothing when that is unknown.
  std::optional<platform::Nanoseconds> NextBoundary(const SampleReader& reader,
                                                    std::uint64_t block_pages,
                                                    platform::Nanoseconds now) const;
  std::uint64_t BlockPages() const { return block_pages_; }
  std::uint64_t Pages() const { return ring_.Pages(); }
  const std::optional<Fraction>& Rate() const { return rate_; }

 private:
  void MakeUntil(std::uint64_t due);
  void SkipWhatTheRingLoses(std::uint64_t due);
  void MakeRun(std::uint64_t pairs);
  void Number(std::span<std::uint32_t> words) const;
  void EndPages(std::uint64_t pages);
  void EndBlock();
  void CountLost();

  SampleSource& source_;
  DriverCounters& counters_;
  SampleFaults faults_;
  SampleRing ring_;
  SamplePacer pacer_;
  bool running_ = false;
  std::uint64_t runs_ = 0;
  std::uint64_t made_ = 0;  ///< pairs since the start, as the pacer counts
  std::uint64_t block_pages_;
  std::uint64_t taken_ = 0;  ///< the counter up to which pages were read or counted as lost
  std::optional<Fraction> rate_;
  SampleConditions conditions_;
  std::array<bool, kChannels> inverted_{};
};

}  // namespace simulator::fpga
