// The calibration tables as channels, corrections and stray capacitance use them.
//
// Plain records. A table points at rows that its owner keeps (EepromGroup for the life of the
// process); a table without rows has `num_ents` 0 and a null `ent`.
#pragma once

namespace Dev {

/// A cubic in the frequency (Hz): a + b f + c f^2 + d f^3.
union poly_coef_union {
  float coef[4];
  struct {
    float a, b, c, d;
  };
};

/// One range, filter or main reference path of one channel.
struct mode_range_table_ent {
  unsigned RangeCode;     ///< value for the range register; the low byte is used
  float FullScale;        ///< largest peak value (V or A)
  float ScalingFactor;    ///< V or A a sample count
  float DcOffset;         ///< DAC counts a sample count
  poly_coef_union gain;   ///< ratio
  poly_coef_union phase;  ///< rad
};
static_assert(sizeof(mode_range_table_ent) == 48);

/// Scale 1, no correction.
inline constexpr mode_range_table_ent kIdentityEntry = {
    0, 0.0F, 1.0F, 0.0F, {{1.0F, 0.0F, 0.0F, 0.0F}}, {{0.0F, 0.0F, 0.0F, 0.0F}}};

struct range_table {
  int num_ents;
  const mode_range_table_ent* ent;  ///< range index i is ent[i - 1]
};

inline constexpr int kIntcalKeyChars = 64;
inline constexpr int kIntcalLeadChars = 18;

/// One stray admittance of the instrument's own leads. Texts end with 0.
struct mode_intcal_table_ent {
  char key[kIntcalKeyChars];    ///< 40 hexadecimal digits: the relays, under the table's mask
  char src[kIntcalLeadChars];   ///< names of the energized leads
  char meas[kIntcalLeadChars];  ///< names of the measured leads
  poly_coef_union cap;          ///< F
  poly_coef_union phase;        ///< rad
};
static_assert(sizeof(mode_intcal_table_ent) == 132);

struct intcal_table {
  int num_ents;
  char mask[kIntcalKeyChars];  ///< 40 hexadecimal digits
  mode_intcal_table_ent* ent;
};

// What a file holds of one row before the two halves are joined.

/// A row of "brd_scaling_block".
struct board_scale {
  int range_code;
  float scale[2];  ///< ScalingFactor, DcOffset
};

/// A row of "brd_cal_block".
struct board_cal {
  int range_code;
  float cal[8];  ///< four of the gain, four of the phase
};

/// A row of "sys_cal_block".
struct system_cal {
  char key[kIntcalKeyChars];
  char mask[kIntcalKeyChars];
  float cal[8];  ///< four of the capacitance, four of the phase
  char brev[8];
  char src[kIntcalLeadChars];
  char meas[kIntcalLeadChars];
};

}  // namespace Dev
