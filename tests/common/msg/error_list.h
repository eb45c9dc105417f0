// The list of error words as a test compares it.
#pragma once

#include <vector>

#include "common/msg/errorcodes.h"

/// The words in use, 0 to 65535; the first is the module code.
inline std::vector<int> ListOf(const Msg::Errorcodes& errors) {
  const auto list = errors.CopyErrorCodes();
  std::vector<int> words;
  for (int i = 0; i < list.errorindex; ++i) {
    words.push_back(list.words.at(static_cast<std::size_t>(i)) & 0xFFFF);
  }
  return words;
}
