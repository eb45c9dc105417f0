// Exact arithmetic beside rationals of any size, over numbers of all lengths.
#include "common/dev/sclk/exact.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "tests/common/dev/sclk/rational.h"

namespace {

using sclk_test::Rational;
using sclk_test::ToRational;

constexpr std::uint64_t kMax = std::numeric_limits<std::uint64_t>::max();

class Numbers {
 public:
  /// Up to `bits` long, every length equally likely; often at an end of its range.
  std::uint64_t Integer(int bits = 64) {
    const int length = std::uniform_int_distribution(0, bits)(random_);
    if (length == 0) return 0;
    const std::uint64_t top = length == 64 ? kMax : (std::uint64_t{1} << length) - 1;
    return std::uniform_int_distribution(0, 9)(random_) == 0 ? top : top & random_();
  }
  m3x64_num Number(int bits = 64) {
    const m3x64_num n{Integer(bits), Integer(bits), std::max<std::uint64_t>(1, Integer(bits))};
    return n.b / n.c <= kMax - n.a ? n : Number(bits);
  }

 private:
  std::mt19937_64 random_{7304};
};

bool Fits(const Rational& x) {
  return x >= 0 && sclk_test::Floor(x) <= kMax && denominator(x) <= kMax;
}

void ExpectReduced(const m3x64_num& n) {
  EXPECT_LT(n.b, n.c);
  EXPECT_EQ(Euclidean_gcd(n.b, n.c), 1U);
}

/// The result is exact if it fits, and refused (leaving `out` alone) or within `bound` if not.
void ExpectResult(int status, const m3x64_num& out, const Rational& exact, const Rational& bound) {
  if (status < 0) {
    EXPECT_EQ(out, (m3x64_num{7, 7, 7}));
    EXPECT_FALSE(Fits(exact)) << exact;
    return;
  }
  ExpectReduced(out);
  const Rational error = abs(ToRational(out) - exact);
  EXPECT_LE(error, Fits(exact) ? Rational(0) : bound) << exact;
}

TEST(Exact, AgreesWithRationals) {
  const Rational lost =
      sclk_test::Ratio(1, std::uint64_t{1} << 31);  // of each fraction that is shortened
  Numbers numbers;
  for (int i = 0; i < 20000 && !HasFailure(); ++i) {
    const int bits = i % 2 == 0 ? 64 : 20;
    const m3x64_num x = numbers.Number(bits);
    const m3x64_num y = numbers.Number(bits);
    const std::uint64_t factor = numbers.Integer();
    const Rational rx = ToRational(x);
    const Rational ry = ToRational(y);
    SCOPED_TRACE(testing::Message() << rx << " and " << ry << " and " << factor);

    m3x64_num out{7, 7, 7};
    if (m3x64_sum2(x, y, out) == 0) {
      ExpectReduced(out);
      EXPECT_EQ(ToRational(out), rx + ry);
    } else {
      EXPECT_EQ(bits, 64);
    }
    if (m3x64_difference(x, y, out) == 0) {
      EXPECT_EQ(ToRational(out), rx - ry);
    } else {
      EXPECT_TRUE(bits == 64 || rx < ry);
    }
    out = {7, 7, 7};
    ExpectResult(m3x64_times_uint64(x, factor, out), out, rx * factor, 0);
    out = {7, 7, 7};
    const int product = m3x64_product(x, y, out);
    const Rational bound = (rx + ry + 1) * lost;
    if (product == 0) {
      ExpectResult(0, out, rx * ry, bound);
    } else {
      EXPECT_GT(rx * ry + bound, kMax);
    }
    if (rx < 1 << 20 && ry >= 1 && ry < 1 << 20) {
      ASSERT_EQ(m3x64_quotient(x, y, out), 0);
      ExpectResult(0, out, rx / ry, (rx + 2) * 2 * lost);
    }
    if (factor != 0) {
      ASSERT_EQ(m3x64_div_by_uint64(x, factor, out), 0);
      ExpectResult(0, out, rx / factor, (rx + 2) * 2 * lost);
    }
    const std::uint64_t hz = numbers.Integer();
    EXPECT_EQ(m3x64_compare_MHz_to_ull_Hz({factor >> 24, x.b % x.c, x.c}, hz),
              (factor >> 24) + sclk_test::Ratio(x.b % x.c, x.c) < sclk_test::Ratio(hz, 1000000) ? -1
              : (factor >> 24) + sclk_test::Ratio(x.b % x.c, x.c) == sclk_test::Ratio(hz, 1000000)
                  ? 0
                  : 1);
  }
}

TEST(Exact, EndsOfTheRange) {
  m3x64_num out{7, 7, 7};
  EXPECT_EQ(m3x64_create(1, 2, 0, out), -22);
  EXPECT_EQ(m3x64_quotient({2, 0, 1}, {0, 0, 5}, out), -22);
  EXPECT_EQ(m3x64_div_by_uint64({2, 0, 1}, 0, out), -22);
  EXPECT_LT(m3x64_sum2({kMax, 1, 2}, {0, 1, 2}, out), 0);
  EXPECT_LT(m3x64_times_uint64({kMax, 0, 1}, 2, out), 0);
  EXPECT_LT(m3x64_difference({1, 1, 3}, {1, 1, 2}, out), 0);
  EXPECT_EQ(out, (m3x64_num{7, 7, 7}));

  EXPECT_EQ(m3x64_create(kMax - 1, 3, 3, out), 0);
  EXPECT_EQ(out, (m3x64_num{kMax, 0, 1}));
  EXPECT_EQ(ull_Hz_to_m3x64_MHz(kMax, out), 0);
  EXPECT_EQ(ToRational(out), sclk_test::Ratio(kMax, 1000000));
  EXPECT_EQ(unsigned_lcm(kMax, kMax - 1), 0U);
  EXPECT_EQ(unsigned_lcm(kMax, kMax), kMax);
}

TEST(Exact, PowerOfTwoWithinItsLimits) {
  const struct {
    m3x64_num value;
    bool accepted;
    std::uint64_t rounded;
  } cases[] = {
      {{1024, 0, 1}, true, 1024}, {{1, 0, 1}, false, 1},      {{3, 0, 1}, false, 3},
      {{7, 98, 100}, true, 8},    {{7, 979, 1000}, false, 7}, {{1024, 999, 1000}, false, 1025},
  };
  for (auto c : cases) {
    SCOPED_TRACE(testing::Message() << c.value.a << " + " << c.value.b << "/" << c.value.c);
    EXPECT_EQ(m3x64_check_power_of_two(c.value, "ratio", 2, 1024, true), c.accepted ? 0 : -1);
    EXPECT_EQ(c.value.a, c.rounded);
  }
}

}  // namespace
