// The one way to the rows of the calibration: by channel, mode and range index, by filter, or by
// divider, each with what replaces a row that the calibration does not have; the stray capacitances
// of the leads; and the dates.
//
// Rows stay where they are for the life of the process. Threads: any, once the tables are read.
#pragma once

#include <string>

#include "common/xml/cal_tables.h"

namespace Dev {

class EepromGroup;

/// Before acquisition starts. Null: no row is calibrated. Not owned.
void SetRangeTables(const EepromGroup* group);

/// Entry `range_index` (from 1) of the table of `channel` (0 or 1) in `mode` (Msg::Input_Mode). The
/// mode's default entry where there is no such table or index; null for a mode outside 1 to 4.
const mode_range_table_ent* get_range_table_ent(int channel, int mode, int range_index);

/// The default entry of a mode from 0 to 4: a range code and a scaling factor.
const mode_range_table_ent* temp_range_info(int mode);

/// Entries of that table; 0 where there is none.
int range_table_size(int channel, int mode);

/// False while the entries of a channel (0 or 1) are default ones: what it reads is no measurement.
bool IsCalibrated(int channel);

/// Row `filter` (from 0) of the filters of a channel; null where there is none.
const mode_range_table_ent* FilterEntry(int channel, int filter);

/// The row of the divider HV1 (0) or HV2 (1); kIdentityEntry for any other, or without calibration.
const mode_range_table_ent& DividerEntry(int divider);

/// The stray capacitances of the instrument's leads; null without calibration.
const intcal_table* StrayCapacitances();

/// As the instrument's calibration has them, empty where it has none.
struct CalibrationDates {
  std::string calibrated;
  std::string due;
};
CalibrationDates GetCalibrationDates();

}  // namespace Dev
