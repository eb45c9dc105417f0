// Timers on a clock that the test moves.
#include "common/monitor/monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "tests/platform/bare_machine.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// A timer whose callback counts and then does what the test asks.
struct Probe {
  explicit Probe(const char* name) : timer(name) {}
  static int Called(void* data) {
    auto* probe = static_cast<Probe*>(data);
    ++probe->calls;
    if (probe->then) probe->then();
    return -1;  // nobody looks at it
  }
  int Add(int time, int unit) { return timer.AddTimer(time, unit, Called, this); }
  int AddAlarm(int time, int unit) { return timer.AddAlarm(time, unit, Called, this); }

  monitor timer;
  int calls = 0;
  std::function<void()> then;
};

class MonitorTest : public testing::Test {
 protected:
  MonitorTest() { EXPECT_EQ(monitor::Init(), 0); }
  ~MonitorTest() override { monitor::End(); }

  void Tick(int count = 1) { clock.Advance(milliseconds(20) * count); }
  // A callback that takes this long, without a tick passing.
  void Take(milliseconds duration) { clock.Spend(duration); }

  platform::MachineInPlace<> machine;
  platform::FakeClock& clock = machine.clock;
};

TEST_F(MonitorTest, ExpiresAfterWholeTicks) {
  const struct {
    const char* what;
    int time, unit;
    bool alarm;
    int ticks;  // to the first expiry
  } cases[] = {
      {"2 s", 2, SECSE, false, 100},     {"21 ms", 21, MSECSE, false, 2},
      {"0 ms", 0, MSECSE, false, 1},     {"alarm 20 ms", 20, MSECSE, true, 2},
      {"alarm 1 s", 1, SECSE, true, 51},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Probe probe("probe");
    ASSERT_EQ(c.alarm ? probe.AddAlarm(c.time, c.unit) : probe.Add(c.time, c.unit), 0);
    Tick(c.ticks - 1);
    EXPECT_EQ(probe.calls, 0);
    Tick();
    EXPECT_EQ(probe.calls, 1);
    Tick(3 * c.ticks);
    EXPECT_EQ(probe.calls, c.alarm ? 1 : 4);
    EXPECT_EQ(probe.timer.IsTimerAlive(), !c.alarm);
    EXPECT_EQ(probe.timer.StopTimer(), c.alarm ? -1 : 0);
    Tick(2 * c.ticks);
    EXPECT_EQ(probe.calls, c.alarm ? 1 : 4);
  }
}

TEST_F(MonitorTest, ResetStartsTheCountdownAgain) {
  Probe probe("watchdog");
  EXPECT_EQ(probe.timer.ResetTimer(), 0);  // a stopped one does not start
  EXPECT_FALSE(probe.timer.IsTimerAlive());
  ASSERT_EQ(probe.Add(8, SECSE), 0);
  EXPECT_TRUE(probe.timer.TimeElapsed());  // never reset since it was armed
  for (int i = 0; i < 5; ++i) {
    clock.Advance(seconds(7));
    probe.timer.ResetTimer();
  }
  EXPECT_EQ(probe.calls, 0);
  clock.Advance(milliseconds(799));
  EXPECT_FALSE(probe.timer.TimeElapsed());
  clock.Advance(milliseconds(1));
  EXPECT_TRUE(probe.timer.TimeElapsed());
  clock.Advance(seconds(8));
  EXPECT_EQ(probe.calls, 1);
  probe.timer.ModifyTimer(1);
  clock.Advance(seconds(3));
  EXPECT_EQ(probe.calls, 4);
  probe.timer.StopTimer();
}

TEST_F(MonitorTest, ServesInTheOrderOfTheIdsDespiteTheCallbacks) {
  std::vector<std::unique_ptr<Probe>> probes;
  std::vector<unsigned> order;
  for (int i = 0; i < 6; ++i) {
    probes.push_back(std::make_unique<Probe>("probe"));
    probes.back()->then = [&order, probe = probes.back().get()] {
      order.push_back(probe->timer.GetMID());
    };
  }
  for (int i = 5; i >= 0; --i) probes[static_cast<size_t>(i)]->Add(20, MSECSE);
  auto id = [&](size_t i) { return probes[i]->timer.GetMID(); };
  Tick();
  EXPECT_THAT(order, testing::ElementsAre(id(0), id(1), id(2), id(3), id(4), id(5)));

  // 1 stops itself, 2 stops its neighbour 3, 4 restarts 1 (which waits for the next tick)
  order.clear();
  auto also = [&](size_t i, std::function<void()> action) {
    probes[i]->then = [&order, own = id(i), action] {
      order.push_back(own);
      action();
    };
  };
  also(1, [&] { EXPECT_EQ(probes[1]->timer.StopTimer(), 0); });
  also(2, [&] { EXPECT_EQ(probes[3]->timer.StopTimer(), 0); });
  also(4, [&] { EXPECT_EQ(probes[1]->Add(20, MSECSE), 0); });
  Tick();
  EXPECT_THAT(order, testing::ElementsAre(id(0), id(1), id(2), id(4), id(5)));
  for (auto& probe : probes) probe->then = nullptr;
  Tick();
  EXPECT_EQ(probes[1]->calls, 3);
  EXPECT_EQ(probes[3]->calls, 1);
  for (auto& probe : probes) probe->timer.StopTimer();
}

