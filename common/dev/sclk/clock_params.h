// What a clock plan starts from, and the fields of the FPGA's clock select word that it fills.
// Frequencies are in MHz.
#pragma once

#include <array>
#include <cstdint>

#include "common/msg/records/m3x64_num.h"

/// How the reference comes in; the lower three bits are those of the chip's P1DIV_IN.
enum REF_CLK_TYPE : int { REF_CLK_DIFFERENTIAL = 0, REF_CLK_XTAL = 5, REF_CLK_SINGLE_ENDED = 10 };
/// PFD_IN_REF: the input of the phase detector.
enum REF_CLK_SOURCE : int {
  REF_CLK_SOURCE_REFCLK = 0,
  REF_CLK_SOURCE_FBCLK = 1,
  REF_CLK_SOURCE_DIVREFCLK = 2,
  REF_CLK_SOURCE_DIVFBCLK = 3,
  REF_CLK_SOURCE_XOCLK = 4,
};
/// PFD_IN_FB.
enum FB_CLK_SOURCE : int {
  FB_CLK_SOURCE_FBCLK = 0,
  FB_CLK_SOURCE_REFCLK = 1,
  FB_CLK_SOURCE_DIVFBCLK = 2,
  FB_CLK_SOURCE_DIVREFCLK = 3,
  FB_CLK_SOURCE_NOCLK = 5,
};
/// How the feedback comes in: the upper two bits of the chip's P2DIV_IN.
enum FB_CLK_TYPE : int { FB_CLK_DIFFERENTIAL = 0, FB_CLK_SINGLE_ENDED = 1, FB_CLK_NONE = 2 };

// Fields of Q5FPGA_CLK_SEL. The two divider fields hold log2(divider) - 1.
inline constexpr int kWclkDividerShift = 11;
inline constexpr int kMclkDividerShift = 7;
enum WCLK_DIV_SEL : int {
  WCLK_DIV_SEL_4 = 1 << kWclkDividerShift,
  WCLK_DIV_SEL_8 = 2 << kWclkDividerShift,
  WCLK_DIV_SEL_16 = 3 << kWclkDividerShift,
  WCLK_DIV_SEL_32 = 4 << kWclkDividerShift,
  WCLK_DIV_SEL_64 = 5 << kWclkDividerShift,
  WCLK_DIV_SEL_128 = 6 << kWclkDividerShift,
  WCLK_DIV_SEL_256 = 7 << kWclkDividerShift,
  WCLK_DIV_SEL_512 = 8 << kWclkDividerShift,
  WCLK_DIV_SEL_1024 = 9 << kWclkDividerShift,
  WCLK_DIV_SEL_2048 = 10 << kWclkDividerShift,
  WCLK_DIV_SEL_4096 = 11 << kWclkDividerShift,
  WCLK_DIV_SEL_8192 = 12 << kWclkDividerShift,
  WCLK_DIV_SEL_16384 = 13 << kWclkDividerShift,
  WCLK_DIV_SEL_32768 = 14 << kWclkDividerShift,
  WCLK_DIV_SEL_65536 = 15 << kWclkDividerShift,
  WCLK_DIV_SEL_131072 = 16 << kWclkDividerShift,
  WCLK_DIV_SEL_262144 = 17 << kWclkDividerShift,
  WCLK_DIV_SEL_524288 = 18 << kWclkDividerShift,
  WCLK_DIV_SEL_1048576 = 19 << kWclkDividerShift,
  WCLK_DIV_SEL_2097152 = 20 << kWclkDividerShift,
  WCLK_DIV_SEL_4194304 = 21 << kWclkDividerShift,
  WCLK_DIV_SEL_8388608 = 22 << kWclkDividerShift,
  WCLK_DIV_SEL_16777216 = 23 << kWclkDividerShift,
  WCLK_DIV_SEL_33554432 = 24 << kWclkDividerShift,
  WCLK_DIV_SEL_67108864 = 25 << kWclkDividerShift,
  WCLK_DIV_SEL_134217728 = 26 << kWclkDividerShift,
  WCLK_DIV_SEL_268435456 = 27 << kWclkDividerShift,
  WCLK_DIV_SEL_536870912 = 28 << kWclkDividerShift,
  WCLK_DIV_SEL_1073741824 = 29 << kWclkDividerShift,
};
enum MCLK_DIV_SEL : int {
  MCLK_DIV_SEL_2 = 0 << kMclkDividerShift,
  MCLK_DIV_SEL_4 = 1 << kMclkDividerShift,
  MCLK_DIV_SEL_8 = 2 << kMclkDividerShift,
  MCLK_DIV_SEL_16 = 3 << kMclkDividerShift,
  MCLK_DIV_SEL_32 = 4 << kMclkDividerShift,
  MCLK_DIV_SEL_64 = 5 << kMclkDividerShift,
  MCLK_DIV_SEL_128 = 6 << kMclkDividerShift,
  MCLK_DIV_SEL_256 = 7 << kMclkDividerShift,
  MCLK_DIV_SEL_512 = 8 << kMclkDividerShift,
  MCLK_DIV_SEL_1024 = 9 << kMclkDividerShift,
};
enum SCLK_SRC_SEL : int { SCLK_SRC_SEL_OSC = 0, SCLK_SRC_SEL_CLK0 = 32 };
enum MCLK_SRC_SEL : int { MCLK_SRC_SEL_LOCAL = 0, MCLK_SRC_SEL_REMOTE = 16 };
enum DDS_CLKIN : int { DDS_CLKIN_DISABLED = 0, DDS_CLKIN_ENABLED = 8 };
enum MCLK_OUT_TO_OTHER : int { MCLK_OUT_TO_OTHER_DISABLE = 0, MCLK_OUT_TO_OTHER_ENABLE = 4 };
enum Si5338_CLK_IN_SOURCE : int {
  Si5338_CLK_IN_SOURCE_XTAL = 0,
  Si5338_CLK_IN_SOURCE_PHY = 2,
  Si5338_CLK_IN_SOURCE_SYS = 3,
};

