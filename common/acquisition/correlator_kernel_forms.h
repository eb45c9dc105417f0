// The arithmetic, written once for all forms: a form defines a few operations on `kWidth` numbers
// at once. Included by the files that build a form, each of which may be compiled for a processor
// that others do not have: they must not share code, so everything here and in a form has internal
// linkage.
//
// A form: D (numbers), I (words), kWidth; Load, Store, Set, Ramp (0, 1, 2, ...), Add, Sub, Mul,
// Max, Min, Sin, Cos on D; LoadWords (kWidth pairs), Or, Bits on I; Truncate, Shift (both divide by
// 256), First, Second (the channels' values) from I.
#pragma once

#include <cmath>
#include <cstddef>

#include "common/acquisition/correlator_kernel.h"

namespace acquisition {
namespace {

template <class F>
struct Kernel {
  using D = typename F::D;
  using I = typename F::I;
  static constexpr int kWidth = F::kWidth;
  /// Pairs whose references are made at a time; a multiple of every width.
  static constexpr int kChunkPairs = 128;

  /// The words of a pair.
  static const int* Pair(const int* words, std::ptrdiff_t place) { return words + 2 * place; }

  static double Total(D values) {
    double parts[kWidth];
    F::Store(parts, values);
    double total = parts[0];
    for (int i = 1; i < kWidth; ++i) total += parts[i];
    return total;
  }

  /// May write up to a width beyond `pairs`.
  static void Reference(double rate, double first, int pairs, double* sines, double* cosines) {
    const D step = F::Set(kWidth);
    D count = F::Add(F::Set(first), F::Ramp());
    for (int i = 0; i < pairs; i += kWidth) {
      const D theta = F::Mul(F::Set(rate), count);
      F::Store(sines + i, F::Sin(theta));
      F::Store(cosines + i, F::Cos(theta));
      count = F::Add(count, step);
    }
  }

  struct ChannelSums {
    D sine, cosine, sample, max, min;

    explicit ChannelSums(const SampleSums& start)
        : sine(F::Set(0)),
          cosine(F::Set(0)),
          sample(F::Set(0)),
          max(F::Set(start.max)),
          min(F::Set(start.min)) {}

    void Take(D value, D s, D c, double* sines, double* cosines) {
      const D by_sine = F::Mul(value, s);
      const D by_cosine = F::Mul(value, c);
      F::Store(sines, by_sine);
      F::Store(cosines, by_cosine);
      sine = F::Add(sine, by_sine);
      cosine = F::Add(cosine, by_cosine);
      sample = F::Add(sample, value);
      max = F::Max(max, value);
      min = F::Min(min, value);
    }

    // Sums of samples are whole numbers far below 2^53.
    void Give(double& sine_sum, double& cosine_sum, SampleSums& samples) const {
      sine_sum += Total(sine);
      cosine_sum += Total(cosine);
      samples.sum += static_cast<std::int64_t>(Total(sample));
      double most[kWidth];
      double least[kWidth];
      F::Store(most, max);
      F::Store(least, min);
      for (int i = 0; i < kWidth; ++i) {
        if (most[i] > samples.max) samples.max = static_cast<int>(most[i]);
        if (least[i] < samples.min) samples.min = static_cast<int>(least[i]);
      }
    }
  };

