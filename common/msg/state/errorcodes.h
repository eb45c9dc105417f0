// The daemon's list of error words. Any component adds to it; the next reply that looks at it
// carries it to the host as a NAK.
//
// The list has at most 64 words: a word for a full list takes the last place. Threads: any.
// `eindexlock` is taken before `stickylock` where both are needed.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "common/msg/records/error_words.h"
#include "platform/thread_safety.h"

namespace Msg {

class Errorcodes {
 public:
  /// A copy of the list at one moment.
  struct Snapshot {
    std::array<short, kErrorListWords> words;
    int errorindex;  ///< words in use, -1 for none
  };

  /// `module` is a MODULE_ID; it decides the module code that lists begin with.
  explicit Errorcodes(int module);
  Errorcodes(const Errorcodes&) = delete;
  Errorcodes& operator=(const Errorcodes&) = delete;

  /// The next place to write; begins an empty list with its module code.
  int GetErrorIndex();
  /// Adds a word as it is.
  void SetErrorCode(short code);
  /// Adds `code` and `n` data words. Data words without room are left out, and the word's count is
  /// that of the remaining ones.
  template <class... Data>
  void SetErrorCode(short code, int n, Data... data) {
    const std::array<std::int16_t, sizeof...(Data)> words{static_cast<std::int16_t>(data)...};
    SetErrorWords(code, DataToStore(n, words));
  }
  void SetErrorWords(short code, std::span<const std::int16_t> data);
  /// As SetErrorCode with the frequency `f` (Hz) as data.
  void SetFrequencyError(short code, float f);

  /// Sticky words survive ClearErrorCodes; there is room for ten.
  void SetStickyError(short code);
  template <class... Data>
  void SetStickyError(short code, int n, Data... data) {
    const std::array<std::int16_t, sizeof...(Data)> words{static_cast<std::int16_t>(data)...};
    SetStickyWords(code, DataToStore(n, words));
  }
  bool IsStickyError() const;
  /// Appends the sticky words whose codes are not in the list, with their data, as far as there is
  /// room.
  void CopyStickyErrors();

  /// True if the list has a word after the module code.
  bool ReportError() const;
  /// True if no word of the list, data words aside, is `code`.
  bool IsErrorCodeNew(short code) const;
  Snapshot CopyErrorCodes() const;

  void ClearErrorCodes();
  /// Removes the words of the start-up from the list; others keep their places.
  void ClearBootErrorCodes();
  /// Writes the list to standard error.
  void PrintErrorCodes() const;

 private:
  static constexpr int kStickyWords = 10;

  int NextPlace() Q5_REQUIRES(eindexlock);
  int AppendWords(short code, std::span<const std::int16_t> data) Q5_REQUIRES(eindexlock);
  std::span<const std::int16_t> InUse() const Q5_REQUIRES(eindexlock);
  bool HasCode(int code) const Q5_REQUIRES(eindexlock);

  void SetStickyWords(short code, std::span<const std::int16_t> data);

  /// As in the NAK record.
  std::array<std::int16_t, kErrorListWords> ecodes Q5_GUARDED_BY(eindexlock){};
  int errorindex Q5_GUARDED_BY(eindexlock) = -1;  ///< next free place; -1: empty
  const int module_error_code;
  std::array<std::int16_t, kStickyWords> stickyerrors Q5_GUARDED_BY(stickylock){};
  short stickyindex Q5_GUARDED_BY(stickylock) = 0;
  mutable platform::Mutex eindexlock;  ///< taken before stickylock
  mutable platform::Mutex stickylock;
};

}  // namespace Msg