/// One output of the clock chip. From drvx_fmt on the fields are those of its registers.
struct Per_Output {
  int in_use = 0;
  m3x64_num test_freq{0, 3, 50000};  ///< 60 Hz
  m3x64_num clkx_freq{25, 0, 1};
  int drvx_fmt = 1;
  int drvx_vddo = 0;
  int drvx_trim = 23;
  int drvx_pwrdn = 0;
  int drvx_oeb = 0;
  int clkx_disst = 3;
  int drvx_inv = 0;
  int rxdiv_in = 6;
  int fidct = 1;
  int fiddis = 0;
  unsigned fidppm = 0;  ///< size of a frequency step in millionths; a plan sets its own
};
inline constexpr int kOutputs = 4;

struct Param_Values {
  m3x64_num clkin_freq{25, 0, 1};
  int ref_clkin_type = REF_CLK_DIFFERENTIAL;
  int sclk_src_sel = SCLK_SRC_SEL_CLK0;
  int mclk_src_sel = MCLK_SRC_SEL_LOCAL;
  int ref_source = REF_CLK_SOURCE_DIVREFCLK;
  int clk_in_src = 0;
  int mclk_out_to_other = 0;
  int p1_divide = 0;  ///< the divider itself; 0: the plan's choice
  int fb_source = FB_CLK_SOURCE_NOCLK;
  int fb_clkin_type = FB_CLK_NONE;
  int p2_divide = 0;  ///< the divider itself; 0: none
  int mclk_divider_select = 0;
  int wclk_divider_select = WCLK_DIV_SEL_512;
  int dds_clkin = 0;
  int meas_config = 0;
  unsigned wf_samples_per_cycle = 0;
  int wf_polarity = 0;
  int wf_option_found = 0;
  int wf_signal_type = 0;
  int zero_delay_mode = 0;
  int low_jitter_op = 0;  ///< the output whose divider is kept even
  unsigned adc_clocks_per_sample = 64;
  unsigned adc_samples_per_cycle = 512;
  int delta_phase = 0;
  std::array<Per_Output, kOutputs> op;
};

/// Output 0 at 60 Hz and 512 samples a cycle, the others off.
void get_default_params(Param_Values& params);

/// The word for Q5FPGA_CLK_SEL.
int ClockSelectWord(const Param_Values& params);
