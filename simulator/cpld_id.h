// The two generations of measurement channel board.
#pragma once

#include <cstdint>

namespace simulator {

/// Values are the identity that the board's CPLD reports.
enum class CpldId : std::uint16_t { k0985 = 0x0985, k1093 = 0x1093 };

}  // namespace simulator
