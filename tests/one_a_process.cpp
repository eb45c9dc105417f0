// Linked into test programs whose tests use the daemon's process-wide objects: each test needs a
// process of its own, which ctest gives it.
#include <gtest/gtest.h>

namespace {

class OneAProcess : public testing::Environment {
 public:
  void SetUp() override {
    if (testing::UnitTest::GetInstance()->test_to_run_count() <= 1) return;
    GTEST_FAIL()
        << "each of these tests needs a process of its own: run them with ctest, or one by "
           "one with --gtest_filter";
  }
};

// gtest owns it
[[maybe_unused]] testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new OneAProcess);

}  // namespace
