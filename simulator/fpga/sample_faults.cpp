#include "simulator/fpga/sample_faults.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "simulator/fpga/sample_word.h"
#include "simulator/parse.h"

namespace simulator::fpga {
namespace {

constexpr std::uint64_t kMostPairs = 0x40000;
constexpr std::uint64_t kMostBlocks = 1000000000;
constexpr std::int64_t kFarthestJump = 1000000;
constexpr unsigned kChannelBits[] = {1, 2, 3};
constexpr const char* kChannelWords[] = {"1", "2", "both"};

std::vector<std::string_view> Words(std::string_view text) {
  std::vector<std::string_view> words;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (end > 0) words.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return words;
}

}  // namespace

const SampleFaults::KindName SampleFaults::kKinds[] = {{"fault", Kind::kFault},
                                                       {"over-range", Kind::kOverRange},
                                                       {"busy", Kind::kBusy},
                                                       {"sync", Kind::kSync},
                                                       {"sequence", Kind::kSequence}};

SampleFaults::SampleFaults(std::uint64_t seed, Units& units)
    : faults_({Fault::kOff, Fault::kStuck, Fault::kGarbage, Fault::kDelayed}, seed), random_(seed) {
  units.AddFaults("samples", faults_);
  units.AddValue(
      "samples.corrupt",
      [this] {
        const platform::Lock lock(mutex_);
        return corruption_ ? corruption_->text : "off";
      },
      [this](std::string_view text) { return SetCorruption(text); });
  units.AddValue(
      "samples.jump", [this] { return std::to_string(jump_); },
      [this](std::string_view text) {
        std::int64_t pages = 0;
        const char* end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, pages);
        if (result.ec != std::errc() || result.ptr != end) return false;
        if (pages < -kFarthestJump || pages > kFarthestJump) return false;
        jump_ = pages;
        return true;
      });
}

bool SampleFaults::SetCorruption(std::string_view text) {
  auto corruption = Parse(text);
  if (!corruption && text != "off") return false;
  const platform::Lock lock(mutex_);
  corruption_ = std::move(corruption);
  return true;
}

std::optional<SampleFaults::Corruption> SampleFaults::Parse(std::string_view text) {
  const auto words = Words(text);
  if (words.size() != 4 && words.size() != 5) return std::nullopt;
  const auto* kind =
      std::ranges::find_if(kKinds, [&](const KindName& entry) { return words[0] == entry.name; });
  const auto* channel = std::ranges::find(kChannelWords, words[1]);
  const auto count = ParseNumber(words[3], kMostPairs);
  if (kind == std::end(kKinds) || channel == std::end(kChannelWords) || count.value_or(0) == 0) {
    return std::nullopt;
  }
  Corruption corruption;
  corruption.kind = kind->kind;
  corruption.channels = kChannelBits[channel - std::begin(kChannelWords)];
  corruption.count = *count;
  corruption.text = text;
  if (words[2] != "end") {
    corruption.first = ParseNumber(words[2], kMostPairs);
    if (!corruption.first) return std::nullopt;
  }
  if (words.size() == 5) {
    corruption.blocks = ParseNumber(words[4], kMostBlocks);
    if (words[4] != "always" && corruption.blocks.value_or(0) == 0) return std::nullopt;
  }
  return corruption;
}

std::uint32_t SampleFaults::Spoiled(Kind kind, std::uint32_t word) {
  switch (kind) {
    case Kind::kFault:
      return (word & ~kConditionMask) | kFault;
    case Kind::kOverRange:
      return (word & ~kConditionMask) | kOverRange;
    case Kind::kBusy:
      return word | kCpldBusy;
    case Kind::kSync:
      return word | kSyncError;
    case Kind::kSequence:
      return word ^ kSequenceMask;
  }
  return word;
}

void SampleFaults::Apply(const Corruption& corruption, std::span<std::uint32_t> words) {
  const std::size_t pairs = words.size() / kChannels;
  const std::size_t tail = std::min(corruption.count, pairs);
  const std::size_t first = corruption.first.value_or(pairs - tail);
  for (std::size_t pair = first; pair < std::min(first + corruption.count, pairs); ++pair) {
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
      if ((corruption.channels >> channel & 1U) == 0) continue;
      std::uint32_t& word = words[pair * kChannels + channel];
      word = Spoiled(corruption.kind, word);
    }
  }
}

void SampleFaults::Spoil(std::span<std::uint32_t> words) {
  const platform::Lock lock(mutex_);
  if (faults_.Chosen() == Fault::kGarbage) {
    for (std::uint32_t& word : words) word = static_cast<std::uint32_t>(random_());
  }
  if (!corruption_) return;
  Apply(*corruption_, words);
  if (corruption_->blocks && --*corruption_->blocks == 0) corruption_.reset();
}

}  // namespace simulator::fpga
