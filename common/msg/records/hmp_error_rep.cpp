#include "common/msg/records/hmp_error_rep.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"
#include "common/msg/records/user_errors.h"

using Logger::logger_mgr;
using Logger::msgL;

namespace Msg {
namespace {

std::string HexWord(std::int16_t word) {
  char text[8];
  std::snprintf(text, sizeof text, " 0x%x", word & 0xFFFFu);
  return text;
}

}  // namespace

void HmpErrorRep::InitResponse() {
  count = 0;
  std::memset(ecodes, 0, sizeof ecodes);
}

void HmpErrorRep::SetNak(int already) {
  if (already != 0) Q5_LOG_DEBUG(msgL, "Nak resp = %d \n", already);
  if (opcode > 0) opcode = static_cast<std::int16_t>(-opcode);
  len = sizeof *this - kFrameOverhead;
  ack = HMP_NAK;
  SetChksm(Logger::kDebug);
}

HmpErrorRep::List HmpErrorRep::Words() const {
  List list;
  std::memcpy(list.data(), ecodes, sizeof ecodes);
  return list;
}

void HmpErrorRep::Append(std::int16_t word) {
  ecodes[count] = word;
  ++count;
}

// The module code and data words are not error words, even if they have the same value.
bool HmpErrorRep::HasErrorCode(short code) const {
  const List list = Words();
  bool found = false;
  ForEachErrorWord(InUse(list), [&](const ErrorWord& word) {
    found = found || list[static_cast<std::size_t>(word.place)] == code;
  });
  return found;
}

int HmpErrorRep::SetHMPErrorCode(int module, short code, int already) {
  if (count >= kErrorListWords) return -1;
  if (count <= 0) {
    ecodes[0] = static_cast<std::int16_t>(module);
    count = 1;
  }
  if (!HasErrorCode(code)) Append(code);
  SetNak(already);
  return 0;
}

void HmpErrorRep::SetHMPMajorCode(short code) {
  ecodes[0] = code;
  count = 1;
  SetNak(0);
}

int HmpErrorRep::CopyHMPErrorCodes(const short* words, int n) {
  count = static_cast<std::int16_t>(Used());
  Q5_LOG_INFO_HERE(msgL, "%s.%d length = %d \n", n);
  int copied = 0;
  std::string text;
  for (; copied < n && count < kErrorListWords; ++copied) {
    Append(words[copied]);
    text += HexWord(words[copied]);
  }
  Q5_LOG_INFO(msgL, "%s <<<Copied ecodes\n", text.c_str());
  SetNak(1);
  return copied + 1;
}

void HmpErrorRep::SetMajorError() {
  const List list = Words();
  int major = -1;
  ForEachErrorWord(InUse(list), [&major](const ErrorWord& word) {
    Q5_LOG_DEBUG(msgL, "skipwords %d ch %d \n", static_cast<int>(word.data.size()), word.code);
    if (word.code < NAK_MCODE_MAX) major = std::max(major, word.code);
  });
  Q5_LOG_INFO_HERE(msgL, "%s.%d: Found major 0x%x \n", static_cast<unsigned>(major));
  ecodes[0] = static_cast<std::int16_t>(major);
  SetNak(1);
}

void HmpErrorRep::ShiftErrorCodes() {
  if (ecodes[0] == 0) {
    Q5_LOG_INFO(msgL, "ecodes already shifted \n");
    return;
  }
  count = static_cast<std::int16_t>(Used());
  if (count < kErrorListWords) {
    ++count;
  } else {
    Q5_LOG_WARNING_HERE(msgL, "%s.%d: list is full, word 0x%x falls off\n",
                        ecodes[kErrorListWords - 1] & 0xFFFFu);
  }
  List list = Words();
  std::shift_right(list.begin(), list.end(), 1);
  std::memcpy(ecodes, list.data(), sizeof ecodes);
  ecodes[0] = 0;
  SetNak(1);
}

void HmpErrorRep::AddFrequencyError(int module, short code, float f,
                                    std::span<const std::int16_t> data) {
  if (count <= 0) {
    ecodes[0] = static_cast<std::int16_t>(module);
    count = 1;
  }
  count = static_cast<std::int16_t>(Used());
  if (count < kErrorListWords) {
    DataWords words = FrequencyData(f);
    words.Add(data);
    const auto fitting = words.First(kErrorListWords - count - 1);
    Append(MakeErrorWord(code, static_cast<int>(fitting.size())));
    for (const std::int16_t word : fitting) Append(word);
  }
  SetNak(0);
}

int HmpErrorRep::GetMajorErr(short code, int index) const {
  if (!UserErrorsReady()) {
    Q5_LOG_ERROR_HERE(msgL, "%s.%d: ERROR CODES ARE NOT INITIALIZED\n");
    return kNoMajorCode;
  }
  return IsUserError(ErrorCodeOf(code)) ? ParseErrorData(index) : kNoMajorCode;
}

int HmpErrorRep::ParseErrorData(int index) const {
  if (index < 1 || index >= Used()) return kNoMajorCode;
  const List list = Words();
  const int code = ErrorCodeOf(ecodes[index]);
  int highest = -1;
  for (const std::int16_t data : DataBehind(InUse(list), static_cast<std::size_t>(index))) {
    highest = std::max(highest, HighestMajorOf(code, static_cast<std::uint16_t>(data)));
  }
  return highest < 0 ? kNoMajorCode : highest;
}

void HmpErrorRep::InitMajorErrors() { SetUpUserErrors(); }

void HmpErrorRep::Show(int level) const {
  if (!logger_mgr::LogSamples(msgL, level)) return;
  std::string words;
  for (int i = 0; i < Used(); ++i) words += HexWord(ecodes[i]);
  Q5_LOG_AT(level, msgL,
            "<HmpErrorRep src=%d dst=%d opcode=%d 0x%04X len=%d ack=%d count=%d ecodes=%s/>\n", src,
            dst, opcode, opcode & 0xFFFFu, len, ack, count, words.c_str());
}

}  // namespace Msg
