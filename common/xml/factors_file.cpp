#include "common/xml/factors_file.h"

#include <cstdio>

namespace Dev {
namespace {

struct Heading {
  Msg::Input_Mode mode;
  const char* text;
};
constexpr Heading kHeadings[] = {
    {Msg::ACDC_Current, "RANGE_MODE_ACDC_I:\n"},
    {Msg::AC_Volt, "RANGE_MODE_AC_V:\n"},
    {Msg::DC_Volt, "RANGE_MODE_DC_V:\n"},
    {Msg::DCIR, "RANGE_MODE_DCIR:\n"},
};

std::string LineOf(int index, const mode_range_table_ent& row) {
  const float* gain = row.gain.coef;
  const float* phase = row.phase.coef;
  char line[256];
  std::snprintf(
      line, sizeof line, "%2d     %2x          %e  %e  %e  %e  %e  %e  %e  %e  %e  %e  %e\n", index,
      row.RangeCode, double{row.FullScale}, double{row.ScalingFactor}, double{row.DcOffset},
      double{gain[0]}, double{gain[1]}, double{gain[2]}, double{gain[3]}, double{phase[0]},
      double{phase[1]}, double{phase[2]}, double{phase[3]});
  return line;
}

}  // namespace

std::string FactorsOf(int channel, std::span<const range_table, Msg::INPUT_MODE_COUNT> tables) {
  std::string text = "\nChannel " + std::to_string(channel) + ":\n";
  for (const Heading& heading : kHeadings) {
    text += heading.text;
    const range_table& table = tables[static_cast<std::size_t>(heading.mode)];
    for (int i = 0; i < table.num_ents; ++i) text += LineOf(i + 1, table.ent[i]);
  }
  return text;
}

}  // namespace Dev