TEST_F(MonitorTest, ASlowCallbackEndsTheTicksWalk) {
  Probe first("first"), slow("slow"), last("last");
  slow.then = [this] { Take(milliseconds(20)); };
  for (Probe* probe : {&first, &slow, &last}) ASSERT_EQ(probe->Add(20, MSECSE), 0);
  Tick();
  EXPECT_FALSE(slow.timer.CompletedInTime());
  EXPECT_EQ(first.calls, 1);
  EXPECT_EQ(slow.calls, 1);
  EXPECT_EQ(last.calls, 0);  // missed this tick
  slow.then = [this] { Take(milliseconds(19)); };
  Tick();
  EXPECT_TRUE(slow.timer.CompletedInTime());
  EXPECT_EQ(last.calls, 1);
  for (Probe* probe : {&first, &slow, &last}) probe->timer.StopTimer();
}

TEST_F(MonitorTest, SettingTheTimeOfDayMakesNoCallbackSlowAndHidesNone) {
  Probe timer("timer");
  const timespec day = clock.Realtime();
  const struct {
    const char* what;
    time_t set;
    int ms;
    bool in_time;
  } cases[] = {
      {"forward", 3600, 0, true}, {"back", -3600, 0, true}, {"back and slow", -3600, 30, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    timer.then = [&] {
      Take(milliseconds(c.ms));
      clock.SetRealtime({day.tv_sec + c.set, 0});
    };
    ASSERT_EQ(timer.Add(20, MSECSE), 0);
    Tick();
    EXPECT_EQ(timer.timer.CompletedInTime(), c.in_time);
    timer.timer.StopTimer();
  }
}

TEST_F(MonitorTest, ACallbackThatThrowsDoesNotStopOthers) {
  Probe bad("bad"), good("good");
  bad.then = [] { throw std::bad_alloc(); };
  for (Probe* probe : {&bad, &good}) ASSERT_EQ(probe->Add(20, MSECSE), 0);
  testing::internal::CaptureStderr();
  Tick(3);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("bad failed: std::bad_alloc"));
  EXPECT_EQ(bad.calls, 3);
  EXPECT_EQ(good.calls, 3);
  for (Probe* probe : {&bad, &good}) probe->timer.StopTimer();
}

TEST_F(MonitorTest, ARunningCallbackIsNotEnteredAgain) {
  Probe slow("slow"), other("other");
  slow.then = [this] { Tick(5); };  // ticks pass while it runs
  ASSERT_EQ(slow.Add(20, MSECSE), 0);
  ASSERT_EQ(other.Add(20, MSECSE), 0);
  Tick();
  EXPECT_EQ(slow.calls, 1);
  EXPECT_EQ(other.calls, 5);  // and misses the tick that the slow one overran
  slow.then = nullptr;
  Tick();
  EXPECT_EQ(slow.calls, 2);
  EXPECT_EQ(other.calls, 6);
  slow.timer.StopTimer();
  other.timer.StopTimer();
}

TEST_F(MonitorTest, AnOkTimerIsSeparateAndCannotBeStopped) {
  Probe slow("slow"), ok("ok");
  slow.then = [this] { Take(milliseconds(100)); };
  ASSERT_EQ(slow.Add(20, MSECSE), 0);
  ASSERT_EQ(ok.timer.AddOKTimer(100, MSECSE, Probe::Called, &ok), 0);
  EXPECT_EQ(ok.timer.StopTimer(), -1);
  EXPECT_FALSE(ok.timer.IsTimerAlive());
  Tick(20 * 6);  // twenty ticks, of which each takes five more
  EXPECT_EQ(ok.calls, 4);
  slow.timer.StopTimer();
}

TEST_F(MonitorTest, ThreadsMayAddStopAndResetWhileItTicks) {
  constexpr int kThreads = 4;
  std::vector<std::unique_ptr<Probe>> probes;
  for (int i = 0; i < kThreads; ++i) probes.push_back(std::make_unique<Probe>("probe"));
  std::vector<std::thread> threads;
  std::atomic<int> working{kThreads};
  for (auto& probe : probes) {
    threads.emplace_back([&, own = probe.get()] {
      for (int i = 0; i < 300; ++i) {
        own->Add(20, MSECSE);
        own->timer.ResetTimer();
        own->timer.StopTimer();
      }
      own->Add(20, MSECSE);
      --working;
    });
  }
  while (working > 0) Tick();
  for (auto& thread : threads) thread.join();
  std::vector<int> before;
  for (auto& probe : probes) before.push_back(probe->calls);
  Tick();
  for (size_t i = 0; i < probes.size(); ++i) {
    EXPECT_EQ(probes[i]->calls, before[i] + 1);
    probes[i]->timer.StopTimer();
  }
}

}  // namespace
