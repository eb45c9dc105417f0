// The error words of the front panel: a set apart from the ordinary list, in ascending order, each
// word with its data words. Only the main module has a front panel, so elsewhere the set stays
// empty.
//
// A word whose data are kept has their count in bits 12 to 15 of its value. Threads: any; each
// public operation takes the lock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <span>
#include <vector>

#include "platform/thread_safety.h"

namespace Msg {

class SafetyError {
 public:
  static constexpr std::size_t kMostWords = 64;

  /// For a daemon of `module` (MODULE_ID); its module code is the first word that enters the set.
  explicit SafetyError(int module);

  /// The set is not empty.
  bool IsPresent() const;
  /// True when the word is new; a set of 60 values refuses.
  bool SetErrorCode(int code);
  /// A word with at most 15 data words, their low 16 bits. True also for a plain code that is
  /// there already; false for data that are none, or that the set has already.
  bool SetErrorCode(int code, std::span<const int> data);
  /// All words in order, each followed by its data words; logged. As many as fit.
  std::vector<std::int16_t> GetErrors() const;
  /// The same sequence on standard output.
  void PrintErrorCodes() const;
  void ClearErrors();

 private:
  void InsertModuleCode() Q5_REQUIRES(safetysem);
  bool Insert(int code) Q5_REQUIRES(safetysem);
  std::vector<int> Sequence() const Q5_REQUIRES(safetysem);

  static constexpr std::uint32_t maxerrors = 60;

  const int module_error_code;
  mutable platform::Mutex safetysem;
  std::set<int> errors Q5_GUARDED_BY(safetysem);
  std::map<int, std::vector<int>> submap Q5_GUARDED_BY(safetysem);  ///< data words by word
  std::int16_t ecodelen Q5_GUARDED_BY(safetysem) = 0;               ///< words counted, repeats too
};

/// The major code of a status byte of the front panel: the highest of the bits that are set in
/// `bitmap`, NAK_MCODE_UNMAPPED when none has one. Both arguments count modulo 65536.
int FindFPMajorCode(int ecode, int bitmap);

}  // namespace Msg