  /// `pairs` is a multiple of the width.
  static void Products(const PairRun& run, int at, int pairs, const double* s, const double* c,
                       double* sine_sums, double* cosine_sums, SampleSums* samples) {
    ChannelSums first(samples[0]);
    ChannelSums second(samples[1]);
    for (int i = 0; i < pairs; i += kWidth) {
      const I words = F::Truncate(F::LoadWords(Pair(run.words, at + i)));
      const D sine = F::Load(s + i);
      const D cosine = F::Load(c + i);
      const int to = at + i;
      first.Take(F::First(words), sine, cosine, run.sines[0] + to, run.cosines[0] + to);
      second.Take(F::Second(words), sine, cosine, run.sines[1] + to, run.cosines[1] + to);
    }
    first.Give(sine_sums[0], cosine_sums[0], samples[0]);
    second.Give(sine_sums[1], cosine_sums[1], samples[1]);
  }
};

template <class F, class Rest>
void Correlate(const PairRun& run, double* sine_sums, double* cosine_sums, SampleSums* samples) {
  constexpr int kChunk = Kernel<F>::kChunkPairs;
  alignas(64) double s[kChunk];
  alignas(64) double c[kChunk];
  for (int at = 0; at < run.pairs; at += kChunk) {
    const int left = run.pairs - at;
    const int pairs = left < kChunk ? left : kChunk;
    const int whole = pairs - pairs % F::kWidth;
    Kernel<F>::Reference(run.phase_rate, static_cast<double>(run.first + at), pairs, s, c);
    if (whole > 0) Kernel<F>::Products(run, at, whole, s, c, sine_sums, cosine_sums, samples);
    if (whole < pairs) {
      Kernel<Rest>::Products(run, at + whole, pairs - whole, s + whole, c + whole, sine_sums,
                             cosine_sums, samples);
    }
  }
}

template <class F>
void SumProducts(const double* const* arrays, int count, double* sums) {
  using D = typename F::D;
  D first = F::Set(0);
  D second = first;
  D third = first;
  D fourth = first;
  const int whole = count - count % F::kWidth;
  for (int i = 0; i < whole; i += F::kWidth) {
    first = F::Add(first, F::Load(arrays[0] + i));
    second = F::Add(second, F::Load(arrays[1] + i));
    third = F::Add(third, F::Load(arrays[2] + i));
    fourth = F::Add(fourth, F::Load(arrays[3] + i));
  }
  const D partial[kProductArrays] = {first, second, third, fourth};
  for (int n = 0; n < kProductArrays; ++n) {
    double total = Kernel<F>::Total(partial[n]);
    for (int i = whole; i < count; ++i) total += arrays[n][i];
    sums[n] = total;
  }
}

template <class F, class Rest>
void Squares(const int* words, int pairs, const int* average, double* sums) {
  using D = typename F::D;
  const D middle_first = F::Set(average[0]);
  const D middle_second = F::Set(average[1]);
  D sum_first = F::Set(0);
  D sum_second = sum_first;
  const int whole = pairs - pairs % F::kWidth;
  for (int i = 0; i < whole; i += F::kWidth) {
    const auto samples = F::Shift(F::LoadWords(Kernel<F>::Pair(words, i)));
    const D first = F::Sub(F::First(samples), middle_first);
    const D second = F::Sub(F::Second(samples), middle_second);
    sum_first = F::Add(sum_first, F::Mul(first, first));
    sum_second = F::Add(sum_second, F::Mul(second, second));
  }
  double rest[2] = {0, 0};
  if (whole < pairs)
    Squares<Rest, Rest>(Kernel<F>::Pair(words, whole), pairs - whole, average, rest);
  sums[0] = Kernel<F>::Total(sum_first) + rest[0];
  sums[1] = Kernel<F>::Total(sum_second) + rest[1];
}

template <class F>
unsigned WordBits(const int* words, int pairs) {
  typename F::I all = F::Nothing();
  const int whole = pairs - pairs % F::kWidth;
  for (int i = 0; i < whole; i += F::kWidth)
    all = F::Or(all, F::LoadWords(Kernel<F>::Pair(words, i)));
  unsigned bits = F::Bits(all);
  for (int i = 2 * whole; i < 2 * pairs; ++i) bits |= static_cast<unsigned>(words[i]);
  return bits;
}

/// A pair at a time.
struct Plain {
  using D = double;
  struct I {
    int first, second;
  };
  static constexpr int kWidth = 1;
  static D Load(const double* from) { return *from; }
  static void Store(double* to, D value) { *to = value; }
  static D Set(double value) { return value; }
  static D Ramp() { return 0; }
  static D Add(D a, D b) { return a + b; }
  static D Sub(D a, D b) { return a - b; }
  static D Mul(D a, D b) { return a * b; }
  static D Max(D a, D b) { return a > b ? a : b; }
  static D Min(D a, D b) { return a < b ? a : b; }
  static D Sin(D angle) { return std::sin(angle); }
  static D Cos(D angle) { return std::cos(angle); }
  static I Nothing() { return {0, 0}; }
  static I LoadWords(const int* from) { return {from[0], from[1]}; }
  static I Or(I a, I b) { return {a.first | b.first, a.second | b.second}; }
  static unsigned Bits(I a) { return static_cast<unsigned>(a.first | a.second); }
  static I Truncate(I a) { return {a.first / 256, a.second / 256}; }
  static I Shift(I a) { return {a.first >> 8, a.second >> 8}; }
  static D First(I a) { return a.first; }
  static D Second(I a) { return a.second; }
};

template <class F>
constexpr CorrelatorKernel MakeKernel(const char* name, bool (*supported)()) {
  return {name, supported, Correlate<F, Plain>, SumProducts<F>, Squares<F, Plain>, WordBits<F>};
}

}  // namespace
}  // namespace acquisition
