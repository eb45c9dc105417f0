// The clock plan: from a test frequency to the clock chip's output and the FPGA's dividers, and on
// to the chip's own dividers. Everything in exact numbers.
//
//   clkin -> /P1 -> f_PFD -> *MSn -> f_VCO -> /MS -> /R -> CLK0 -> /2^k -> MCLK (converters)
//                                                              \-> /2^e -> WCLK (waveform)
//
// Results: 0 or a negative errno with the reason in the log. Threads: any; nothing is shared.
#pragma once

#include <array>

#include "common/dev/sclk/clock_params.h"

/// Waveform samples per cycle at `freq` hertz: the largest power of two from 4096 to 256 that is
/// below 1.25e6 / freq, and 128 where there is none.
unsigned calculate_wf_samples_per_cyc(float freq);

/// Sets CLK0 and both dividers for output `output`: the lowest CLK0 from 2 to below 160 MHz that is
/// a power of two of both clocks.
int find_digital_frequencies(Param_Values& params, int output);

/// The dividers of the chip.
struct Intermediate_Str {
  int P1 = 1;
  m3x64_num f_PFD;
  m3x64_num f_VCO;
  m3x64_num MSn_div_ratio;
  struct Output {
    int R = 1;
    int R_exponent = 0;
    m3x64_num ms_freq;       ///< of the MultiSynth, before R
    m3x64_num ms_div_ratio;  ///< f_VCO over ms_freq
  };
  std::array<Output, kOutputs> outp{};
};

/// Works the dividers out and sets the step size `fidppm` of the low-jitter output, if it steps.
int get_multisynth_values(Param_Values& params, Intermediate_Str& is);

/// Shortens the fraction of a divide ratio until both terms fit the chip's 30 bits.
void truncate_multisynth_div_ratio(m3x64_num& ratio);
