#include "platform/timed_calls.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <latch>
#include <memory>

namespace platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(TimedCalls, ALateCallDelaysNeitherItsCallerNorOthers) {
  TimedCalls calls(2);
  const auto lifted = std::make_shared<std::latch>(1);
  const auto ended = std::make_shared<std::latch>(2);
  const auto hang = [lifted, ended] {
    lifted->wait();
    ended->count_down();
    return 5;
  };
  EXPECT_EQ(calls.Run(seconds(20), [] { return 7; }), 7);
  EXPECT_EQ(calls.Run(milliseconds(20), hang), -ETIMEDOUT);
  EXPECT_EQ(calls.Run(seconds(20), [] { return -ENXIO; }), -ENXIO);  // on the other thread
  EXPECT_EQ(calls.Run(milliseconds(200), hang), -ETIMEDOUT);
  EXPECT_EQ(calls.Run(seconds(20), [] { return 7; }), -EBUSY);
  lifted->count_down();
  ended->wait();
  int result = -EBUSY;
  while (result == -EBUSY) result = calls.Run(seconds(20), [] { return 7; });
  EXPECT_EQ(result, 7);
}

TEST(TimedCalls, ABudgetLimitsAllCallsOfItsThread) {
  TimedCalls calls(1);
  const auto made = std::make_shared<std::atomic<int>>(0);
  {
    const TimeBudget budget(milliseconds(50));
    while (calls.Run(seconds(20), [made] { return ++*made; }) > 0) {
    }
    EXPECT_EQ(calls.Run(seconds(20), [] { return 7; }), -ETIMEDOUT);
  }
  EXPECT_GT(*made, 0);
  EXPECT_EQ(calls.Run(seconds(20), [] { return 7; }), 7);
}

}  // namespace
}  // namespace platform
