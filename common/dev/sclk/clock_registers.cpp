#include "common/dev/sclk/clock_registers.h"

#include <bit>
#include <cerrno>

#include "common/dev/sclk/exact.h"
#include "common/log/log_line.h"

namespace {

constexpr int kMultisynthMode = 51;  // bits 7:4: divide by 4 or 6
constexpr int kStepClockGate = 242;  // bit 1 stops the clock of the step logic
constexpr std::uint64_t kMillion = 1000000;

/// Some bits of a register.
struct Field {
  int address;
  int low;
  int width;
};

Reg_Data& Row(RegTable& table, int address) { return *reg_seek(table, address); }

/// False when `value` does not fit.
bool Set(RegTable& table, const Field& field, std::uint64_t value) {
  if (value >> field.width != 0) return false;
  const unsigned mask = ((1U << field.width) - 1) << field.low;
  std::uint8_t& byte = Row(table, field.address).Reg_Val;
  byte = static_cast<std::uint8_t>((byte & ~mask) | (static_cast<unsigned>(value) << field.low));
  return true;
}

bool SetByte(RegTable& table, int address, std::uint64_t value) {
  return Set(table, {address, 0, 8}, value & 0xFF);
}

/// `count` bytes from `address` on, the low one first.
void SetLittleEndian(RegTable& table, int address, int count, std::uint64_t value) {
  for (int i = 0; i < count; ++i) SetByte(table, address + i, value >> (8 * i));
}

int Refuse(int error, const char* text) {
  Q5_LOG_ERROR(spclkL, "%s", text);
  return error;
}

std::uint64_t Rounded(const m3x64_num& n) { return n.a + (n.b >= n.c - n.b ? 1 : 0); }

bool IsIntegerMode(const m3x64_num& ratio) {
  return ratio.b == 0 && (ratio.a == 4 || ratio.a == 6);
}

}  // namespace

// --- Dividers ---

int convert_ms_to_regs(const m3x64_num& ratio, int base, RegTable& table) {
  constexpr std::uint64_t kLeast = 8;
  constexpr std::uint64_t kMost = 567;
  constexpr std::uint64_t kTermLimit = std::uint64_t{1} << 30;
  const bool integer_mode = IsIntegerMode(ratio);
  if ((ratio.a < kLeast && !integer_mode) || ratio.a > kMost || ratio.c >= kTermLimit) {
    return -ERANGE;
  }
  for (int output = 0; output < kOutputs; ++output) {
    if (kMsBases[output] == base) Set(table, {kMultisynthMode, 4 + output, 1}, integer_mode);
  }
  const std::uint64_t scaled = (ratio.a * ratio.c + ratio.b) * 128;
  const std::uint64_t p1 = scaled / ratio.c - 512;
  const std::uint64_t p2 = ratio.b * 128 % ratio.c;
  const std::uint64_t p3 = ratio.c;
  SetLittleEndian(table, base, 2, p1);
  SetByte(table, base + 2, (p1 >> 16) | (p2 << 2));
  SetLittleEndian(table, base + 3, 3, p2 >> 6);
  SetLittleEndian(table, base + 6, 4, p3);
  return 0;
}

int multisynth_to_registers(const Param_Values& params, const Intermediate_Str& is,
                            RegTable& table) {
  int error = convert_ms_to_regs(is.MSn_div_ratio, kMsnBase, table);
  for (std::size_t output = 0; error == 0 && output < kOutputs; ++output) {
    if (params.op.at(output).in_use == 0) continue;
    error = convert_ms_to_regs(is.outp.at(output).ms_div_ratio, kMsBases[output], table);
  }
  return error;
}

// --- Inputs ---

