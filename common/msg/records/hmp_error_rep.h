// The NAK record: it replaces a reply and carries the list of error words.
#pragma once

#include <algorithm>
#include <array>
#include <span>

#include "common/msg/records/error_words.h"
#include "common/msg/records/hmp_record_base.h"
#include "common/msg/records/major_codes.h"

namespace Msg {

/// Threads: belongs to the thread that answers requests, as every reply does.
struct [[gnu::packed]] HmpErrorRep : HmpMsgHead {
  std::uint8_t ack;
  std::int16_t count;                    ///< words used in `ecodes`
  std::int16_t ecodes[kErrorListWords];  ///< the module code, then error words; the rest 0
  std::int16_t chksm;

  /// Empties the list.
  void InitResponse();

  /// Makes the record a NAK of its list. The opcode becomes that of a reply if it is not one yet.
  /// `already` is not 0 when an earlier step has made this record a NAK.
  void SetNak(int already);

  /// Adds `code`, once, behind the code of `module` (MODCODES), and makes the record a NAK. 0, or
  /// -1 with the record unchanged when the list is full.
  int SetHMPErrorCode(int module, short code, int already);

  /// Makes the record a NAK whose only word is the major code `code`.
  void SetHMPMajorCode(short code);
  short GetMajorErrorCode() const { return ecodes[0]; }

  /// Appends the first `n` words of `words` as far as the list has room and makes the record a NAK.
  /// Returns the number of copied words plus 1.
  int CopyHMPErrorCodes(const short* words, int n);

  /// Puts the highest code of the list, -1 if there is none, into the place of the module code.
  void SetMajorError();
  /// Moves the list one place back, which leaves 0 in the first place for a major code. A full list
  /// loses its last word.
  void ShiftErrorCodes();

  /// Adds `code` for a frequency `f` (Hz): the data words are the frequency, below 1 Hz the scale
  /// mark 1 and ten thousandths of a hertz, and then the `n` words of `data`.
  template <class... Data>
  void SetFrequencyError(int module, short code, float f, int n, Data... data) {
    const std::array<std::int16_t, sizeof...(Data)> words{static_cast<std::int16_t>(data)...};
    AddFrequencyError(module, code, f, DataToStore(n, words));
  }

  /// The major code of the word at place `index`, whose code is `code`: for a user error that of
  /// its data, else 65535, because no other code has one. 65535 also before InitMajorErrors.
  int GetMajorErr(short code, int index) const;
  /// The highest major code of the bits in the data of the word at place `index`, or 65535.
  int ParseErrorData(int index) const;
  /// Sets up the tables of user errors; to be called once, before other threads run.
  static void InitMajorErrors();

  /// Logs the header's fields and the words in use, in hexadecimal.
  void Show(int level) const;

 private:
  using List = std::array<std::int16_t, kErrorListWords>;

  // A copy of the words in use, because the record may have an odd address. It does not trust
  // `count`: the record may come from a wire.
  int Used() const { return std::clamp<int>(count, 0, kErrorListWords); }
  List Words() const;
  std::span<const std::int16_t> InUse(const List& list) const {
    return std::span(list).first(static_cast<std::size_t>(Used()));
  }
  void Append(std::int16_t word);
  void AddFrequencyError(int module, short code, float f, std::span<const std::int16_t> data);
  bool HasErrorCode(short code) const;
};
Q5_RECORD(HmpErrorRep, 139, Q5_AT(6, ack), Q5_AT(7, count), Q5_AT(9, ecodes), Q5_AT(137, chksm));

}  // namespace Msg
