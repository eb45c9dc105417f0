// A tick over 20 armed timers, none of which expires, beside 20 counters decremented under a mutex
// each.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "common/monitor/monitor.h"
#include "tests/platform/bare_machine.h"

namespace {

constexpr int kTimers = 20;
constexpr auto kTick = std::chrono::milliseconds(20);

int Nothing(void*) { return 0; }

void BM_Tick(benchmark::State& state) {
  platform::MachineInPlace<> machine;
  monitor::Init();
  std::vector<std::unique_ptr<monitor>> timers;
  for (int i = 0; i < kTimers; ++i) {
    timers.push_back(std::make_unique<monitor>("benchmark"));
    timers.back()->AddTimer(10'000'000, SECSE, Nothing, nullptr);
  }
  for (auto _ : state) machine.clock.Advance(kTick);
  for (auto& timer : timers) timer->StopTimer();
  monitor::End();
}
BENCHMARK(BM_Tick);

void BM_TickWithoutTimers(benchmark::State& state) {
  platform::MachineInPlace<> machine;
  monitor::Init();
  for (auto _ : state) machine.clock.Advance(kTick);
  monitor::End();
}
BENCHMARK(BM_TickWithoutTimers);

void BM_BareCounters(benchmark::State& state) {
  struct Counter {
    std::mutex mutex;
    std::uint64_t left = ~0ULL;
  };
  std::array<Counter, kTimers> counters;
  for (auto _ : state) {
    for (Counter& counter : counters) {
      std::lock_guard lock(counter.mutex);
      benchmark::DoNotOptimize(counter.left -= 20'000'000);
    }
  }
}
BENCHMARK(BM_BareCounters);

}  // namespace

BENCHMARK_MAIN();
