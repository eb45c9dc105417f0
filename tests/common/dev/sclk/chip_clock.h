// What the clock chip makes of its registers, decoded by the manual's rules and from nothing else.
#pragma once

#include <functional>

#include "tests/common/dev/sclk/rational.h"

namespace sclk_test {

/// Reads a register's value.
using Registers = std::function<unsigned(int address)>;

inline Integer LittleEndian(const Registers& registers, int address, int bits) {
  Integer value = 0;
  for (int i = 0; i < (bits + 7) / 8; ++i) value |= Integer(registers(address + i)) << (8 * i);
  return value & ((Integer(1) << bits) - 1);
}

/// The divide ratio that the ten registers at `base` stand for: (P1 + 512 + P2/P3) / 128.
inline Rational DivideRatio(const Registers& registers, int base) {
  const Integer p1 = LittleEndian(registers, base, 18);
  const Integer p2 = LittleEndian(registers, base + 2, 32) >> 2;
  const Integer p3 = LittleEndian(registers, base + 6, 30);
  return (Rational(p1 + 512) + Ratio(p2, p3)) / 128;
}

/// MHz at the VCO for a reference of `clkin` MHz.
inline Rational VcoFrequency(const Registers& registers, const Rational& clkin) {
  return clkin / (1 << (registers(29) & 7)) * DivideRatio(registers, 97);
}

/// MHz at output 0.
inline Rational Clk0(const Registers& registers, const Rational& clkin) {
  return VcoFrequency(registers, clkin) / DivideRatio(registers, 53) /
         (1 << ((registers(31) >> 2) & 7));
}

}  // namespace sclk_test
