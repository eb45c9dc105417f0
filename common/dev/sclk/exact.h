// Exact arithmetic with non-negative numbers a + b/c, each of a, b, c 64 bits wide: what clock
// plans are worked out in. Floating point appears only where a value is shown.
//
// Results are reduced: b below c, without common divisor. Functions return 0 or a negative errno
// (-EINVAL for an invalid number, -ERANGE for a result that cannot be held), and then leave
// their result alone. Threads: any; nothing is shared.
#pragma once

#include <cstdint>

#include "common/msg/records/m3x64_num.h"

std::uint64_t Euclidean_gcd(std::uint64_t x, std::uint64_t y);
/// 0 when it does not fit or an argument is 0.
std::uint64_t unsigned_lcm(std::uint64_t x, std::uint64_t y);

int m3x64_create(std::uint64_t a, std::uint64_t b, std::uint64_t c, m3x64_num& out);
int ull_Hz_to_m3x64_MHz(std::uint64_t hz, m3x64_num& out);
int m3x64_reduce(m3x64_num& n);

int m3x64_sum2(const m3x64_num& x, const m3x64_num& y, m3x64_num& out);
/// -ERANGE when y is above x.
int m3x64_difference(const m3x64_num& x, const m3x64_num& y, m3x64_num& out);
/// Exact whenever the result can be held. Else the fractions lose low bits, first by m3x64_truncate
/// and then one by one until the product fits; either fraction is then off by at most 2^-31.
int m3x64_product(const m3x64_num& x, const m3x64_num& y, m3x64_num& out);
/// The product of `x` and the inverse of `y`. -EINVAL for a `y` of 0.
int m3x64_quotient(const m3x64_num& x, const m3x64_num& y, m3x64_num& out);
int m3x64_div_by_uint64(const m3x64_num& x, std::uint64_t y, m3x64_num& out);
/// Never loses anything: the result is exact, or -1 when its whole part does not fit.
int m3x64_times_uint64(const m3x64_num& x, std::uint64_t y, m3x64_num& out);

/// One fraction `numerator`/`denominator`; -ERANGE when a*c + b does not fit.
int m3x64_to_improper(const m3x64_num& n, std::uint64_t& numerator, std::uint64_t& denominator);

/// Takes low bits off both terms of the longer fraction, in turn, until the denominators together
/// have at most 67 bits. What is left of a fraction may be improper by one.
void m3x64_truncate(m3x64_num& x, m3x64_num& y);

/// For showing only.
double m3x64_to_double(const m3x64_num& n);
/// -1, 0 or 1: `n` megahertz below, at or above `hz`.
int m3x64_compare_MHz_to_ull_Hz(const m3x64_num& n, std::uint64_t hz);
/// Takes the integer that `value` is within 0.02 of, when it is a power of two from `min` to `max`;
/// a value just below one is rounded up in place. `name` is for the log, written if `verbose`. 0 or
/// -1.
int m3x64_check_power_of_two(m3x64_num& value, const char* name, std::uint64_t min,
                             std::uint64_t max, bool verbose);
