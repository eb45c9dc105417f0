#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "platform/fake_clock.h"
#include "platform/local.h"
#include "platform/real_clock.h"
#include "platform/semaphore.h"
#include "tests/platform/test_instrument.h"

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(RealClock, TicksCountPeriods) {
  RealClock clock;
  std::atomic<int> ticks{0};
  const Nanoseconds start = clock.Monotonic();
  auto ticker = clock.StartTicks(milliseconds(5), [&] { ++ticks; });
  ASSERT_NE(ticker, nullptr);
  while (ticks < 5) std::this_thread::yield();
  EXPECT_GE(clock.Monotonic() - start, milliseconds(24));
}

TEST(RealClock, NoCallbackRunsAfterTheTickerEnds) {
  RealClock clock;
  // Short lives with callbacks in flight: a callback that outlived its ticker would touch a dead
  // flag.
  for (int round = 0; round < 100; ++round) {
    auto alive = std::make_unique<std::atomic<bool>>(true);
    auto ticker = clock.StartTicks(std::chrono::microseconds(100), [&] {
      ASSERT_TRUE(*alive);
      std::this_thread::yield();
    });
    ASSERT_NE(ticker, nullptr);
    clock.SleepFor(std::chrono::microseconds(250));
    ticker.reset();
    *alive = false;
    alive.reset();
  }
}

TEST(RealClock, AFaultInACallbackReachesItsHandler) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
    const auto die = [fault] {
      std::signal(fault, [](int number) { ::_exit(number); });
      const auto ticker = RealClock().StartTicks(milliseconds(1), [fault] {
        ::raise(fault);
        ::_exit(0);
      });
      ::pause();
    };
    EXPECT_EXIT(die(), testing::ExitedWithCode(fault), "");
  }
}

TEST(RealClock, LongCallbackIsOverlappedByTheNext) {
  RealClock clock;
  std::atomic<int> entered{0};
  std::atomic<bool> go{false};
  auto ticker = clock.StartTicks(milliseconds(2), [&] {
    ++entered;
    while (!go) std::this_thread::yield();
  });
  while (entered < 3) std::this_thread::yield();
  go = true;
}

TEST(Semaphore, TimedWaitRunsOnTheMachinesClock) {
  TemporaryRoot root;
  TestInstrument instrument;
  FakeClock clock;
  LocalBackend backend(instrument, clock, root.Path());
  ScopedBackend scoped(backend);
  Semaphore semaphore;

  std::atomic<int> result{-1};
  std::thread waiter([&] { result = semaphore.WaitUntil(clock.Monotonic() + seconds(100)); });
  ASSERT_TRUE(clock.AwaitBlocked(1));
  clock.Advance(seconds(99));
  EXPECT_EQ(result, -1);
  clock.Advance(seconds(1));
  waiter.join();
  EXPECT_EQ(result, 0);

  std::thread lucky([&] { result = semaphore.WaitUntil(clock.Monotonic() + seconds(100)); });
  ASSERT_TRUE(clock.AwaitBlocked(1));
  semaphore.Post();
  lucky.join();
  EXPECT_EQ(result, 1);
}

}  // namespace
}  // namespace platform
