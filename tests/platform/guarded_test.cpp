// What threads throw.
#include "platform/guarded.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <stdexcept>
#include <thread>

#include "tests/platform/bare_machine.h"

namespace {

TEST(Guarded, ALoopThatThrowsRunsAgainAfterASecond) {
  platform::MachineInPlace<> machine;
  machine.clock.SetAutoAdvance(true);
  const auto start = machine.clock.Monotonic();
  int entered = 0;
  testing::internal::CaptureStderr();
  platform::GuardedLoop("loop", [&] {
    if (++entered == 1) throw std::bad_alloc();
    if (entered == 2) throw 7;
  });
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "loop failed: std::bad_alloc\nloop failed: an unknown exception\n");
  EXPECT_EQ(entered, 3);
  EXPECT_EQ(machine.clock.Monotonic() - start, std::chrono::seconds(2));
}

TEST(Guarded, AnUncaughtExceptionEndsTheProcessWithAMessage) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto die = [] {
    platform::EndOnUncaught([] { std::fputs("farewell, ", stderr); });
    std::thread([] { throw std::runtime_error("no memory"); }).join();
  };
  EXPECT_EXIT(die(), testing::ExitedWithCode(1), "farewell, .*ends now, failed: no memory");
}

}  // namespace
