// Codes of error words.
#pragma once

#include <cstdint>

namespace Msg {

enum MAJCODES : std::int16_t {
  NAK_MCODE_UNKNOWNMSG = 448,  ///< a message that cannot be trusted or is not known
  NAK_MCODE_MAX = 4095,        ///< end mark
};

}  // namespace Msg
