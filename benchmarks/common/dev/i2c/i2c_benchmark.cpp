// A two-byte read through the I2C worker, from one thread and from four at once, beside the same
// transfer called directly. The chip takes no time, so the difference is what handing over costs;
// "each" is the time a request takes of the worker, "p50" and "p99" what its caller waits.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "common/dev/i2c/bus/i2c_mgr.h"
#include "tests/common/dev/i2c/fake_bus.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kCalls = 20000;
constexpr int kLength = 2;

struct Bench : i2c_test::Board {
  Bench() {
    bus.keeps_log = false;
    manager.Init(i2c_test::kBareModule, 3, *Msg::ghmp);
  }
  i2c_test::TestDev& device = i2c_test::AddTestDev(1, 999, false);
  Dev::I2cMgr manager{"Bench.I2cMgr", 0};
};

template <class Call>
std::vector<double> Time(int calls, Call call) {
  std::vector<double> times;
  times.reserve(static_cast<std::size_t>(calls));
  for (int i = 0; i < calls; ++i) {
    const auto start = Clock::now();
    call();
    times.push_back(Microseconds(Clock::now() - start).count());
  }
  return times;
}

void Report(benchmark::State& state, std::vector<double> times, double each) {
  std::ranges::sort(times);
  state.counters["p50_us"] = times[times.size() / 2];
  state.counters["p99_us"] = times[times.size() * 99 / 100];
  state.counters["each_us"] = each;
}

void BM_Direct(benchmark::State& state) {
  Bench bench;
  for ([[maybe_unused]] auto _ : state) {
    char buf[kLength];
    const auto start = Clock::now();
    auto times = Time(kCalls, [&] { benchmark::DoNotOptimize(bench.device.Read(buf, kLength)); });
    Report(state, std::move(times), Microseconds(Clock::now() - start).count() / kCalls);
  }
}
BENCHMARK(BM_Direct)->Iterations(1)->Unit(benchmark::kMillisecond);

void BM_Wrapper(benchmark::State& state) {
  Bench bench;
  const auto callers = static_cast<std::size_t>(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    std::vector<std::vector<double>> times(callers);
    const auto start = Clock::now();
    {
      std::vector<std::jthread> threads;
      for (auto& its_times : times) {
        threads.emplace_back([&] {
          char buf[kLength];
          its_times = Time(kCalls, [&] {
            bench.manager.I2cWkrWrapper(1, Dev::MEAS_CH1, Dev::SPI_BRIDGE, 1, buf, kLength, 0,
                                        Dev::I2cDev::do_read);
          });
        });
      }
    }
    const double all = Microseconds(Clock::now() - start).count();
    std::vector<double> together;
    for (const auto& part : times) together.insert(together.end(), part.begin(), part.end());
    const double each = all / static_cast<double>(together.size());
    Report(state, std::move(together), each);
  }
}
BENCHMARK(BM_Wrapper)->Arg(1)->Arg(4)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
