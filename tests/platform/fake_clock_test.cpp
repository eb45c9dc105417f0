#include "platform/fake_clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "platform/real_clock.h"

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

TEST(FakeClock, ReleasesSleepersWhoseTimeHasCome) {
  FakeClock clock;
  std::atomic<int> awake{0};
  std::jthread early([&] {
    clock.SleepFor(seconds(10));
    ++awake;
  });
  std::jthread late([&] {
    clock.SleepFor(seconds(20));
    ++awake;
  });
  ASSERT_TRUE(clock.AwaitBlocked(2));
  EXPECT_EQ(clock.NextDeadline(), FakeClock::kStart + seconds(10));
  clock.Advance(seconds(10));
  early.join();
  EXPECT_EQ(awake, 1);
  EXPECT_EQ(clock.Blocked(), 1U);
  clock.Advance(seconds(10));
}

TEST(FakeClock, TimedWaitHearsEveryNotification) {
  FakeClock clock;
  std::mutex mutex;
  std::condition_variable changed;
  int turn = 0;
  const Nanoseconds deadline = clock.Monotonic() + seconds(1);
  std::jthread other([&] {
    for (int i = 0; i < 200; ++i) {
      std::unique_lock lock(mutex);
      while (turn % 2 == 0) ASSERT_TRUE(clock.WaitUntil(changed, lock, deadline));
      ++turn;
      changed.notify_one();
    }
  });
  for (int i = 0; i < 200; ++i) {
    std::unique_lock lock(mutex);
    while (turn % 2 == 1) ASSERT_TRUE(clock.WaitUntil(changed, lock, deadline));
    ++turn;
    changed.notify_one();
  }
}

TEST(FakeClock, AutoAdvanceSleepsInNoTimeAndStillTicks) {
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

TEST(FakeClock, TickerWaitsForItsCallback) {
  FakeClock clock;
  std::atomic<bool> entered{false};
  std::atomic<bool> left{false};
  auto ticker = clock.StartTicks(seconds(1), [&] {
    entered = true;
    std::this_thread::sleep_for(milliseconds(20));
    left = true;
  });
  std::jthread advancer([&] { clock.Advance(seconds(1)); });
  while (!entered) std::this_thread::yield();
  ticker.reset();
  EXPECT_TRUE(left);
}

TEST(FakeClock, TimeOfDayRunsFromWhereItWasSet) {
  FakeClock clock;
  clock.Advance(seconds(5));
  clock.SetRealtime({.tv_sec = 1000, .tv_nsec = 7});
  clock.Advance(milliseconds(1500));
  EXPECT_EQ(ToNanoseconds(clock.Realtime()), seconds(1001) + Nanoseconds(500000007));
}

}  // namespace
}  // namespace platform
