#include "common/dev/sclk/multisynth.h"

#include <algorithm>
#include <cerrno>

#include "common/dev/sclk/clock_plan.h"
#include "common/dev/sclk/exact.h"
#include "common/log/log_line.h"

namespace {

constexpr std::uint64_t kMostPfd = 40;  // MHz, as all that follows
constexpr std::uint64_t kLeastMultisynth = 5;
constexpr std::uint64_t kLeastVcoHz = 2200000000;  // Hz
constexpr std::uint64_t kMostVcoHz = 2840000000;   // Hz
constexpr std::uint64_t kMiddleVco = 2500;
constexpr std::uint64_t kScoreBelow = 2160;
constexpr std::uint64_t kScoreAbove = 2840;
constexpr int kMostR = 32;

constexpr unsigned kLeastDivider = 4;
constexpr unsigned kLeastSteppingDivider = 8;  // 4 and 6 are the chip's integer mode, without steps
constexpr unsigned kMostDivider = 568;
constexpr std::uint64_t kTermLimit = std::uint64_t{1} << 30;  // of a divide ratio's fraction

struct Choice {
  unsigned divider = 0;
  std::uint64_t score = 0;
  m3x64_num vco;
};

std::size_t Index(int output) { return static_cast<std::size_t>(output); }

bool InUse(const Param_Values& params, int output) {
  return params.op.at(Index(output)).in_use != 0;
}

int DivideInput(const Param_Values& params, Intermediate_Str& is) {
  is.P1 = std::max(1, params.p1_divide);
  int error = m3x64_div_by_uint64(params.clkin_freq, static_cast<std::uint64_t>(is.P1), is.f_PFD);
  const bool chosen = params.p1_divide == 0 && params.ref_clkin_type != REF_CLK_XTAL;
  while (error == 0 && chosen && is.f_PFD.a > kMostPfd) {
    is.P1 *= 2;
    error = m3x64_div_by_uint64(params.clkin_freq, static_cast<std::uint64_t>(is.P1), is.f_PFD);
  }
  return error;
}

/// R, so that the MultiSynth itself is fast enough.
int DivideOutput(const Param_Values& params, int output, Intermediate_Str::Output& out) {
  const m3x64_num& clkx = params.op.at(Index(output)).clkx_freq;
  out = {.R = 1, .R_exponent = 0, .ms_freq = clkx, .ms_div_ratio = {}};
  while (out.ms_freq.a < kLeastMultisynth) {
    out.R *= 2;
    ++out.R_exponent;
    if (out.R > kMostR) {
      Q5_LOG_ERROR(spclkL,
                   "Failed to find a good power of 2 divider for R%d.  Min freq. "
                   "156.25KHz.\n",
                   output);
      return -ERANGE;
    }
    if (const int error = m3x64_times_uint64(clkx, static_cast<std::uint64_t>(out.R), out.ms_freq);
        error < 0) {
      return error;
    }
  }
  return 0;
}

bool IsVco(const m3x64_num& vco) {
  return m3x64_compare_MHz_to_ull_Hz(vco, kLeastVcoHz) >= 0 &&
         m3x64_compare_MHz_to_ull_Hz(vco, kMostVcoHz) <= 0;
}

std::uint64_t Score(const m3x64_num& vco) {
  return vco.a < kMiddleVco ? vco.a - kScoreBelow : kScoreAbove - vco.a;
}

/// True when the other outputs in use can be divided from `vco`, too.
bool SuitsOthers(const Param_Values& params, const Intermediate_Str& is, const m3x64_num& vco) {
  for (int other = 0; other < kOutputs; ++other) {
    if (other == params.low_jitter_op || !InUse(params, other)) continue;
    m3x64_num ratio;
    if (m3x64_quotient(vco, is.outp.at(Index(other)).ms_freq, ratio) < 0) return false;
    const bool integer_mode = ratio.b == 0 && (ratio.a == 4 || ratio.a == 6);
    if (ratio.a < kLeastSteppingDivider && !integer_mode) return false;
  }
  return true;
}

unsigned FirstDivider(const Param_Values& params) {
  unsigned first = kLeastDivider;
  for (int output = 0; output < kOutputs; ++output) {
    if (!InUse(params, output) || params.op.at(Index(output)).fidppm == 0) continue;
    Q5_LOG_DEBUG(spclkL, "Ignoring divisors 4 and 6 because CLK%d uses frequency inc/dec feature\n",
                 output);
    first = kLeastSteppingDivider;
  }
  return first;
}

int ChooseVco(const Param_Values& params, Intermediate_Str& is) {
  const m3x64_num& multisynth = is.outp.at(Index(params.low_jitter_op)).ms_freq;
  Choice best;
  for (unsigned divider = FirstDivider(params); divider <= kMostDivider; divider += 2) {
    Choice choice{.divider = divider, .score = 0, .vco = {}};
    if (m3x64_times_uint64(multisynth, divider, choice.vco) < 0) return -ERANGE;
    if (!IsVco(choice.vco) || !SuitsOthers(params, is, choice.vco)) continue;
    choice.score = Score(choice.vco);
    if (choice.score >= best.score) best = choice;  // of two equals the larger divider
  }
  if (best.divider == 0) {
    Q5_LOG_ERROR(spclkL, "Unable to find any divider ratio for low jitter output %d\n",
                 params.low_jitter_op);
    return -EINVAL;
  }
  is.f_VCO = best.vco;
  return 0;
}

bool TooWide(const m3x64_num& ratio) { return ratio.c >= kTermLimit; }

int DivideFeedback(Intermediate_Str& is) {
  int error = m3x64_quotient(is.f_VCO, is.f_PFD, is.MSn_div_ratio);
  if (error < 0 || !TooWide(is.MSn_div_ratio)) return error;
  Q5_LOG_DEBUG(spclkL, "MSn forces truncation of fvco\n");
  Q5_LOG_WARNING(
      spclkL,
      "Warning! fvco truncated.  MSn clock divider being recalculated\nSome desired frequencies "
      "are not achievable with expected precision.\n");
  truncate_multisynth_div_ratio(is.f_VCO);
  error = m3x64_quotient(is.f_VCO, is.f_PFD, is.MSn_div_ratio);
  if (error < 0 || !TooWide(is.MSn_div_ratio)) return error;
  Q5_LOG_WARNING(spclkL,
                 "MSn clock divider recalculated with truncated fvco\nrequires additional "
                 "truncation.\n");
  truncate_multisynth_div_ratio(is.MSn_div_ratio);
  return 0;
}

int DivideVco(const m3x64_num& f_vco, int output, Intermediate_Str::Output& out) {
  const int error = m3x64_quotient(f_vco, out.ms_freq, out.ms_div_ratio);
  if (error < 0 || !TooWide(out.ms_div_ratio)) return error;
  Q5_LOG_WARNING(spclkL, "Warning! CLK%d requested precision cannot be achieved.\n", output);
  truncate_multisynth_div_ratio(out.ms_div_ratio);
  return 0;
}

/// A step of the low-jitter output in millionths: its waveform update rate in MHz, rounded.
int SetStepSize(Param_Values& params, const Intermediate_Str& is) {
  Per_Output& output = params.op.at(Index(params.low_jitter_op));
  const Intermediate_Str::Output& dividers = is.outp.at(Index(params.low_jitter_op));
  const int exponent = (params.wclk_divider_select >> kWclkDividerShift) + 1;
  m3x64_num update;
  int error = m3x64_quotient(is.f_VCO, dividers.ms_div_ratio, update);
  if (error == 0) {
    error = m3x64_div_by_uint64(update, static_cast<std::uint64_t>(dividers.R) << exponent, update);
  }
  if (error < 0) return error;
  const bool round_up = update.b >= update.c - update.b;
  output.fidppm = static_cast<unsigned>(update.a) + (round_up ? 1 : 0);
  const double cycle = static_cast<double>(params.wf_samples_per_cycle) * kUpdatesPerSample;
  Q5_LOG_DEBUG_HERE(spclkL, "%s.%d configured frequency %.9lf Hz\n",
                    m3x64_to_double(update) / cycle * 1e6);
  Q5_LOG_INFO_HERE(spclkL, "%s.%d - LSYN Setting INC/DEC step fidppm to %d\n",
                   static_cast<int>(output.fidppm));
  return 0;
}

}  // namespace

void truncate_multisynth_div_ratio(m3x64_num& ratio) {
  while (ratio.b >= kTermLimit || ratio.c >= kTermLimit) {
    ratio.b >>= 1;
    ratio.c >>= 1;
  }
  m3x64_reduce(ratio);
}

int get_multisynth_values(Param_Values& params, Intermediate_Str& is) {
  if (params.low_jitter_op < 0 || params.low_jitter_op >= kOutputs ||
      !InUse(params, params.low_jitter_op)) {
    return -EINVAL;
  }
  int error = DivideInput(params, is);
  for (int output = 0; error == 0 && output < kOutputs; ++output) {
    if (InUse(params, output)) error = DivideOutput(params, output, is.outp.at(Index(output)));
  }
  if (error == 0) error = ChooseVco(params, is);
  if (error == 0) error = DivideFeedback(is);
  for (int output = 0; error == 0 && output < kOutputs; ++output) {
    if (InUse(params, output)) error = DivideVco(is.f_VCO, output, is.outp.at(Index(output)));
  }
  return error < 0 ? error : SetStepSize(params, is);
}
