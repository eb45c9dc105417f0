// The dividers of the clock chip between its reference and its outputs.
//
// Results: 0 or a negative errno with the reason in the log. Threads: any; nothing is shared.
#pragma once

#include <array>

#include "common/dev/sclk/clock_params.h"

struct Intermediate_Str {
  int P1 = 1;
  m3x64_num f_PFD;
  m3x64_num f_VCO;
  m3x64_num MSn_div_ratio;  ///< f_VCO over f_PFD, within the chip's 30 bits
  struct Output {
    int R = 1;
    int R_exponent = 0;
    m3x64_num ms_freq;       ///< of the MultiSynth, before R
    m3x64_num ms_div_ratio;  ///< f_VCO over ms_freq, within the chip's 30 bits
  };
  std::array<Output, kOutputs> outp{};
};

/// Works out the dividers of the outputs in use. The low-jitter output's divider is even and its
/// VCO frequency the one nearest to the middle of its range. Sets the step size `fidppm` of that
/// output to its waveform update rate in MHz, rounded: no steps below 0.5 MHz.
int get_multisynth_values(Param_Values& params, Intermediate_Str& is);

/// Shortens the fraction until both terms fit the chip's 30 bits.
void truncate_multisynth_div_ratio(m3x64_num& ratio);
