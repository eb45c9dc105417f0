// Blocks of sample words for tests.
#pragma once

#include <cstddef>
#include <vector>

/// A clean block: right sequence fields, sample values of their own, no status.
inline std::vector<int> CleanBlock(int pairs) {
  std::vector<int> block;
  for (int i = 0; i < pairs; ++i) {
    const auto sample = static_cast<unsigned>(i * 0x1357) << 8;
    const unsigned second =
        (static_cast<unsigned>(i) >> 8) & (static_cast<unsigned>(pairs - 1) >> 8);
    block.push_back(static_cast<int>(sample | (static_cast<unsigned>(i) & 0x1F)));
    block.push_back(static_cast<int>((~sample & 0xFFFFFF00) | second));
  }
  return block;
}

/// Puts a condition (0 to 3) into a word.
inline void Mark(std::vector<int>& block, int channel, int i, unsigned condition) {
  int& word = block[static_cast<std::size_t>(2 * i + channel)];
  word = static_cast<int>((static_cast<unsigned>(word) & ~0xC0u) | condition << 6);
}