namespace {

/// The register field for a divider of 1 to 32, or -1.
int DividerField(int divider) {
  constexpr unsigned kMost = 32;
  const auto value = static_cast<unsigned>(divider);
  return std::has_single_bit(value) && value <= kMost ? std::countr_zero(value) : -1;
}

struct TypeCode {
  int type;
  unsigned code;
};
constexpr TypeCode kP1DivIn[] = {
    {REF_CLK_DIFFERENTIAL, 0b00000}, {REF_CLK_XTAL, 0b10101}, {REF_CLK_SINGLE_ENDED, 0b01010}};
constexpr TypeCode kP2DivIn[] = {
    {FB_CLK_DIFFERENTIAL, 0b000}, {FB_CLK_SINGLE_ENDED, 0b011}, {FB_CLK_NONE, 0b100}};

const TypeCode* FindCode(const TypeCode (&codes)[3], int type) {
  for (const TypeCode& code : codes) {
    if (code.type == type) return &code;
  }
  return nullptr;
}

/// By whole megahertz; 128 is a reserved bit that set_miscellaneous_registers clears.
std::uint64_t InputRange(std::uint64_t mhz) {
  if (mhz < 12) return 128;
  if (mhz < 19) return 129;
  return mhz < 26 ? 130 : 131;
}

}  // namespace

int input_select_to_registers(const Param_Values& params, int p1, RegTable& table) {
  constexpr std::uint64_t kLeastInput = 8;
  constexpr std::uint64_t kMostInput = 30;
  if (params.clkin_freq.a < kLeastInput) {
    return Refuse(-EINVAL, "Input clock frequency must be at least 8MHz\n");
  }
  if (params.clkin_freq.a > kMostInput) {
    return Refuse(-EINVAL, "Input clock frequency must be no more than 30MHz\n");
  }
  const TypeCode* reference = FindCode(kP1DivIn, params.ref_clkin_type);
  if (reference == nullptr) return Refuse(-EINVAL, "Unknown reference clock type\n");
  if (params.ref_source < REF_CLK_SOURCE_REFCLK || params.ref_source > REF_CLK_SOURCE_XOCLK) {
    return Refuse(-EINVAL, "Unknown or unspecified reference clock source\n");
  }
  const int p1_field = DividerField(p1);
  if (p1_field < 0) return Refuse(-EINVAL, "Unknown or unspecified reference clock divider\n");
  const int fb = params.fb_source;
  if (fb != FB_CLK_SOURCE_NOCLK && (fb < FB_CLK_SOURCE_FBCLK || fb > FB_CLK_SOURCE_DIVREFCLK)) {
    return Refuse(-EINVAL, "Unknown or unspecified feedback clock source\n");
  }
  const int p2_field = DividerField(params.p2_divide == 0 ? 1 : params.p2_divide);
  if (p2_field < 0) return Refuse(-EINVAL, "Unknown or unspecified feedback clock divider\n");
  const TypeCode* feedback = FindCode(kP2DivIn, params.fb_clkin_type);
  if (feedback == nullptr) return Refuse(-EINVAL, "Unknown feedback clock type\n");

  SetByte(table, 28, InputRange(params.clkin_freq.a));
  Set(table, {28, 2, 3}, reference->code & 7);
  Set(table, {28, 5, 1}, feedback->code & 1);
  Set(table, {29, 3, 2}, reference->code >> 3);
  Set(table, {29, 5, 3}, static_cast<unsigned>(params.ref_source));
  Set(table, {29, 0, 3}, static_cast<unsigned>(p1_field));
  Set(table, {30, 3, 2}, feedback->code >> 1);
  Set(table, {30, 5, 3}, static_cast<unsigned>(fb));
  Set(table, {30, 0, 3}, static_cast<unsigned>(p2_field));
  Set(table, {48, 7, 1}, params.zero_delay_mode != 0);
  return 0;
}

// --- Loop ---

