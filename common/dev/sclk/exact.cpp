#include "common/dev/sclk/exact.h"

#include <bit>
#include <cerrno>
#include <limits>
#include <numeric>

#include "common/log/log_line.h"
#include "libs/fraction/wide.h"

using fraction::Wide;

namespace {

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kHzPerMhz = 1000000;
constexpr int kWideBits = 128;
constexpr int kSpareBits = 61;
constexpr double kNearlyInteger = 0.02;

int Bits(std::uint64_t value) { return static_cast<int>(std::bit_width(value)); }

/// a*c + b; it always fits.
Wide Numerator(const m3x64_num& n) { return Wide{n.a} * n.c + n.b; }

int MathError(const char* func, int line, int error) {
  Q5_LOG_ERROR(spclkL, "%s:%d MATH ERROR\n", func, line);
  return error;
}

int Reduce(m3x64_num& x, m3x64_num& y) {
  const int error = m3x64_reduce(x);
  return error < 0 ? error : m3x64_reduce(y);
}

/// The product of two reduced numbers: 0, -EOVERFLOW for a denominator that cannot be held, -ERANGE
/// for a whole part that cannot. Common factors go before the terms are multiplied, so that
/// whatever fits in the end fits on the way.
int ExactProduct(const m3x64_num& x, const m3x64_num& y, m3x64_num& out) {
  const Wide x_numerator = Numerator(x);
  const Wide y_numerator = Numerator(y);
  const std::uint64_t x_common = std::gcd(static_cast<std::uint64_t>(x_numerator % y.c), y.c);
  const std::uint64_t y_common = std::gcd(static_cast<std::uint64_t>(y_numerator % x.c), x.c);
  Wide numerator = 0;
  std::uint64_t denominator = 0;
  if (__builtin_mul_overflow(x.c / y_common, y.c / x_common, &denominator)) return -EOVERFLOW;
  if (!fraction::Multiply(x_numerator / x_common, y_numerator / y_common, numerator) ||
      numerator / denominator > kMax) {
    return -ERANGE;
  }
  out = {static_cast<std::uint64_t>(numerator / denominator),
         static_cast<std::uint64_t>(numerator % denominator), denominator};
  return 0;
}

void Halve(m3x64_num& n) {
  n.b >>= 1;
  n.c >>= 1;
}

/// Takes a low bit off the longer fraction. False when there is none to take.
bool Shorten(m3x64_num& x, m3x64_num& y) {
  m3x64_num& longer = x.c >= y.c ? x : y;
  if (longer.c <= 1) return false;
  Halve(longer);
  return true;
}

}  // namespace

std::uint64_t Euclidean_gcd(std::uint64_t x, std::uint64_t y) { return std::gcd(x, y); }

std::uint64_t unsigned_lcm(std::uint64_t x, std::uint64_t y) {
  std::uint64_t multiple = 0;
  if (x == 0 || y == 0 || __builtin_mul_overflow(x / std::gcd(x, y), y, &multiple)) return 0;
  return multiple;
}

int m3x64_create(std::uint64_t a, std::uint64_t b, std::uint64_t c, m3x64_num& out) {
  m3x64_num number{a, b, c};
  if (const int error = m3x64_reduce(number); error < 0) return error;
  out = number;
  return 0;
}

int ull_Hz_to_m3x64_MHz(std::uint64_t hz, m3x64_num& out) {
  return m3x64_create(hz / kHzPerMhz, hz % kHzPerMhz, kHzPerMhz, out);
}

int m3x64_reduce(m3x64_num& n) {
  if (n.c == 0) return -EINVAL;
  const std::uint64_t whole = n.b / n.c;
  if (whole > kMax - n.a) return -ERANGE;
  const std::uint64_t rest = n.b % n.c;
  const std::uint64_t common = std::gcd(rest, n.c);
  n = {n.a + whole, rest / common, n.c / common};
  return 0;
}

int m3x64_sum2(const m3x64_num& x, const m3x64_num& y, m3x64_num& out) {
  m3x64_num first = x;
  m3x64_num second = y;
  if (const int error = Reduce(first, second); error < 0) return error;
  const std::uint64_t common = unsigned_lcm(first.c, second.c);
  if (common == 0) return -ERANGE;
  const Wide fraction = Wide{first.b} * (common / first.c) + Wide{second.b} * (common / second.c);
  const Wide whole = Wide{first.a} + second.a + fraction / common;
  if (whole > kMax) return -ERANGE;
  return m3x64_create(static_cast<std::uint64_t>(whole),
                      static_cast<std::uint64_t>(fraction % common), common, out);
}

