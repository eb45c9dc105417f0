// The high-voltage dividers in front of the channels: each is a scale and corrections from the
// calibration.
#pragma once

#include "common/xml/cal_tables.h"

namespace Mos {

inline constexpr int kHv1 = 0;
inline constexpr int kHv2 = 1;
inline constexpr int kNoDivider = -1;

class Dividers {
 public:
  /// The row of a divider; that of no divider when the calibration has none.
  static const Dev::mode_range_table_ent* Entry(int divider);
  /// Makes the rows those of channel 1 and 2, for corrections, channels and full scales.
  void Use(const Dev::mode_range_table_ent* first, const Dev::mode_range_table_ent* second);
  /// For a set-up: no test takes over the path of the one before.
  void Drop();

  const Dev::mode_range_table_ent* measV = nullptr;  ///< of the main path
  const Dev::mode_range_table_ent* meas1 = nullptr;
  const Dev::mode_range_table_ent* meas2 = nullptr;
};

}  // namespace Mos
