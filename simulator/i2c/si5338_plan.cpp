#include "simulator/i2c/si5338_plan.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace simulator::si5338 {
namespace {

constexpr double kMegahertz = 1e6;
constexpr std::uint64_t kLowestVco = 2200000000;
constexpr std::uint64_t kHighestVco = 2840000000;
constexpr std::uint64_t kLowestPfd = 5000000;
constexpr std::uint64_t kHighestPfd = 40000000;

/// The loop's settings by the frequency at the phase detector, lowest first.
struct LoopRow {
  double below_megahertz;
  int k;
  unsigned rsel_bwsel;
};
constexpr LoopRow kLoopRows[] = {{8, 185, 0x0E}, {15, 325, 0x05}, {HUGE_VAL, 925, 0x00}};
constexpr double kGainBorderMegahertz = 2425;
constexpr double kKphiTolerance = 0.2;
constexpr int kMscalTolerance = 1;
constexpr int kMostKphi = 127;

/// The calibration word moves over this span from the lowest to the highest VCO frequency; an
/// overriding word holds the VCO as long as it is no further off than its tuning reaches.
constexpr std::uint32_t kFcalLowest = 0x08000;
constexpr std::uint32_t kFcalSpan = 0x20000;
constexpr std::uint32_t kFcalReach = 0x01000;

constexpr unsigned kMostShift = 5;  // P1 and R divide by 1 to 32
constexpr unsigned kIn12 = 0;
constexpr unsigned kPfdFromP1Input = 0;
constexpr unsigned kPfdFromP1 = 2;
constexpr unsigned kRFromMs0 = 5;
constexpr unsigned kRFromMs = 6;
constexpr unsigned kAlwaysOn = 3;
constexpr unsigned kDisabledStateSpacing = 4;
constexpr unsigned kOffAll = 0x10;
constexpr unsigned kWordUnits = 128;  // the divider words count 1/128
constexpr unsigned kWordBias = 512;
constexpr unsigned kLowestDivider = 8;
constexpr unsigned kDividerEnd = 568;
constexpr std::uint8_t kMsHeldInReset = 0x04;

bool Fails(const Image& registers, const Demand& demand) {
  return (registers[demand.address] & demand.mask) != demand.value;
}

std::uint64_t LittleEndian(const Image& registers, std::size_t first, std::size_t count) {
  std::uint64_t value = 0;
  for (std::size_t i = count; i-- > 0;) value = value << 8 | registers[first + i];
  return value;
}

/// The words of one MultiSynth divider. Nothing for invalid words.
std::optional<Fraction> DecodeDivider(const Image& registers, std::size_t base) {
  const std::uint64_t p1 = LittleEndian(registers, base, 3) & 0x3FFFF;
  const std::uint64_t p2 = LittleEndian(registers, base + 2, 4) >> 2;
  const std::uint64_t p3 = LittleEndian(registers, base + 6, 4) & 0x3FFFFFFF;
  if (p3 == 0 || p2 >= p3) return std::nullopt;
  return Fraction(Wide{p1 + kWordBias} * p3 + p2, Wide{p3} * kWordUnits);
}

bool IsFractional(const Fraction& divider) {
  return divider.Numerator() >= Wide{kLowestDivider} * divider.Denominator() &&
         divider.Numerator() < Wide{kDividerEnd} * divider.Denominator();
}

/// 4 and 6 need their bit, everything else must not have it.
bool IsLegal(const Fraction& divider, bool high_speed) {
  if (divider == Fraction(4) || divider == Fraction(6)) return high_speed;
  return IsFractional(divider) && !high_speed;
}

bool Within(const Fraction& hertz, std::uint64_t least, std::uint64_t most) {
  return hertz.Numerator() >= Wide{least} * hertz.Denominator() &&
         hertz.Numerator() <= Wide{most} * hertz.Denominator();
}

std::string LoopProblem(const Image& registers, double pfd_megahertz, double vco_megahertz) {
  const LoopRow& row = *std::ranges::find_if(
      kLoopRows, [&](const LoopRow& each) { return pfd_megahertz < each.below_megahertz; });
  if ((registers[kLoop] & 0x0FU) != row.rsel_bwsel) return "RSEL or BWSEL is not the PFD's";
  const unsigned gain = registers[kLoop] >> 4 & 7U;
  const unsigned wanted_gain = vco_megahertz < kGainBorderMegahertz ? 1 : 0;
  if (gain != wanted_gain && vco_megahertz != kGainBorderMegahertz) {
    return "VCO_GAIN is not the VCO's";
  }
  const double q = gain == 0 ? 3 : 4;
  const double kphi =
      row.k / (533 * q) * (vco_megahertz / pfd_megahertz) * std::pow(2500 / vco_megahertz, 3);
  const int held_kphi = registers[kKphi] & 0x7F;
  if (held_kphi < 1 || std::abs(held_kphi - std::min<double>(kphi, kMostKphi)) >
                           std::max(1.0, kphi * kKphiTolerance)) {
    return "PLL_KPHI " + std::to_string(held_kphi);
  }
  const int held_mscal = registers[kMscal] & 0x3F;
  const double mscal = 20.67 - 6.67 * vco_megahertz / 1000;
  if (held_mscal < 1 || std::abs(held_mscal - std::lround(mscal)) > kMscalTolerance) {
    return "MSCAL " + std::to_string(held_mscal);
  }
  return "";
}

std::uint32_t CalibrationWord(double vco_hertz) {
  constexpr double kLow = kLowestVco;
  constexpr double kHigh = kHighestVco;
  const double place = std::clamp((vco_hertz - kLow) / (kHigh - kLow), 0.0, 1.0);
  return kFcalLowest + static_cast<std::uint32_t>(std::lround(place * kFcalSpan));
}

std::string FcalProblem(const Image& registers, std::uint32_t right) {
  if ((registers[kLoop] & 0x80U) == 0) return "";
  const auto held = static_cast<std::uint32_t>(LittleEndian(registers, kFcalOverride, 3) & 0x3FFFF);
  const std::uint32_t off = held > right ? held - right : right - held;
  return off <= kFcalReach ? "" : "FCAL_OVRD " + std::to_string(held) + " is not this VCO's";
}

}  // namespace