namespace {

constexpr std::uint64_t kSlowVco = 2425;  // MHz; below it the VCO's gain is set higher

struct LoopGain {
  std::uint64_t below_pfd;  // MHz
  std::uint64_t k;
  std::uint8_t resistor_bandwidth;
};
constexpr LoopGain kGains[] = {{8, 185, 14}, {15, 325, 5}, {~std::uint64_t{0}, 925, 0}};

/// k/(533 q) * f_VCO/f_PFD * (2500/f_VCO)^3
int PhaseGain(const Intermediate_Str& is, std::uint64_t k, std::uint64_t q, std::uint64_t& kphi) {
  constexpr std::uint64_t kMiddleCubed = 15625000000;
  constexpr std::uint64_t kMost = 127;
  m3x64_num scale;
  m3x64_num divisor;
  m3x64_num exact;
  int error = m3x64_create(0, k * kMiddleCubed, 533 * q, scale);
  if (error == 0) error = m3x64_product(is.f_VCO, is.f_VCO, divisor);
  if (error == 0) error = m3x64_product(divisor, is.f_PFD, divisor);
  if (error == 0) error = m3x64_quotient(scale, divisor, exact);
  if (error < 0) return error;
  kphi = Rounded(exact);
  if (kphi >= 1 && kphi <= kMost) return 0;
  Q5_LOG_ERROR(spclkL, "PLL_KPHI calculated value %llu(%.9lf)is out of range\n",
               static_cast<unsigned long long>(kphi), m3x64_to_double(exact));
  return -ERANGE;
}

/// 20.67 - 6.67 f_VCO / 1000
int VcoScale(const Intermediate_Str& is, std::uint64_t& mscal) {
  constexpr std::uint64_t kMost = 63;
  m3x64_num slope;
  m3x64_num exact;
  int error = m3x64_times_uint64(is.f_VCO, 667, slope);
  if (error == 0) error = m3x64_div_by_uint64(slope, 100000, slope);
  if (error == 0) error = m3x64_difference({20, 67, 100}, slope, exact);
  mscal = error < 0 ? 0 : Rounded(exact);
  if (mscal >= 1 && mscal <= kMost) return 0;
  Q5_LOG_ERROR(spclkL, "MSCAL calculated value %llu(%.9lf) is out of range\n",
               static_cast<unsigned long long>(mscal), m3x64_to_double(exact));
  return -ERANGE;
}

}  // namespace

int PLL_params_to_registers(const Intermediate_Str& is, RegTable& table) {
  constexpr std::uint64_t kLeastPfd = 5;
  if (is.f_PFD.a < kLeastPfd) {
    return Refuse(-EINVAL, "Frequency at phase frequency detector must be at least 5MHz\n");
  }
  const auto* gain = kGains;
  while (is.f_PFD.a >= gain->below_pfd) ++gain;
  const bool slow = is.f_VCO.a < kSlowVco;
  std::uint64_t kphi = 0;
  std::uint64_t mscal = 0;
  int error = PhaseGain(is, gain->k, slow ? 4 : 3, kphi);
  if (error == 0) error = VcoScale(is, mscal);
  if (error < 0) return error;
  Set(table, {48, 0, 7}, kphi);
  SetByte(table, 49, gain->resistor_bandwidth | (slow ? 0x10U : 0U));
  SetByte(table, 50, 0xC0U | mscal);
  Set(table, {kMultisynthMode, 0, 3}, 7);
  return 0;
}

// --- Frequency steps ---

int fidp_values_to_registers(std::uint64_t p1, std::uint64_t p2, std::uint64_t p3,
                             RegTable& table) {
  if (p1 >> 52 != 0 || p2 >> 52 != 0 || p3 >> 63 != 0) return -ERANGE;
  SetLittleEndian(table, 123, 7, p1);
  for (int i = 0; i < 7; ++i) SetByte(table, 136 - i, p2 >> (8 * i));
  SetLittleEndian(table, 137, 8, p3);
  return 0;
}

int freq_inc_dec_params_to_registers(const Param_Values& params, const Intermediate_Str& is,
                                     RegTable& table) {
  const Per_Output& output = params.op[0];
  Set(table, {kStepClockGate, 1, 1}, 1);
  if (!Set(table, {52, 5, 2}, static_cast<unsigned>(output.fidct)) ||
      !Set(table, {52, 4, 1}, static_cast<unsigned>(output.fiddis))) {
    return -EINVAL;
  }
  if (output.fidppm == 0) {
    return fidp_values_to_registers(kMillion, params.op[1].fidppm, 0, table);
  }
  Set(table, {kStepClockGate, 1, 1}, 0);
  const m3x64_num& ratio = is.outp[0].ms_div_ratio;
  return fidp_values_to_registers(ratio.c * kMillion, ratio.c * output.fidppm,
                                  (ratio.a * ratio.c + ratio.b) * kMillion, table);
}

