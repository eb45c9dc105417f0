#include "common/xml/range_tables.h"

#include <array>
#include <atomic>

#include "common/log/log_line.h"
#include "common/msg/records/input_mode.h"
#include "common/xml/eeprom_group.h"

namespace Dev {

namespace {

constexpr int kCapacitances = 1;  // of the tables of stray admittances

std::atomic<const EepromGroup*> tables_of_all{nullptr};

constexpr mode_range_table_ent Default(unsigned code, float scaling_factor) {
  mode_range_table_ent entry{};
  entry.RangeCode = code;
  entry.ScalingFactor = scaling_factor;
  return entry;
}

/// By mode.
constexpr std::array<mode_range_table_ent, Msg::INPUT_MODE_COUNT> kDefaults = {
    Default(0, 0), Default(42, 8.932e-6F), Default(36, 8.932e-5F), Default(36, 3.573e-7F),
    Default(132, 1.209e-11F)};

/// Null for a table without rows.
const range_table* Filled(const range_table* table) {
  return table == nullptr || table->ent == nullptr ? nullptr : table;
}

const range_table* Table(int channel, int mode) {
  const EepromGroup* group = tables_of_all;
  return group == nullptr ? nullptr : Filled(group->GetRangeTable(channel, mode));
}

}  // namespace

void SetRangeTables(const EepromGroup* group) { tables_of_all = group; }

const mode_range_table_ent* temp_range_info(int mode) {
  return &kDefaults.at(static_cast<std::size_t>(mode));
}

int range_table_size(int channel, int mode) {
  const range_table* table = Table(channel, mode);
  return table == nullptr ? 0 : table->num_ents;
}

bool IsCalibrated(int channel) {
  const EepromGroup* group = tables_of_all;
  return group != nullptr && group->IsCalibrated(channel);
}

const mode_range_table_ent* FilterEntry(int channel, int filter) {
  const EepromGroup* group = tables_of_all;
  const range_table* table = group == nullptr ? nullptr : Filled(group->GetCalTableEnt(channel));
  const bool has_row = table != nullptr && filter >= 0 && filter < table->num_ents;
  return has_row ? &table->ent[filter] : nullptr;
}

const mode_range_table_ent& DividerEntry(int divider) {
  const EepromGroup* group = tables_of_all;
  const range_table* table =
      group == nullptr ? nullptr : Filled(group->GetMainrefTableEnt(divider));
  return table == nullptr ? kIdentityEntry : *table->ent;
}

const intcal_table* StrayCapacitances() {
  const EepromGroup* group = tables_of_all;
  return group == nullptr ? nullptr : group->GetIntcalTableEnt(kCapacitances);
}

CalibrationDates GetCalibrationDates() {
  const EepromGroup* group = tables_of_all;
  if (group == nullptr) return {};
  return {.calibrated = group->getFinalCalDate(), .due = group->getCalDueDate()};
}

const mode_range_table_ent* get_range_table_ent(int channel, int mode, int range_index) {
  if (mode <= Msg::Off || mode >= Msg::INPUT_MODE_COUNT) {
    Q5_LOG_ERROR_HERE(rangeL, "%s.%d: Invalid mode:%d\n", mode);
    return nullptr;
  }
  const range_table* table = Table(channel, mode);
  if (table != nullptr && range_index >= 1 && range_index <= table->num_ents) {
    return &table->ent[range_index - 1];
  }
  Q5_LOG_WARNING_HERE(rangeL, "%s.%d: Returning default range info for mode %d\n", mode);
  return temp_range_info(mode);
}

}  // namespace Dev