int m3x64_difference(const m3x64_num& x, const m3x64_num& y, m3x64_num& out) {
  m3x64_num first = x;
  m3x64_num second = y;
  if (const int error = Reduce(first, second); error < 0) return error;
  const std::uint64_t common = unsigned_lcm(first.c, second.c);
  if (common == 0) return -ERANGE;
  std::uint64_t whole = first.a;
  Wide fraction = Wide{first.b} * (common / first.c);
  const Wide less = Wide{second.b} * (common / second.c);
  if (fraction < less) {
    if (whole == 0) return -ERANGE;
    --whole;
    fraction += common;
  }
  if (whole < second.a) return -ERANGE;
  return m3x64_create(whole - second.a, static_cast<std::uint64_t>(fraction - less), common, out);
}

int m3x64_product(const m3x64_num& x, const m3x64_num& y, m3x64_num& out) {
  m3x64_num first = x;
  m3x64_num second = y;
  int error = Reduce(first, second);
  if (error < 0) return MathError(__func__, __LINE__, error);
  error = ExactProduct(first, second, out);
  if (error == -EOVERFLOW) m3x64_truncate(first, second);
  while (error == -EOVERFLOW) {
    m3x64_num shorter_first = first;
    m3x64_num shorter_second = second;
    error = Reduce(shorter_first, shorter_second);
    if (error == 0) error = ExactProduct(shorter_first, shorter_second, out);
    if (error == -EOVERFLOW) Shorten(first, second);
  }
  return error < 0 ? MathError(__func__, __LINE__, error) : 0;
}

int m3x64_quotient(const m3x64_num& x, const m3x64_num& y, m3x64_num& out) {
  m3x64_num divisor = y;
  std::uint64_t numerator = 0;
  std::uint64_t denominator = 0;
  int error = m3x64_reduce(divisor);
  if (error == 0) error = m3x64_to_improper(divisor, numerator, denominator);
  while (error == -ERANGE && divisor.c > 1) {
    Halve(divisor);
    error = m3x64_to_improper(divisor, numerator, denominator);
  }
  m3x64_num inverse;
  if (error == 0) error = m3x64_create(0, denominator, numerator, inverse);
  return error < 0 ? MathError(__func__, __LINE__, error) : m3x64_product(x, inverse, out);
}

int m3x64_div_by_uint64(const m3x64_num& x, std::uint64_t y, m3x64_num& out) {
  return m3x64_quotient(x, {y, 0, 1}, out);
}

int m3x64_times_uint64(const m3x64_num& x, std::uint64_t y, m3x64_num& out) {
  m3x64_num factor = x;
  const int error = m3x64_reduce(factor);
  if (error == -EINVAL) return error;
  if (error == 0 && ExactProduct(factor, {y, 0, 1}, out) == 0) return 0;
  Q5_LOG_ERROR(spclkL, "%s:%d Internal ERROR - Arithmetic overflow!\n", __func__, __LINE__);
  return -1;
}

int m3x64_to_improper(const m3x64_num& n, std::uint64_t& numerator, std::uint64_t& denominator) {
  if (n.c == 0) return -EINVAL;
  const Wide value = Numerator(n);
  if (value > kMax) return -ERANGE;
  numerator = static_cast<std::uint64_t>(value);
  denominator = n.c;
  return 0;
}

void m3x64_truncate(m3x64_num& x, m3x64_num& y) {
  while (Bits(x.c) + Bits(y.c) > kWideBits - kSpareBits && Shorten(x, y)) {
  }
}

double m3x64_to_double(const m3x64_num& n) { return ValueOf(n); }

int m3x64_compare_MHz_to_ull_Hz(const m3x64_num& n, std::uint64_t hz) {
  // the whole megahertz first, so that what is left to compare fits
  const std::uint64_t whole = hz / kHzPerMhz;
  if (n.a != whole) return n.a < whole ? -1 : 1;
  const Wide have = Wide{n.b} * kHzPerMhz;
  const Wide limit = Wide{hz % kHzPerMhz} * n.c;
  if (have == limit) return 0;
  return have < limit ? -1 : 1;
}

int m3x64_check_power_of_two(m3x64_num& value, const char* name, std::uint64_t min,
                             std::uint64_t max, bool verbose) {
  const double fraction = m3x64_to_double({0, value.b, value.c});
  if (fraction >= 1 - kNearlyInteger) {
    ++value.a;
    value.b = 0;
    value.c = 1;
    if (verbose) {
      Q5_LOG_INFO(spclkL, "Rounding %s up to %lld from original\n", name,
                  static_cast<long long>(value.a));
    }
  } else if (fraction >= kNearlyInteger) {
    if (verbose) Q5_LOG_ERROR(spclkL, "%s is not an integer.\n", name);
    return -1;
  }
  return std::has_single_bit(value.a) && value.a >= min && value.a <= max ? 0 : -1;
}
