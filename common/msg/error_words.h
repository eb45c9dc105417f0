// Error words: how a failure is told to the host.
//
// A word is a code in its low 12 bits and, above it, the number of data words that follow it in the
// list. A list begins with the code of the module that it is from.
#pragma once

#include <cstdint>

namespace Msg {

/// First word of an error list.
enum MODCODES : std::int16_t {
  NAK_MAJORCODE = 0,  ///< the first word is itself a major code
  NAK_TOS_ERR = 1,    ///< error list of the main module
  NAK_MOS_ERR = 2,    ///< error list of the measurement module
  NAK_SOS_ERR = 3,    ///< error list of the source module
  NAK_PFC_ERR = 4,    ///< error list of the power board
};

/// Words of an error list, the module code included.
inline constexpr int kErrorListWords = 64;

constexpr int ErrorCodeOf(std::int16_t word) { return word & 0xFFF; }
constexpr int DataWordsOf(std::int16_t word) { return (word >> 12) & 0xF; }

}  // namespace Msg
