#include "common/msg/state/safety_error.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "common/log/log_line.h"
#include "common/msg/records/error_words.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"
#include "common/msg/records/user_errors.h"

namespace Msg {
namespace {

constexpr int kCodeBits = 12;
constexpr int kMostData = 15;

int ModuleCode(int module) { return module == MAIN_MODULE ? 1 : module == MEAS_MODULE ? 2 : 3; }

}  // namespace

SafetyError::SafetyError(int module) : module_error_code(ModuleCode(module)) {}

bool SafetyError::IsPresent() const {
  const platform::Lock lock(safetysem);
  return !errors.empty();
}

void SafetyError::InsertModuleCode() {
  if (!errors.empty()) return;
  errors.insert(module_error_code);
  ++ecodelen;
}

bool SafetyError::Insert(int code) {
  if (errors.size() >= maxerrors) return false;
  ++ecodelen;
  return errors.insert(code).second;
}

bool SafetyError::SetErrorCode(int code) {
  const platform::Lock lock(safetysem);
  if (errors.size() >= maxerrors) return false;
  InsertModuleCode();
  return Insert(code);
}

bool SafetyError::SetErrorCode(int code, std::span<const int> data) {
  const platform::Lock lock(safetysem);
  InsertModuleCode();
  if (errors.contains(code)) return true;
  if (data.empty()) return Insert(code);
  const auto kept = data.first(std::min<std::size_t>(data.size(), kMostData));
  const int stored = static_cast<int>(kept.size()) << kCodeBits | code;
  const bool entered = Insert(stored);
  std::vector<int> words;
  for (const int word : kept) {
    Q5_LOG_INFO(msgL, "FPFPGA Inserting suberrrors %d\n", word);
    words.push_back(word & 0xFFFF);
  }
  const auto [place, taken] = submap.emplace(stored, std::move(words));
  if (taken) {
    ecodelen = static_cast<std::int16_t>(ecodelen + static_cast<int>(place->second.size()));
  } else {
    Q5_LOG_WARNING(msgL, "Failed inserting in map\n");
  }
  return entered || taken;
}

std::vector<int> SafetyError::Sequence() const {
  std::vector<int> sequence;
  for (const int word : errors) {
    sequence.push_back(word);
    if (word >> kCodeBits == 0) continue;
    const auto data = submap.find(word);
    if (data == submap.end()) continue;
    sequence.insert(sequence.end(), data->second.begin(), data->second.end());
  }
  return sequence;
}

std::vector<std::int16_t> SafetyError::GetErrors() const {
  const platform::Lock lock(safetysem);
  std::vector<std::int16_t> allerrors;
  for (const int word : Sequence()) {
    if (allerrors.size() >= kMostWords) break;
    Q5_LOG_INFO(msgL, "majorcode %d\n", word);
    allerrors.push_back(static_cast<std::int16_t>(word));
  }
  Q5_LOG_INFO(msgL, "\n\n index %d ecodelen %d \n", static_cast<int>(allerrors.size()),
              int{ecodelen});
  return allerrors;
}

void SafetyError::PrintErrorCodes() const {
  const platform::Lock lock(safetysem);
  for (const int word : Sequence()) std::printf("%d ", word);
  std::printf("\n");
}

void SafetyError::ClearErrors() {
  const platform::Lock lock(safetysem);
  errors.clear();
  submap.clear();
  ecodelen = 0;
}

int FindFPMajorCode(int ecode, int bitmap) {
  const int code = ecode & 0xFFFF;
  const auto bits = static_cast<std::uint16_t>(bitmap & 0xFFFF);
  int majorerror = 0;
  for (unsigned bit = 1; bit <= 0x8000; bit <<= 1) {
    if ((bits & bit) == 0) continue;
    majorerror = std::max(majorerror, HighestMajorOf(code, static_cast<std::uint16_t>(bit)));
    Q5_LOG_INFO(msgL, "%s ecode 0x%x bitmap 0x%x index 0x%x majorerror 0x%x \n", __func__,
                static_cast<unsigned>(code), unsigned{bits},
                bit << 16 | static_cast<unsigned>(code), static_cast<unsigned>(majorerror));
  }
  if (majorerror > 0) return majorerror;
  Q5_LOG_INFO(msgL, "changed majorerror 0x%x \n", static_cast<unsigned>(NAK_MCODE_UNMAPPED));
  return NAK_MCODE_UNMAPPED;
}

}  // namespace Msg
