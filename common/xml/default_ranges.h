// The ranges of a channel whose calibration file cannot be opened: enough to see a signal, not to
// measure one.
#pragma once

#include <bit>
#include <cstdint>

#include "common/msg/records/input_mode.h"
#include "common/xml/cal_tables.h"

namespace Dev {

struct DefaultRange {
  Msg::Input_Mode mode;
  unsigned code;
  float full_scale;              ///< V or A
  std::uint32_t scaling_factor;  ///< bits of the float
};

inline constexpr int kDefaultRangesPerMode = 4;

inline constexpr DefaultRange kDefaultRanges[] = {
    {Msg::ACDC_Current, 0, 75.0F, 0x3715DA89},     {Msg::ACDC_Current, 11, 0.075F, 0x3219A334},
    {Msg::ACDC_Current, 22, 0.00015F, 0x2D9D4952}, {Msg::ACDC_Current, 35, 7.5e-05F, 0x2D1D5327},
    {Msg::AC_Volt, 0, 750.0F, 0x38BB50FB},         {Msg::AC_Volt, 5, 25.0F, 0x366FFFC1},
    {Msg::AC_Volt, 11, 1.5F, 0x344015D6},          {Msg::AC_Volt, 18, 0.075F, 0x3219A334},
    {Msg::DC_Volt, 0, 2.5F, 0x34BFD00C},           {Msg::DC_Volt, 9, 0.15F, 0x3299A334},
    {Msg::DC_Volt, 18, 0.0075F, 0x3075D1EC},       {Msg::DC_Volt, 27, 0.0003F, 0x2E1D5327},
    {Msg::DCIR, 0, 0.0001F, 0x2D54A73C},           {Msg::DCIR, 8, 1e-05F, 0x2BAA1F63},
    {Msg::DCIR, 17, 5e-07F, 0x298843A7},           {Msg::DCIR, 26, 2e-08F, 0x272E602C},
};

constexpr mode_range_table_ent RowOf(const DefaultRange& range) {
  mode_range_table_ent row = kIdentityEntry;
  row.RangeCode = range.code;
  row.FullScale = range.full_scale;
  row.ScalingFactor = std::bit_cast<float>(range.scaling_factor);
  return row;
}

}  // namespace Dev
