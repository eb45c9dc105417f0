// What a module asks the main module's relays for: a record of its own, which a message carries.
#pragma once

#include <cstdint>

#include "common/msg/records/hmp_record_base.h"

namespace IMSG {

struct [[gnu::packed]] RelayRequest : Msg::HmpMsgHead {
  static constexpr std::int16_t kSet = 0xF0;
  static constexpr std::int16_t kReset = 0xF1;

  std::uint16_t mark;    ///< says once more whether to set or to reset
  std::uint16_t relays;  ///< a bit each
  std::int16_t chksm;

  /// For a channel (0 or 1) of the measurement module or, with `source`, of the source module.
  static RelayRequest Make(bool set, int channel, bool source);
};

}  // namespace IMSG

namespace Msg {
using IMSG::RelayRequest;
Q5_RECORD(RelayRequest, 12, Q5_AT(6, mark), Q5_AT(8, relays), Q5_AT(10, chksm));
}  // namespace Msg
