// Settings of the whole process: set while the command line is read, before any other thread runs,
// and only read afterwards.
#pragma once

namespace Mos {

extern int run_fft;                        ///< periodic FFT on samples
extern int run_fft_mon;                    ///< FFT result monitoring; needs run_fft
extern int run_fft900;                     ///< FFT above 900 Hz; needs run_fft
extern int foreground;                     ///< no daemonizing
extern int acqnormal;                      ///< acquisition only between start and stop
extern int spclksync;                      ///< sampling clock from the source board
extern int gdcoffsetcontrol;               ///< DC offset compensation
extern int ranging_debug_info_to_console;  ///< ranging debug output
extern int usedsp;                         ///< sine correlation on the DSP
extern int logfd;                          ///< descriptor of the log file
extern int g_fpgafd;                       ///< descriptor of the FPGA device

}  // namespace Mos
