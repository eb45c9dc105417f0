// For tests of objects that live as long as the process, which a second test would find used.
#pragma once

#include <gtest/gtest.h>

#include <utility>

namespace platform {

/// The base of such a fixture: runs the first test of a process and skips the others with a reason.
class OnePerProcess : public testing::Test {
 protected:
  void SetUp() override {
    static bool used = false;
    if (std::exchange(used, true)) {
      GTEST_SKIP() << "one test a process, as ctest runs them: the daemon's devices live as long";
    }
  }
};

}  // namespace platform
