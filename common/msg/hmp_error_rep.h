// The NAK record: it goes out in place of a reply and carries the list of error words.
#pragma once

#include "common/msg/error_words.h"
#include "common/msg/hmp_record_base.h"
#include "common/msg/major_codes.h"

namespace Msg {

/// Threads: belongs to the thread that answers requests, as every reply does.
struct [[gnu::packed]] HmpErrorRep : HmpMsgHead {
  std::uint8_t ack;
  std::int16_t count;                    ///< words used in `ecodes`
  std::int16_t ecodes[kErrorListWords];  ///< the module code, then error words; the rest 0
  std::int16_t chksm;

  /// Empties the list.
  void InitResponse();

  /// Makes the record a NAK of its list. The opcode becomes that of a reply whether it was one
  /// already or not; `already` is not 0 when an earlier step has made this record a NAK.
  void SetNak(int already);

  /// Adds `code`, once, behind the code of `module` (MODCODES), and makes the record a NAK. 0, or
  /// -1 with the record unchanged when the list is full.
  int SetHMPErrorCode(int module, short code, int already);

  /// Makes the record a NAK whose only word is the major code `code`.
  void SetHMPMajorCode(short code);
  short GetMajorErrorCode() const { return ecodes[0]; }

  /// Logs the header's fields and the words in use, in hexadecimal.
  void Show(int level) const;

 private:
  bool HasErrorCode(short code) const;
};
Q5_RECORD(HmpErrorRep, 139, Q5_AT(6, ack), Q5_AT(7, count), Q5_AT(9, ecodes), Q5_AT(137, chksm));

}  // namespace Msg
