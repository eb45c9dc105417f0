#include "mos/instrument/process_flags.h"

namespace Mos {

int run_fft = 0;
int run_fft_mon = 0;
int run_fft900 = 0;
int foreground = 0;
int acqnormal = 0;
int spclksync = 1;
int gdcoffsetcontrol = 1;
int ranging_debug_info_to_console = 1;
int usedsp = 0;
int logfd = 0;
int g_fpgafd = 0;

}  // namespace Mos
