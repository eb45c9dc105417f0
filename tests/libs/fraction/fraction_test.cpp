// Fractions beside whole numbers of any size.
#include "libs/fraction/fraction.h"

#include <gtest/gtest.h>

#include <boost/multiprecision/cpp_int.hpp>
#include <random>

namespace {

using fraction::Fraction;
using fraction::Wide;
using Integer = boost::multiprecision::cpp_int;

constexpr unsigned kSeed = 1128;

Wide WideOf(std::uint64_t high, std::uint64_t low) { return (Wide{high} << 64) + low; }
Integer Exact(const Wide& value) {
  const Wide low = value & ~std::uint64_t{0};
  return (Integer(static_cast<std::uint64_t>(value >> 64)) << 64) + static_cast<std::uint64_t>(low);
}

TEST(Fraction, ProductsAndQuotientsAreExactOrMissing) {
  SCOPED_TRACE(kSeed);
  std::mt19937_64 random(kSeed);
  const auto term = [&random] {
    const unsigned bits = random() % 127;
    return (WideOf(random() >> 1, random()) >> bits) + 1;
  };
  int exact = 0;
  constexpr int kDraws = 4000;
  for (int draw = 0; draw < kDraws; ++draw) {
    const Fraction x(term(), term());
    const Fraction y(term(), term());
    const Integer numerator = Exact(x.Numerator()) * Exact(y.Denominator());
    const Integer denominator = Exact(x.Denominator()) * Exact(y.Numerator());
    const boost::multiprecision::cpp_rational wanted(numerator, denominator);
    const Integer over = boost::multiprecision::numerator(wanted);
    const Integer under = boost::multiprecision::denominator(wanted);
    const bool fits = (over >> 128) == 0 && (under >> 128) == 0;
    const auto quotient = Quotient(x, y);
    ASSERT_EQ(quotient.has_value(), fits);
    if (!fits) continue;
    ++exact;
    ASSERT_EQ(Exact(quotient->Numerator()), over);
    ASSERT_EQ(Exact(quotient->Denominator()), under);
    if ((over >> 127) == 0 && (under >> 127) == 0) {
      ASSERT_EQ(x / y, *quotient);
    }
    ASSERT_EQ(Product(x, {y.Denominator(), y.Numerator()}), quotient);
    ASSERT_EQ(quotient->Text(), under == 1 ? over.str() : over.str() + "/" + under.str());
  }
  EXPECT_GT(exact, kDraws / 10);
  EXPECT_LT(exact, kDraws);
  EXPECT_FALSE(Quotient(Fraction(1), Fraction()).has_value());
}

}  // namespace
