// Every form of the kernel that this processor runs, beside long double and whole numbers.
#include "common/acquisition/correlator_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using acquisition::CorrelatorKernel;
using acquisition::PairRun;
using acquisition::SampleSums;

constexpr double kGuard = 12345.5;
constexpr double kTermError = 4e-16;  // of a full-scale product: the library's functions

class CorrelatorKernelTest : public testing::TestWithParam<CorrelatorKernel> {
 protected:
  void SetUp() override {
    if (!GetParam().supported()) GTEST_SKIP() << "not by this processor";
  }
  std::vector<int> Words(int pairs) {
    std::vector<int> words(2 * pairs);
    std::ranges::generate(words, [this] { return static_cast<int>(random()); });
    words.front() = -2147483647 - 1;
    words.back() = pairs % 2 == 0 ? 2147483647 : -1;
    return words;
  }
  std::mt19937 random{7};
};

TEST_P(CorrelatorKernelTest, ProductsAndSums) {
  const struct {
    int pairs;
    double rate;
    std::int64_t first;
  } cases[] = {{1, 0.4, 0},          {2, 0.4, 5},           {3, 0.012, 77},
               {16, 0.39, 48},       {127, 0.1, 900},       {129, 6e-6, 100000},
               {300, 0.012, 400000}, {130, 0.39, 21509231}, {20, 0.4, 2100000000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pairs);
    const std::vector<int> words = Words(c.pairs);
    std::vector<double> products[2][2];
    for (auto& kind : products) {
      for (auto& channel : kind) channel.assign(c.pairs + 1, kGuard);
    }
    const PairRun run{words.data(),
                      c.pairs,
                      c.rate,
                      c.first,
                      {products[0][0].data(), products[0][1].data()},
                      {products[1][0].data(), products[1][1].data()}};
    double sums[2][2] = {{1000, 2000}, {3000, 4000}};
    SampleSums samples[2] = {{10, -8388608, 8388607}, {20, -8388608, 8388607}};
    GetParam().correlate(run, sums[0], sums[1], samples);
    for (int ch = 0; ch < 2; ++ch) {
      long double expected[2] = {1000.0L * (ch + 1), 1000.0L * (ch + 3)};
      SampleSums whole{10L * (ch + 1), -8388608, 8388607};
      for (int i = 0; i < c.pairs; ++i) {
        const int v = words[2 * i + ch] / 256;
        const double theta = c.rate * static_cast<double>(c.first + i);
        const long double terms[2] = {v * std::sin(static_cast<long double>(theta)),
                                      v * std::cos(static_cast<long double>(theta))};
        for (int kind = 0; kind < 2; ++kind) {
          ASSERT_NEAR(products[kind][ch][i], static_cast<double>(terms[kind]),
                      kTermError * std::abs(v));
          expected[kind] += terms[kind];
        }
        whole = {whole.sum + v, std::max(whole.max, v), std::min(whole.min, v)};
      }
      for (int kind = 0; kind < 2; ++kind) {
        EXPECT_NEAR(sums[kind][ch], static_cast<double>(expected[kind]), 1e-8 * c.pairs);
        EXPECT_EQ(products[kind][ch].back(), kGuard);
      }
      EXPECT_EQ(samples[ch].sum, whole.sum);
      EXPECT_EQ(samples[ch].max, whole.max);
      EXPECT_EQ(samples[ch].min, whole.min);
    }
  }
}

TEST_P(CorrelatorKernelTest, SumsSquaresAndBits) {
  for (const int pairs : {1, 2, 3, 7, 16, 1023, 1024}) {
    SCOPED_TRACE(pairs);
    const std::vector<int> words = Words(pairs);
    const int average[2] = {-5, 1234567};
    double squares[2];
    GetParam().squares(words.data(), pairs, average, squares);
    for (int ch = 0; ch < 2; ++ch) {
      long double expected = 0;
      for (int i = 0; i < pairs; ++i) {
        const long double d = (words[2 * i + ch] >> 8) - average[ch];
        expected += d * d;
      }
      EXPECT_NEAR(squares[ch], static_cast<double>(expected),
                  static_cast<double>(expected) * 1e-13);
    }

    std::vector<double> values[acquisition::kProductArrays];
    const double* arrays[acquisition::kProductArrays];
    double sums[acquisition::kProductArrays];
    for (int n = 0; n < acquisition::kProductArrays; ++n) {
      for (int i = 0; i < pairs; ++i) values[n].push_back(words[2 * i] + n);
      arrays[n] = values[n].data();
    }
    GetParam().sum(arrays, pairs, sums);
    for (int n = 0; n < acquisition::kProductArrays; ++n) {
      std::int64_t expected = 0;
      for (int i = 0; i < pairs; ++i) expected += std::int64_t{words[2 * i]} + n;
      EXPECT_EQ(sums[n], static_cast<double>(expected));
    }

    std::vector<int> clean(2 * pairs, 0x100);
    for (const int place : {0, pairs, 2 * pairs - 1}) {
      clean[place] |= 0x80;
      EXPECT_EQ(GetParam().bits(clean.data(), pairs), 0x180u) << place;
      clean[place] = 0x100;
    }
    EXPECT_EQ(GetParam().bits(clean.data(), pairs), 0x100u);
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, CorrelatorKernelTest,
                         testing::ValuesIn(acquisition::CorrelatorKernels().begin(),
                                           acquisition::CorrelatorKernels().end()),
                         [](const auto& form) { return std::string(form.param.name); });

}  // namespace
