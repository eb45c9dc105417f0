// The list of error words as a test compares it.
#pragma once

#include <algorithm>
#include <vector>

#include "common/msg/state/errorcodes.h"

/// The words in use, 0 to 65535; the first is the module code.
inline std::vector<int> ListOf(const Msg::Errorcodes& errors) {
  const auto list = errors.CopyErrorCodes();
  std::vector<int> words(list.words.begin(), list.words.begin() + std::max(list.errorindex, 0));
  for (int& word : words) word &= 0xFFFF;
  return words;
}
