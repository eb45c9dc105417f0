#include "simulator/fraction.h"

#include <cstdio>

namespace simulator {

std::string HertzText(const Fraction& hertz) {
  if (hertz.Denominator() == 1) return hertz.Text() + " Hz";
  char value[48];
  std::snprintf(value, sizeof value, " = %.12g Hz", hertz.Value());
  return hertz.Text() + value;
}

}  // namespace simulator
