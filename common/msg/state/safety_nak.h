// The record of safety faults: error words apart from the ordinary list (errorcodes.h), which are
// sent to the host at its next poll. A type of fault is reported once until the record is cleared,
// however often it is found. Its data words are those of its first occurrence.
//
// Threads: any.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "common/msg/records/error_words.h"
#include "platform/thread_safety.h"

namespace Msg {

class SafetyNak {
 public:
  static constexpr int kPlaces = 80;
  /// A record with this number of words takes no more; the longest entry still fits below it.
  static constexpr int kFull = 64;
  static_assert(kFull - 1 + 1 + kMaxDataWords <= kPlaces);

  /// A copy of the record at one moment.
  struct Snapshot {
    int len = 0;                                  ///< words used in `errcode`
    int etlen = 0;                                ///< entries used in `errtype`
    std::array<std::int16_t, kPlaces> errcode{};  ///< error words, each followed by its data
    std::array<std::int16_t, kPlaces> errtype{};  ///< code of each reported fault
  };

  /// Adds the fault `code` with its data words, at most 15. False when it is known already or the
  /// record is full.
  template <class... Data>
  bool Add(int code, Data... data) {
    const std::array<std::int16_t, sizeof...(Data)> words{static_cast<std::int16_t>(data)...};
    return AddWords(code, words);
  }
  bool AddWords(int code, std::span<const std::int16_t> data);

  /// True if there is a fault to report.
  bool CheckSafetyFault() const;
  Snapshot Copy() const;
  void Clear();

 private:
  /// Keeps the entry just placed at the end of `errtype` only if it is the first of its kind.
  bool safeCheck() Q5_REQUIRES(lock_);
  void Append(std::int16_t word) Q5_REQUIRES(lock_);

  mutable platform::Mutex lock_;
  Snapshot record_ Q5_GUARDED_BY(lock_);
};

/// The daemon's record.
extern SafetyNak safetyFault;

struct HmpErrorRep;

/// Joins the record to a reply, as PrepareNak does the list of error words: makes `reply` a NAK of
/// `module` (MODCODES) and appends the record's words to those that are in it already. `nak` is not
/// 0 when an earlier step has made it one; it returns as 1. The record is not cleared.
void FormSafetyNak(int module, int& nak, HmpErrorRep* reply);

}  // namespace Msg
