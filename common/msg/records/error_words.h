// Error words: how a failure is reported to the host.
//
// A word has a code in its low 12 bits and, above it, the number of data words that follow it in
// the list. A list begins with the code of the module that reports it. major_codes.h has the codes.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/thread_safety.h"

namespace Msg {

/// First word of an error list.
enum MODCODES : std::int16_t {
  NAK_MAJORCODE = 0,  ///< the first word is itself a major code
  NAK_TOS_ERR = 1,    ///< error list of the main module
  NAK_MOS_ERR = 2,    ///< error list of the measurement module
  NAK_SOS_ERR = 3,    ///< error list of the source module
  NAK_PFC_ERR = 4,    ///< error list of the power board
};

/// Words of an error list, the module code included.
inline constexpr int kErrorListWords = 64;
/// Data words that one error word can announce.
inline constexpr int kMaxDataWords = 15;

constexpr int ErrorCodeOf(std::int16_t word) { return word & 0xFFF; }
constexpr int DataWordsOf(std::int16_t word) { return (word >> 12) & 0xF; }
constexpr std::int16_t MakeErrorWord(int code, int data_words) {
  return static_cast<std::int16_t>((data_words & 0xF) << 12 | (code & 0xFFF));
}

/// The data of a word that announces `n` data words, cut to those that exist.
constexpr std::span<const std::int16_t> DataToStore(int n, std::span<const std::int16_t> data) {
  const int wanted = n < 0 ? 0 : n & kMaxDataWords;
  return data.first(std::min(data.size(), static_cast<std::size_t>(wanted)));
}

/// A value as a data word. A value that does not fit becomes the nearest limit, and NaN becomes 0.
constexpr std::int16_t ToDataWord(double value) {
  if (value != value) return 0;
  return static_cast<std::int16_t>(std::clamp(value, double{INT16_MIN}, double{INT16_MAX}));
}

/// Collects the data words of one error word; words beyond the limit are left out.
class DataWords {
 public:
  constexpr void Add(std::span<const std::int16_t> words) {
    for (const std::int16_t word : words) {
      if (size_ < words_.size()) words_[size_++] = word;
    }
  }
  constexpr std::span<const std::int16_t> First(int room) const {
    return std::span(words_).first(std::min(size_, static_cast<std::size_t>(std::max(room, 0))));
  }

 private:
  std::array<std::int16_t, kMaxDataWords> words_{};
  std::size_t size_ = 0;
};

/// A frequency (Hz) as data words: whole hertz, or below 1 Hz the scale mark 1 and ten thousandths.
constexpr DataWords FrequencyData(float f) {
  DataWords words;
  if (f < 1.0F) {
    const std::int16_t scaled[] = {1, ToDataWord(double{f * 10000.0F})};
    words.Add(scaled);
  } else {
    const std::int16_t whole[] = {ToDataWord(double{f})};
    words.Add(whole);
  }
  return words;
}

/// The data of the word at `place` of a list, cut at the list's end.
constexpr std::span<const std::int16_t> DataBehind(std::span<const std::int16_t> list,
                                                   std::size_t place) {
  const auto rest = list.subspan(place + 1);
  return rest.first(std::min(rest.size(), static_cast<std::size_t>(DataWordsOf(list[place]))));
}

/// An error word in its list.
struct ErrorWord {
  int place;
  int code;
  std::span<const std::int16_t> data;
};

/// Calls `visit` with each error word of `list`, whose first word is a module code.
template <class Visit>
Q5_UNCHECKED constexpr void ForEachErrorWord(std::span<const std::int16_t> list, Visit visit) {
  for (std::size_t place = 1; place < list.size();) {
    const auto data = DataBehind(list, place);
    visit(ErrorWord{static_cast<int>(place), ErrorCodeOf(list[place]), data});
    place += 1 + data.size();
  }
}

}  // namespace Msg
