// The range entry of a channel, a mode and a range index, with a default where calibration has
// none.
//
// Threads: any, once the tables are read.
#pragma once

#include "common/xml/cal_tables.h"

namespace Dev {
class EepromGroup;
}

namespace acquisition {

/// Before acquisition starts. Null: every entry is a default one. Not owned.
void SetRangeTables(Dev::EepromGroup* tables);

/// Entry `range_index` (from 1) of the table of `channel` (0 or 1) in `mode` (Msg::Input_Mode). The
/// mode's default entry where there is no such table or index; null for a mode outside 1 to 4.
const Dev::mode_range_table_ent* get_range_table_ent(int channel, int mode, int range_index);

/// The default entry of a mode from 0 to 4: a range code and a scaling factor.
const Dev::mode_range_table_ent* temp_range_info(int mode);

/// Entries of that table; 0 where there is none.
int range_table_size(int channel, int mode);

/// False while the entries of a channel (0 or 1) are default ones: what it reads is no measurement.
bool IsCalibrated(int channel);

}  // namespace acquisition
