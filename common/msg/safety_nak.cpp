#include "common/msg/safety_nak.h"

#include <algorithm>

namespace Msg {

SafetyNak safetyFault;

bool SafetyNak::safeCheck() {
  const auto last = record_.errtype.begin() + record_.etlen - 1;
  if (std::find(record_.errtype.begin(), last, *last) == last) return true;
  *last = 0;
  --record_.etlen;
  return false;
}

void SafetyNak::Append(std::int16_t word) {
  record_.errcode[static_cast<std::size_t>(record_.len++)] = word;
}

bool SafetyNak::AddWords(int code, std::span<const std::int16_t> data) {
  const auto stored = data.first(std::min<std::size_t>(data.size(), kMaxDataWords));
  const std::lock_guard lock(lock_);
  if (record_.len >= kFull) return false;
  record_.errtype[static_cast<std::size_t>(record_.etlen++)] = MakeErrorWord(code, 0);
  if (!safeCheck()) return false;
  Append(MakeErrorWord(code, static_cast<int>(stored.size())));
  for (const std::int16_t word : stored) Append(word);
  return true;
}

bool SafetyNak::CheckSafetyFault() const {
  const std::lock_guard lock(lock_);
  return record_.len > 0;
}

SafetyNak::Snapshot SafetyNak::Copy() const {
  const std::lock_guard lock(lock_);
  return record_;
}

void SafetyNak::Clear() {
  const std::lock_guard lock(lock_);
  record_.len = record_.etlen = 0;
}

}  // namespace Msg
