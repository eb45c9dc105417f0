// From the set-up of a test to its first valid result, as the host sees it, beside what the physics
// needs: the source's ramp, the settling of the front end's filter, one cycle of the signal.
//   first_result_benchmark [tests per frequency, default 9]
//
// Most of what is beyond the physics are the fixed waits of set-up (200 ms for each bridge) and
// update (200 ms between two looks at a busy CPLD). A result is valid when the status word is clear
// and the value is within 0.1 % of the target.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "common/acquisition/ranging/fixed_range.h"
#include "common/msg/records/input_mode.h"
#include "host/measurement_run.h"
#include "host/request.h"
#include "host/transport_address.h"
#include "tests/integration/process.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr double kRamp = 0.25;    // s; the simulator's own default
constexpr float kTarget = 10000;  // V
constexpr auto kGap = std::chrono::milliseconds(2);
constexpr auto kPatience = std::chrono::seconds(30);

struct Times {
  double set_up, update, start, first;  // ms, each from the step before
  int filter;                           // of the valid result, channel 1
  double Total() const { return set_up + update + start + first; }
};

bool IsValid(const host::MeasurementResult& result) {
  return result.record.ranging == 0 && std::abs(1000 * result.record.acfcvolt / kTarget - 1) < 1e-3;
}

bool FirstValid(host::MeasurementRun& run, host::MeasurementResult& result) {
  const auto patience = SteadyClock::now() + kPatience;
  while (SteadyClock::now() < patience) {
    if (!run.Poll(Msg::MSG6_RSLTYPE_FIR_SLOW, result)) return false;
    if (IsValid(result)) return true;
    std::this_thread::sleep_for(kGap);
  }
  return false;
}

bool Measure(host::Session& session, const host::MeasurementPlan& plan, Times& times) {
  host::MeasurementRun run(session);
  auto since = SteadyClock::now();
  const auto lap = [&since] {
    const auto before = std::exchange(since, SteadyClock::now());
    return std::chrono::duration<double, std::milli>(since - before).count();
  };
  if (!run.BeginRow() || (lap(), !run.SetUp(plan))) return false;
  times.set_up = lap();
  if (!run.Update(plan)) return false;
  times.update = lap();
  if (!run.Start()) return false;
  times.start = lap();
  host::MeasurementResult result;
  if (!FirstValid(run, result)) return false;
  times.first = lap();
  times.filter = result.record.filtersel & 0xF;
  return run.Stop() && run.EndRow();
}

}  // namespace

int main(int argc, char* argv[]) {
  const int tests = argc > 1 ? std::atoi(argv[1]) : 9;
  test::Bench bench;
  bench.StartDaemon();
  std::string error;
  const auto address = host::AddressUnder(bench.root.Path(), "host", error);
  if (!address) return std::fprintf(stderr, "%s\n", error.c_str()), 1;
  const auto transport = host::MakeTransport(*address, 10000);
  std::ostringstream out;
  host::Session session(*transport, false, out, out);

  std::printf("%6s %10s %10s %10s %12s %10s %12s %10s   (ms, median)\n", "Hz", "set-up", "update",
              "start", "first valid", "total", "the physics", "beyond");
  for (const float hertz : {15.0F, 60.0F, 400.0F}) {
    host::MeasurementPlan plan;
    plan.frequency = hertz;
    plan.target = plan.highest = static_cast<std::int16_t>(kTarget);
    plan.source =
        host::SourceWord(Msg::internalHVVoltageSourceE, 2, Msg::AC_Volt, Msg::ACDC_Current);
    plan.divider = host::Divider::kHv1;
    plan.current_range = hertz > 100 ? 4 : 5;
    std::vector<Times> all(static_cast<std::size_t>(std::max(tests, 1)));
    for (Times& times : all) {
      if (Measure(session, plan, times)) continue;
      std::fprintf(stderr, "no valid result at %g Hz: %s", double{hertz}, out.str().c_str());
      return 1;
    }
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), middle, all.end(),
                     [](const Times& a, const Times& b) { return a.Total() < b.Total(); });
    const double physics =
        1000 * (kRamp + AcquisitionSystem::analogfilterdelays[middle->filter] + 1 / double{hertz});
    std::printf("%6g %10.1f %10.1f %10.1f %12.1f %10.1f %12.1f %10.1f\n", double{hertz},
                middle->set_up, middle->update, middle->start, middle->first, middle->Total(),
                physics, middle->Total() - physics);
  }
  return 0;
}
