#include "common/msg/hmp_error_rep.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/log/logger_mgr.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {

void HmpErrorRep::InitResponse() {
  count = 0;
  std::memset(ecodes, 0, sizeof ecodes);
}

void HmpErrorRep::SetNak(int already) {
  if (already != 0) logger_mgr::print(msgL, Logger::kDebug, 0, "Nak resp = %d \n", already);
  if (opcode > 0) opcode = static_cast<std::int16_t>(-opcode);
  len = sizeof *this - kFrameOverhead;
  ack = HMP_NAK;
  SetChksm(Logger::kDebug);
}

// The module code is no error word, nor is a data word, though either may have the same value.
bool HmpErrorRep::HasErrorCode(short code) const {
  for (int i = 1; i < count; i += 1 + DataWordsOf(ecodes[i])) {
    if (ecodes[i] == code) return true;
  }
  return false;
}

int HmpErrorRep::SetHMPErrorCode(int module, short code, int already) {
  if (count >= kErrorListWords) return -1;
  if (count <= 0) {
    ecodes[0] = static_cast<std::int16_t>(module);
    count = 1;
  }
  if (!HasErrorCode(code)) {
    ecodes[count] = code;
    ++count;
  }
  SetNak(already);
  return 0;
}

void HmpErrorRep::SetHMPMajorCode(short code) {
  ecodes[0] = code;
  count = 1;
  SetNak(0);
}

void HmpErrorRep::Show(int level) const {
  if (!logger_mgr::LogSamples(msgL, level)) return;
  std::string words;
  for (int i = 0; i < std::clamp<int>(count, 0, kErrorListWords); ++i) {
    char word[8];
    std::snprintf(word, sizeof word, " 0x%x", ecodes[i] & 0xFFFFu);
    words += word;
  }
  logger_mgr::print(
      msgL, level, 0,
      "<HmpErrorRep src=%d dst=%d opcode=%d 0x%04X len=%d ack=%d count=%d ecodes=%s/>\n", src, dst,
      opcode, opcode & 0xFFFFu, len, ack, count, words.c_str());
}

}  // namespace Msg
