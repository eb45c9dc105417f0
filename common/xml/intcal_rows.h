// The rows of the instrument's own stray admittances out of the backplane's final XML file.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "common/xml/cal_tables.h"
#include "common/xml/xml_document.h"

namespace Dev {

struct IntcalRows {
  enum Group : std::size_t { kCapacitance, kResistance, kGroups };

  std::vector<mode_intcal_table_ent> rows;  ///< capacitance rows first
  std::array<std::size_t, kGroups> counts;
  std::array<std::string, kGroups> masks;  ///< below kIntcalKeyChars characters
};

/// Fills `rows`; a file of an early revision has none. False, and a line in the log, when the block
/// is missing or a row is not as it should be; then `rows` stays as it is.
bool ReadIntcalRows(const XmlDocument& document, IntcalRows& rows);

}  // namespace Dev
