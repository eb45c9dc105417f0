// What the Si5338 makes of its registers: exact frequencies, decoded from the divider words, and
// whether the PLL can lock on them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "simulator/fraction.h"
#include "simulator/i2c/si5338_registers.h"

namespace simulator::si5338 {

/// False when the input that the registers choose has nothing connected: the board's reference is
/// on IN1/IN2.
bool UsesReference(const Image& registers);

struct Pll {
  std::string problem;     ///< why it cannot lock; empty: it can
  Fraction vco;            ///< hertz; meaningless when the divider words are invalid
  std::uint32_t fcal = 0;  ///< what a calibration of the VCO finds, 18 bits
};
/// `reference` in hertz.
Pll DecodePll(const Image& registers, const Fraction& reference);

/// The state of output `index` between PLL and driver.
struct OutputPath {
  bool on = false;
  std::size_t multisynth = 0;  ///< that feeds it
  Fraction divider{1};         ///< of the VCO, MultiSynth and R divider together
};
OutputPath DecodeOutput(const Image& registers, std::size_t index);

/// Steps of MS0 by pin or register: the divider is words.total / (words.start + steps so far).
struct StepWords {
  std::uint64_t start;  ///< FIDP1
  std::uint64_t step;   ///< FIDP2
  std::uint64_t total;  ///< FIDP3
};
StepWords DecodeStepWords(const Image& registers);
/// The R divider of output 0 alone.
unsigned DecodeR(const Image& registers, std::size_t index);
/// True when MS0 can be stepped at all.
bool CanStep(const Image& registers);

}  // namespace simulator::si5338
