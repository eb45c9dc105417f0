// The bits of the status word, in which the channels report to the host: 0x46 and `ranging` of a
// result carry it. A word of 0 means valid data.
#pragma once

// clang-format off
#define Q5_STATUS_FLAGS(X) \
  X(Valid_Data, 0x0000)                     /* no bit: the data is valid */ \
  X(Ranging, 0x0001)                        /* auto-ranging is running */ \
  X(Ramping, 0x0002)                        /* the source ramps */ \
  X(Fine_tuning, 0x0004)                    /* the source is tuned */ \
  X(Frequency_change, 0x0008) \
  X(Sub_cycle_results, 0x0010) \
  X(Determining_DC_offset, 0x0020)          /* offset nulling is running */ \
  X(Amplitude_exceeds_input_range, 0x0040)  /* samples are over range */ \
  X(No_detectable_signals, 0x0080) \
  X(Data_Not_Valid, 0x0100) \
  X(Rampdown_in_progress, 0x0200) \
  X(Discharge_in_progress, 0x0400) \
  X(Sources_shutdown, 0x0800) \
  X(SAMPLE_STATUS_SYNC_ERROR, 0x2000) \
  X(SAMPLE_STATUS_OVER_RANGE, 0x4000) \
  X(SAMPLE_STATUS_FAULT, 0x8000)
// clang-format on