// --- Outputs ---

int configure_output_drivers(const Param_Values& params, const Intermediate_Str& is,
                             RegTable& table) {
  constexpr Field kTrim[kOutputs] = {{40, 0, 5}, {40, 5, 3}, {41, 2, 5}, {42, 0, 5}};
  constexpr Field kTrim1High = {41, 0, 2};  // the rest of output 1's
  constexpr int kTrim1LowBits = 3;
  bool fits = true;
  for (int i = 0; i < kOutputs; ++i) {
    const Per_Output& output = params.op.at(static_cast<std::size_t>(i));
    const auto set = [&](const Field& field, int value) {
      fits = Set(table, field, static_cast<unsigned>(value)) && fits;
    };
    set({31 + i, 5, 3}, output.rxdiv_in);
    set({31 + i, 2, 3}, is.outp.at(static_cast<std::size_t>(i)).R_exponent);
    set({31 + i, 0, 2}, output.drvx_pwrdn);
    set({35, 2 * i, 2}, output.drvx_vddo);
    set({36 + i, 3, 2}, output.drvx_inv);
    set({36 + i, 0, 3}, output.drvx_fmt);
    if (i == 1) {
      set(kTrim1High, output.drvx_trim >> kTrim1LowBits);
      set(kTrim[i], output.drvx_trim & ((1 << kTrim1LowBits) - 1));
    } else {
      set(kTrim[i], output.drvx_trim);
    }
    set({110 + 4 * i, 6, 2}, output.clkx_disst);
    set({230, i, 1}, output.drvx_oeb);
  }
  return fits ? 0 : -EINVAL;
}

int set_miscellaneous_registers(const Param_Values& params, RegTable& table) {
  constexpr struct {
    int address;
    unsigned keep, set;
  } kChanges[] = {
      {47, 23, 20}, {106, 0xFF, 0x80}, {116, 0xFF, 0x80}, {42, 0x3F, 0x20},
      {6, 29, 0},   {28, 0x3F, 0},     {51, 0xFF, 7},     {241, 229, 101},
  };
  for (const auto& change : kChanges) {
    std::uint8_t& byte = Row(table, change.address).Reg_Val;
    byte = static_cast<std::uint8_t>((byte & change.keep) | change.set);
  }
  // an idle MultiSynth 1 divides by 24; one in use has its own ratio there
  if (params.op[1].in_use == 0) SetByte(table, 65, 10);
  return 0;
}

std::unique_ptr<RegTable> generate_reg_struct(Param_Values& params) {
  auto table = std::make_unique<RegTable>(get_init_reg_struct());
  Intermediate_Str is;
  const char* failed = nullptr;
  if (get_multisynth_values(params, is) < 0) {
    failed = "Failed to calculate MultiSynth values\n";
  } else if (multisynth_to_registers(params, is, *table) < 0) {
    failed = "Failed to convert MultiSynth values to register contents\n";
  } else if (input_select_to_registers(params, is.P1, *table) < 0) {
    failed = "Failed to configure the input selection\n";
  } else if (PLL_params_to_registers(is, *table) < 0) {
    failed = "Failed to set register values for the PLL\n";
  } else if (freq_inc_dec_params_to_registers(params, is, *table) < 0) {
    failed = "Failed to set register values for the inc/dec feature\n";
  } else if (configure_output_drivers(params, is, *table) < 0) {
    failed = "Failed to configure the output drivers\n";
  } else if (set_miscellaneous_registers(params, *table) < 0) {
    failed = "Failed to set miscellaneous register values\n";
  }
  if (failed == nullptr) return table;
  Q5_LOG_ERROR(spclkL, "%s", failed);
  return nullptr;
}
