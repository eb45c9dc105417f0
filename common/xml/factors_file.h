// "factors.txt": the ranges in use, for people.
#pragma once

#include <span>
#include <string>

#include "common/msg/records/input_mode.h"
#include "common/xml/cal_tables.h"

namespace Dev {

inline constexpr char kFactorsPath[] = "/varek/config/factors.txt";

/// The tables of one channel (0 or 1), by Input_Mode.
std::string FactorsOf(int channel, std::span<const range_table, Msg::INPUT_MODE_COUNT> tables);

}  // namespace Dev
