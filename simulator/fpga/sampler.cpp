#include "simulator/fpga/sampler.h"

#include <algorithm>
#include <bit>
#include <cerrno>

namespace simulator::fpga {
namespace {

constexpr std::uint64_t kDefaultBlockPages = 2;

std::uint32_t Negated(std::uint32_t word) {
  const std::int32_t sample = static_cast<std::int32_t>(word) >> kSampleShift;
  return static_cast<std::uint32_t>(-sample) << kSampleShift | (word & kLowByte);
}

}  // namespace

Sampler::Sampler(SampleSource& source, DriverCounters& counters, double speed, std::uint64_t seed,
                 Units& units)
    : source_(source),
      counters_(counters),
      faults_(seed, units),
      pacer_(speed),
      block_pages_(kDefaultBlockPages) {}

int Sampler::Start(platform::Nanoseconds now) {
  if (faults_.IsOff() || Descriptor() < 0) return -EIO;
  running_ = true;
  ++runs_;
  made_ = 0;
  taken_ = 0;
  ring_.Restart();
  pacer_.Restart(now);
  source_.Begin();
  if (rate_) source_.Prepare(conditions_, now);
  return 0;
}

int Sampler::Announce(std::uint32_t bytes) {
  const std::uint64_t pages = bytes / kPageBytes;
  if (bytes % kPageBytes != 0 || !std::has_single_bit(pages) || pages > SampleRing::kPages) {
    return -EINVAL;
  }
  block_pages_ = pages;
  return 0;
}

void Sampler::Configure(platform::Nanoseconds now, const std::optional<Fraction>& converter_clock,
                        const SampleConditions& conditions,
                        const std::array<bool, kChannels>& inverted) {
  rate_.reset();
  if (converter_clock) rate_ = *converter_clock / Fraction(kClocksPerPair);
  pacer_.SetRate(now, rate_);
  conditions_ = conditions;
  conditions_.rate = rate_.value_or(Fraction());
  inverted_ = inverted;
}

// --- Making pairs ---

void Sampler::Advance(platform::Nanoseconds now) {
  if (!running_ || !rate_) return;
  if (faults_.StandsStill()) {
    pacer_.Hold(now, made_);
    return;
  }
  const std::uint64_t due = pacer_.Due(now);
  if (due <= made_) return;
  // What held at the first of these pairs holds for all of them, except for what ends by itself.
  auto at = pacer_.TimeOf(made_).value_or(now);
  for (;;) {
    source_.Prepare(conditions_, at);
    const auto change = source_.NextChange();
    if (!change || *change >= now) break;
    MakeUntil(std::min(pacer_.Due(*change), due));
    at = *change;
  }
  MakeUntil(due);
}

void Sampler::MakeUntil(std::uint64_t due) {
  SkipWhatTheRingLoses(due);
  while (made_ < due) MakeRun(due - made_);
}

/// Pages that would be overwritten before anyone can see them need not be made.
void Sampler::SkipWhatTheRingLoses(std::uint64_t due) {
  const std::uint64_t kept = (SampleRing::kPages + block_pages_) * kPagePairs;
  if (due <= made_ + kept) return;
  const std::uint64_t pages = (due - made_ - kept) / kPagePairs / block_pages_ * block_pages_;
  if (pages == 0) return;
  source_.Skip(pages * kPagePairs);
  made_ += pages * kPagePairs;
  ring_.Jump(static_cast<std::int64_t>(pages));
  EndPages(pages);
}

void Sampler::MakeRun(std::uint64_t pairs) {
  const auto room = ring_.Room();
  const auto words = room.first(std::min<std::size_t>(room.size(), pairs * kChannels));
  source_.Generate(words);
  Number(words);
  made_ += words.size() / kChannels;
  ring_.Advance(words.size() / kChannels);
  if (ring_.PairInPage() != 0) return;
  EndPages(1);
  if (ring_.Pages() % block_pages_ == 0) EndBlock();
}

void Sampler::Number(std::span<std::uint32_t> words) const {
  const std::uint64_t block_pairs = block_pages_ * kPagePairs;
  const auto mask = static_cast<std::uint32_t>((block_pairs - 1) >> kSequenceShift);
  std::uint64_t index = ring_.Pages() % block_pages_ * kPagePairs + ring_.PairInPage();
  for (std::size_t i = 0; i < words.size(); i += kChannels, ++index) {
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
      if (inverted_[channel]) words[i + channel] = Negated(words[i + channel]);
    }
    words[i] |= static_cast<std::uint32_t>(index) & kSequenceMask;
    words[i + 1] |= static_cast<std::uint32_t>(index >> kSequenceShift) & mask & kSequenceMask;
  }
}

/// What the driver notes when so many pages, the counter's last ones, are complete.
void Sampler::EndPages(std::uint64_t pages) {
  counters_.rxfpga += static_cast<std::uint32_t>(pages);
  const std::uint64_t before = (ring_.Pages() - std::min(pages, ring_.Pages())) / block_pages_;
  counters_.br_index += static_cast<std::uint32_t>(ring_.Pages() / block_pages_ - before);
  CountLost();
}

void Sampler::EndBlock() {
  faults_.Spoil(ring_.LastPages(block_pages_));
  const std::int64_t jump = faults_.TakeJump();
  if (jump == 0) return;
  ring_.Jump(jump);
  taken_ = std::min(taken_, ring_.Pages());
}

void Sampler::CountLost() {
  const std::uint64_t waiting = ring_.Pages() - taken_;
  if (waiting <= SampleRing::kPages) return;
  const std::uint64_t lost = (waiting - SampleRing::kPages + block_pages_ - 1) / block_pages_;
  taken_ += lost * block_pages_;
  counters_.overflow_underflow += static_cast<std::uint32_t>(lost);
}

// --- Telling of them ---

std::uint64_t Sampler::Counter(std::uint64_t block_pages, platform::Nanoseconds now) const {
  std::uint64_t pages = ring_.Pages();
  const platform::Nanoseconds lag = faults_.Lag();
  if (lag.count() > 0) {
    const std::uint64_t known = std::min(pacer_.Due(now - lag), made_);
    const std::uint64_t late = made_ / kPagePairs - known / kPagePairs;
    pages -= std::min(pages, late);
  }
  return pages / block_pages * block_pages;
}

bool Sampler::Take(SampleReader& reader, std::uint64_t block_pages, platform::Nanoseconds now) {
  if (!running_) return false;
  if (reader.run != runs_) reader = {runs_, 0};
  const std::uint64_t pages = Counter(block_pages, now);
  // A report that lags is no counter that goes back.
  if (pages == reader.pages || (pages < reader.pages && faults_.Lag().count() > 0)) return false;
  reader.pages = pages;
  taken_ = std::max(taken_, pages);
  return true;
}

std::optional<platform::Nanoseconds> Sampler::NextBoundary(const SampleReader& reader,
                                                           std::uint64_t block_pages,
                                                           platform::Nanoseconds now) const {
  if (!running_ || faults_.StandsStill()) return std::nullopt;
  const std::uint64_t ahead = std::max(Counter(block_pages, now), reader.pages) + block_pages;
  // The counter may have jumped; the pacer never does.
  const std::uint64_t made_pages = made_ / kPagePairs;
  auto time = pacer_.TimeOf((ahead - ring_.Pages() + made_pages) * kPagePairs);
  if (time) *time += faults_.Lag();
  return time;
}

}  // namespace simulator::fpga