bool UsesReference(const Image& registers) {
  const unsigned input = (registers[kInput] >> 2 & 7U) | (registers[kReference] & 0x18U);
  const unsigned pfd = registers[kReference] >> 5;
  return input == kIn12 && (pfd == kPfdFromP1Input || pfd == kPfdFromP1);
}

Pll DecodePll(const Image& registers, const Fraction& reference) {
  Pll pll;
  const auto* demand =
      std::ranges::find_if(kDemands, [&](const Demand& each) { return Fails(registers, each); });
  if (demand != std::end(kDemands)) {
    pll.problem = "register " + std::to_string(demand->address) + " lacks what it must hold";
    return pll;
  }
  const unsigned shift = registers[kReference] >> 5 == kPfdFromP1 ? registers[kReference] & 7U : 0;
  const auto divider = DecodeDivider(registers, kMsN);
  if (shift > kMostShift || !divider || !IsFractional(*divider)) {
    pll.problem = shift > kMostShift ? "P1DIV" : "MSN is no divider";
    return pll;
  }
  const Fraction pfd = reference / Fraction(Wide{1} << shift);
  pll.vco = pfd * *divider;
  pll.fcal = CalibrationWord(pll.vco.Value());
  if (!Within(pfd, kLowestPfd, kHighestPfd)) {
    pll.problem = "PFD at " + HertzText(pfd);
  } else if (!Within(pll.vco, kLowestVco, kHighestVco)) {
    pll.problem = "VCO at " + HertzText(pll.vco);
  } else {
    pll.problem = LoopProblem(registers, pfd.Value() / kMegahertz, pll.vco.Value() / kMegahertz);
    if (pll.problem.empty()) pll.problem = FcalProblem(registers, pll.fcal);
  }
  return pll;
}

unsigned DecodeR(const Image& registers, std::size_t index) {
  return 1U << std::min(registers[kRDivider + index] >> 2 & 7U, kMostShift);
}

OutputPath DecodeOutput(const Image& registers, std::size_t index) {
  OutputPath path;
  const unsigned control = registers[kRDivider + index];
  const unsigned source = control >> 5;
  if (source != kRFromMs0 && source != kRFromMs) return path;
  path.multisynth = source == kRFromMs0 ? 0 : index;
  const auto divider = DecodeDivider(registers, kMs0 + kMsSpacing * path.multisynth);
  const bool high_speed = (registers[kHighSpeed] >> (4 + path.multisynth) & 1U) != 0;
  if (!divider || !IsLegal(*divider, high_speed)) return path;
  path.divider = *divider * Fraction(DecodeR(registers, index));

  const bool powered = (control & 1U) == 0 && (registers[kDriver + index] & 7U) != 0 &&
                       (registers[kRDivider + path.multisynth] & 2U) == 0;
  const bool stopped = (registers[kOutputsOff] & (kOffAll | 1U << index)) != 0 &&
                       registers[kDisabledState + kDisabledStateSpacing * index] >> 6 != kAlwaysOn;
  path.on = powered && !stopped && (control >> 2 & 7U) <= kMostShift &&
            (registers[kMsReset] & kMsHeldInReset) == 0;
  return path;
}

StepWords DecodeStepWords(const Image& registers) {
  constexpr std::uint64_t kBits52 = (std::uint64_t{1} << 52) - 1;
  StepWords words{};
  words.start = LittleEndian(registers, kStepWords, 7) & kBits52;
  for (std::size_t i = 0; i < 7; ++i) {  // the second word has its high part first
    words.step = words.step << 8 | registers[kStepWords + 7 + i];
  }
  words.step &= kBits52;
  words.total = LittleEndian(registers, kStepWords + 14, 8) & ~(std::uint64_t{1} << 63);
  return words;
}

bool CanStep(const Image& registers) {
  const bool stopped = (registers[kStepControl] & 0x10U) != 0 || (registers[kStepClock] & 2U) != 0;
  const bool high_speed = (registers[kHighSpeed] & 0x10U) != 0;
  const StepWords words = DecodeStepWords(registers);
  return !stopped && !high_speed && words.start > 0 && words.total > 0;
}

}  // namespace simulator::si5338
