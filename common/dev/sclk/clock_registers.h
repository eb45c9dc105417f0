// From the clock chip's dividers to the contents of its registers.
//
// Results: 0 or a negative errno; generate_reg_struct logs which step failed. Values are put
// into the table only as bits of their own fields. Threads: any; nothing is shared.
#pragma once

#include <memory>

#include "common/dev/i2c/chips/si5338_registers.h"
#include "common/dev/sclk/clock_params.h"
#include "common/dev/sclk/multisynth.h"

/// The registers for the plan in `params`, whose CLK0 is found (find_digital_frequencies); null on
/// any failure. Sets the step size of the low-jitter output.
std::unique_ptr<RegTable> generate_reg_struct(Param_Values& params);

// --- Its steps ---

/// First of the ten registers of a divider.
inline constexpr int kMsnBase = 97;
inline constexpr int kMsBases[kOutputs] = {53, 64, 75, 86};

/// The ten registers at `base` for a ratio of 4, 6, or from 8 to below 568.
int convert_ms_to_regs(const m3x64_num& ratio, int base, RegTable& table);
int multisynth_to_registers(const Param_Values& params, const Intermediate_Str& is,
                            RegTable& table);
int input_select_to_registers(const Param_Values& params, int p1, RegTable& table);
int PLL_params_to_registers(const Intermediate_Str& is, RegTable& table);
int freq_inc_dec_params_to_registers(const Param_Values& params, const Intermediate_Str& is,
                                     RegTable& table);
/// -ERANGE for a `p1` or `p2` of more than 52 or a `p3` of more than 63 bits.
int fidp_values_to_registers(std::uint64_t p1, std::uint64_t p2, std::uint64_t p3, RegTable& table);
int configure_output_drivers(const Param_Values& params, const Intermediate_Str& is,
                             RegTable& table);
int set_miscellaneous_registers(const Param_Values& params, RegTable& table);
