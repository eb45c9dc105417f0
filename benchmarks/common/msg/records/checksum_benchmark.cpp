// The sum of a record's bytes beside a plain loop, as the compiler makes it and kept to a byte a
// step, and beside a copy of the same bytes, which no sum of ours can be much faster than.
#include <benchmark/benchmark.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "common/msg/records/checksum.h"

namespace {

std::vector<std::uint8_t> Record(const benchmark::State& state) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(state.range(0)));
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

[[gnu::noinline]] std::uint16_t PlainLoop(const std::uint8_t* bytes, std::size_t size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += bytes[i];
  return static_cast<std::uint16_t>(sum);
}

[[gnu::noinline]] std::uint16_t ByteAStep(const std::uint8_t* bytes, std::size_t size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) {
    sum += bytes[i];
    asm volatile("" : "+r"(sum));  // the sum has to be there after every byte
  }
  return static_cast<std::uint16_t>(sum);
}

template <auto Sum>
void BM_Sum(benchmark::State& state) {
  std::vector<std::uint8_t> bytes = Record(state);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(bytes.data());
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(Sum(bytes.data(), bytes.size()));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Copy(benchmark::State& state) {
  std::vector<std::uint8_t> bytes = Record(state);
  std::vector<std::uint8_t> copy(bytes.size());
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Sizes(benchmark::internal::Benchmark* bench) {
  // summed bytes of a bare request, of an ACK, of a NAK, and of the longest record
  for (int size : {6, 7, 137, 32768}) bench->Arg(size);
}

BENCHMARK(BM_Sum<Msg::ByteSum>)->Name("ByteSum")->Apply(Sizes);
BENCHMARK(BM_Sum<Msg::ByteSumPortable>)->Name("ByteSumPortable")->Apply(Sizes);
BENCHMARK(BM_Sum<PlainLoop>)->Name("plain loop")->Apply(Sizes);
BENCHMARK(BM_Sum<ByteAStep>)->Name("a byte a step")->Apply(Sizes);
BENCHMARK(BM_Copy)->Name("memcpy")->Apply(Sizes);

}  // namespace
