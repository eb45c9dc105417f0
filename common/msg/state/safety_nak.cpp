#include "common/msg/state/safety_nak.h"

#include <algorithm>

#include "common/log/log_line.h"
#include "common/msg/records/hmp_error_rep.h"

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
  const platform::Lock lock(lock_);
  if (record_.len >= kFull) return false;
  record_.errtype[static_cast<std::size_t>(record_.etlen++)] = MakeErrorWord(code, 0);
  if (!safeCheck()) return false;
  Append(MakeErrorWord(code, static_cast<int>(stored.size())));
  for (const std::int16_t word : stored) Append(word);
  return true;
}

bool SafetyNak::CheckSafetyFault() const {
  const platform::Lock lock(lock_);
  return record_.len > 0;
}

SafetyNak::Snapshot SafetyNak::Copy() const {
  const platform::Lock lock(lock_);
  return record_;
}

void SafetyNak::Clear() {
  const platform::Lock lock(lock_);
  record_.len = record_.etlen = 0;
}

void FormSafetyNak(int module, int& nak, HmpErrorRep* reply) {
  const SafetyNak::Snapshot fault = safetyFault.Copy();
  if (nak == 0) reply->InitResponse();
  Q5_LOG_ERROR_HERE(msgL, "%s.%d SAFETY: %d %x %x\n", fault.len,
                    static_cast<unsigned>(fault.errcode[0]) & 0xFFFFu,
                    static_cast<unsigned>(fault.errcode[1]) & 0xFFFFu);
  for (int i = 0; i < fault.len; ++i) {
    reply->SetHMPErrorCode(module, fault.errcode[static_cast<std::size_t>(i)], i == 0 ? nak : 1);
  }
  reply->Show(Logger::kError);
  nak = 1;
}

}  // namespace Msg
