#include "platform/fake_clock.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(FakeClock, RunsTicksInTheOrderOfTheirTimes) {
  FakeClock clock;
  std::string order;
  const auto note = [&](char name) {
    order += name + std::to_string((clock.Monotonic() - FakeClock::kStart) / milliseconds(1)) + " ";
  };
  auto slow = clock.StartTicks(milliseconds(50), [&] { note('s'); });
  auto fast = clock.StartTicks(milliseconds(20), [&] { note('f'); });
  EXPECT_EQ(clock.NextDeadline(), FakeClock::kStart + milliseconds(20));
  clock.Advance(milliseconds(99));
  EXPECT_EQ(order, "f20 f40 s50 f60 f80 ");
  fast.reset();
  clock.Advance(milliseconds(1));
  EXPECT_EQ(order, "f20 f40 s50 f60 f80 s100 ");
  clock.AdvanceTo(FakeClock::kStart);  // never goes back
  EXPECT_EQ(clock.Monotonic(), FakeClock::kStart + milliseconds(100));
}

TEST(FakeClock, AutoAdvanceSleepsAtOnceAndStillTicks) {
  FakeClock clock;
  clock.SetAutoAdvance(true);
  int ticks = 0;
  // A callback that sleeps moves time itself, from inside an advance.
  auto ticker = clock.StartTicks(seconds(60), [&] {
    ++ticks;
    clock.SleepFor(seconds(1));
  });
  clock.SleepFor(std::chrono::hours(1));
  EXPECT_EQ(ticks, 60);
  EXPECT_EQ(clock.Monotonic(), FakeClock::kStart + std::chrono::hours(1) + seconds(1));
}

}  // namespace
}  // namespace platform
