// The update handler's own time: clock plan, clock chip and filters on the virtual board, with
// waits that cost nothing; beside it the clock alone, and the cheapest request.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

#include "common/dev/sclk/spclk_dev.h"
#include "tests/mos/daemon_bench.h"

namespace {

class Bench : public DaemonBench {
 public:
  bool Prepare() {
    if (Init() != 0) return false;
    Msg::HmpIniTestParamReq set_up{};
    set_up.testype = Msg::TEST_HVVFPF;
    set_up.voltsrc = 0x1200;
    set_up.voltmax = 100;
    return Send(0x03, set_up) == 6;
  }
  bool Update(float hertz) {
    Msg::HmpUpdTestParamReq update{};
    update.volttarget = 100;
    update.frequency = hertz;
    return Send(0x04, update) == 6;
  }
  bool Progress() { return Send(0x46, Msg::HmpAckProgressReq{}) == 6; }
};

void Measure(const char* name, const std::function<bool(int)>& work) {
  std::vector<double> times;
  for (int i = 0; i < 60; ++i) {
    const auto start = std::chrono::steady_clock::now();
    if (!work(i)) std::printf("%s: refused\n", name);
    const auto spent = std::chrono::steady_clock::now() - start;
    times.push_back(std::chrono::duration<double, std::micro>(spent).count());
  }
  std::ranges::sort(times);
  std::printf("%-34s median %9.1f us   p99 %9.1f us\n", name, times[times.size() / 2],
              times[times.size() * 99 / 100]);
}

}  // namespace

int main() {
  Bench bench;
  if (!bench.Prepare()) return 1;
  Measure("0x04, another frequency",
          [&](int i) { return bench.Update(i % 2 == 0 ? 50.0F : 60.0F); });
  Measure("0x04, the same frequency", [&](int) { return bench.Update(60.0F); });
  Dev::SpclkDev* clock = Dev::SpclkDev::GetDevice();
  Measure("the clock alone", [&](int i) {
    clock->SetTestFrequency(i % 2 == 0 ? 50.0F : 60.0F);
    return clock->Update(0) >= 0;
  });
  Measure("0x46", [&](int) { return bench.Progress(); });
}
