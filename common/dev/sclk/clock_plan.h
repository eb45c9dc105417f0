// The clock plan: from a test frequency to the clock chip's output CLK0 and the FPGA's dividers,
// all in exact numbers. multisynth.h adds the chip's own dividers, clock_registers.h to its
// registers.
//
//   clkin -> /P1 -> f_PFD -> *MSn -> f_VCO -> /MS -> /R -> CLK0 -> /2^k -> MCLK (converters)
//                                                              \-> /2^e -> WCLK (waveform)
//
// Results: 0 or a negative errno with the reason in the log. Threads: any; nothing is shared.
#pragma once

#include "common/dev/sclk/clock_params.h"

/// Waveform clocks in the update of one sample.
inline constexpr unsigned kUpdatesPerSample = 16;

/// The test frequency `hz` as it is planned with: rounded to six decimals. -EINVAL for NaN, an
/// infinity or a negative number.
int float_Hz_to_m3x64_MHz(float hz, m3x64_num& out);

/// Waveform samples per cycle at `freq` hertz: the largest power of two from 4096 to 256 that is
/// below 1.25e6 / freq, and 128 where there is none.
unsigned calculate_wf_samples_per_cyc(float freq);

/// Sets CLK0 and both dividers for output `output`: the lowest CLK0 from 2 to below 160 MHz that is
/// a power of two of both clocks.
int find_digital_frequencies(Param_Values& params, int output);
