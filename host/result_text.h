// Results as a person reads them: in the units that suit their size.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/measurement_result.h"

namespace host {

/// A unit with a prefix, and what a value in the quantity's own unit is multiplied by for it.
struct ShownUnit {
  std::string name;
  double factor;
};

/// That in which `quantity` has one to three digits before the point, "mA" or "uA"; its own for
/// units that take no prefix, and for 0 and what is not finite.
ShownUnit UnitFor(const Quantity& quantity);

/// A line for each quantity, and one for the status.
std::string ResultText(const MeasurementResult& result);

/// Results under each other, with one unit a column: the one for the largest value among those it
/// is made for.
class ResultTable {
 public:
  explicit ResultTable(std::span<const MeasurementResult> results);

  std::string Head() const;
  std::string Row(const MeasurementResult& result) const;
  /// The result has the quantities of this table, so that it can be a row.
  bool Takes(const MeasurementResult& result) const;

 private:
  struct Column {
    const char* label;
    ShownUnit unit;
  };
  std::vector<Column> columns_;
};

}  // namespace host
