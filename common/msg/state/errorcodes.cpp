#include "common/msg/state/errorcodes.h"

#include <algorithm>
#include <cstdio>

#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"

namespace Msg {
namespace {

constexpr int ListCodeOf(int module) {
  if (module == MEAS_MODULE) return NAK_MOS_ERR;
  return module == SOURCE_MODULE ? NAK_SOS_ERR : NAK_TOS_ERR;
}

}  // namespace

Errorcodes::Errorcodes(int module) : module_error_code(ListCodeOf(module)) {}

int Errorcodes::NextPlace() {
  if (errorindex < 0) {
    ecodes[0] = static_cast<std::int16_t>(module_error_code);
    errorindex = 1;
  }
  errorindex = std::min(errorindex, kErrorListWords - 1);
  Q5_LOG_DEBUG(msgL, "module error code: 0x%x errorindex: %d\n",
               static_cast<unsigned>(module_error_code), errorindex);
  return errorindex;
}

std::span<const std::int16_t> Errorcodes::InUse() const {
  return std::span(ecodes).first(static_cast<std::size_t>(std::max(errorindex, 0)));
}

bool Errorcodes::HasCode(int code) const {
  bool found = false;
  ForEachErrorWord(InUse(), [&](const ErrorWord& word) { found = found || word.code == code; });
  return found;
}

int Errorcodes::GetErrorIndex() {
  const platform::Lock lock(eindexlock);
  return NextPlace();
}

void Errorcodes::SetErrorCode(short code) {
  const platform::Lock lock(eindexlock);
  Q5_LOG_NOTICE_HERE(msgL, "%s.%d ecodes evalue 0x%x\n", code & 0xFFFFu);
  ecodes[static_cast<std::size_t>(NextPlace())] = code;
  ++errorindex;
}

int Errorcodes::AppendWords(short code, std::span<const std::int16_t> data) {
  const int place = NextPlace();
  const auto room = static_cast<std::size_t>(kErrorListWords - 1 - place);
  const auto fitting = data.first(std::min(data.size(), room));
  const auto word = ecodes.begin() + place;
  *word = MakeErrorWord(code, static_cast<int>(fitting.size()));
  std::ranges::copy(fitting, word + 1);
  errorindex = place + 1 + static_cast<int>(fitting.size());
  return place;
}

void Errorcodes::SetErrorWords(short code, std::span<const std::int16_t> data) {
  const platform::Lock lock(eindexlock);
  const int place = AppendWords(code, data);
  const unsigned word = ecodes[static_cast<std::size_t>(place)] & 0xFFFFu;
  Q5_LOG_NOTICE_HERE(msgL, "%s.%d evalue 0x%x eindex %d ecodes[%d]=0x%x nbytes %d 0x%x\n",
                     code & 0xFFFFu, errorindex, place, word, static_cast<int>(data.size()), word);
}

void Errorcodes::SetFrequencyError(short code, float f) {
  SetErrorWords(code, FrequencyData(f).First(kMaxDataWords));
}

void Errorcodes::SetStickyError(short code) {
  const platform::Lock lock(stickylock);
  const int place = std::min<int>(stickyindex, kStickyWords - 1);
  stickyerrors[static_cast<std::size_t>(place)] = code;
  stickyindex = static_cast<short>(place + 1);
}

void Errorcodes::SetStickyWords(short code, std::span<const std::int16_t> data) {
  const platform::Lock lock(stickylock);
  int place = std::min<int>(stickyindex, kStickyWords - 1);
  const auto room = static_cast<std::size_t>(kStickyWords - 1 - place);
  const auto fitting = data.first(std::min(data.size(), room));
  const auto word = stickyerrors.begin() + place;
  *word = MakeErrorWord(code, static_cast<int>(fitting.size()));
  std::ranges::copy(fitting, word + 1);
  stickyindex = static_cast<short>(place + 1 + static_cast<int>(fitting.size()));
  if (fitting.size() == data.size()) return;

  for (std::size_t lost = fitting.size(); lost < data.size(); ++lost) {
    Q5_LOG_ERROR(msgL, "Fail:More detail sticky[%d]=%d byte %d\n", place, data[lost],
                 static_cast<int>(lost));
  }
  if (fitting.empty()) {
    Q5_LOG_ERROR(msgL, "Fail:could not add more detail %d \n", code);
  }
}

bool Errorcodes::IsStickyError() const {
  const platform::Lock lock(stickylock);
  return stickyindex > 0;
}

void Errorcodes::CopyStickyErrors() {
  const platform::Lock lock(eindexlock);
  const platform::Lock sticky_lock(stickylock);
  // a place before the first word means the module code that lists begin with
  std::array<std::int16_t, kStickyWords + 1> sticky{};
  std::ranges::copy(stickyerrors, sticky.begin() + 1);
  ForEachErrorWord(std::span(sticky).first(static_cast<std::size_t>(stickyindex) + 1),
                   [this](const ErrorWord& word) Q5_REQUIRES(eindexlock) {
                     if (errorindex < kErrorListWords && !HasCode(word.code)) {
                       AppendWords(static_cast<short>(word.code), word.data);
                     }
                   });
}

bool Errorcodes::ReportError() const {
  const platform::Lock lock(eindexlock);
  return errorindex > 1;
}

bool Errorcodes::IsErrorCodeNew(short code) const {
  const platform::Lock lock(eindexlock);
  bool found = false;
  ForEachErrorWord(InUse(), [&](const ErrorWord& word) Q5_REQUIRES(eindexlock) {
    found = found || ecodes[static_cast<std::size_t>(word.place)] == code;
  });
  return !found;
}

Errorcodes::Snapshot Errorcodes::CopyErrorCodes() const {
  const platform::Lock lock(eindexlock);
  return {ecodes, errorindex};
}

void Errorcodes::ClearErrorCodes() {
  const platform::Lock lock(eindexlock);
  ecodes.fill(0);
  errorindex = -1;
  Q5_LOG_INFO(msgL, "Cleared GHMP error codes \n");
}

void Errorcodes::ClearBootErrorCodes() {
  const platform::Lock lock(eindexlock);
  Q5_LOG_INFO(msgL, "%s %d\n", __func__, errorindex);
  int kept = 0;
  if (errorindex > 1) {
    const auto before = ecodes;
    const auto list = std::span<const std::int16_t>(before).first(InUse().size());
    ForEachErrorWord(list, [&](const ErrorWord& word) Q5_REQUIRES(eindexlock) {
      if (word.code < kFirstBootCode) {
        kept += before[static_cast<std::size_t>(word.place)] != 0;
        return;
      }
      std::fill_n(ecodes.begin() + word.place, word.data.size() + 1, std::int16_t{0});
      Q5_LOG_INFO(msgL, "Cleared a special boot up GHMP error code \n");
    });
    if (kept == 0) errorindex = -1;
  }
  Q5_LOG_INFO(msgL, "%s leaving %d save %d\n", __func__, errorindex, kept);
}

void Errorcodes::PrintErrorCodes() const {
  const Snapshot list = CopyErrorCodes();
  if (list.errorindex <= 1) return;
  for (int i = 0; i < list.errorindex; ++i) {
    std::fprintf(stderr, "0x%x ", list.words[static_cast<std::size_t>(i)] & 0xFFFFu);
  }
  std::fputs(" <--ecodes\n", stderr);
}

}  // namespace Msg
