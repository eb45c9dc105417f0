// A device that does not come back, under a test at high voltage: the host is answered all the
// same, the watchdog acts, and the next test is right. What each case took is printed.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/integration/process.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Held {
  const char* unit;  ///< null: q5sim as a whole stands
  const char* fault;
};

void PrintTo(const Held& held, std::ostream* stream) {
  *stream << (held.unit == nullptr ? "q5sim" : held.unit) << " " << held.fault;
}

class Containment : public testing::TestWithParam<Held> {
 protected:
  Containment() { bench_.StartDaemon(); }

  void Hold() {
    if (GetParam().unit == nullptr) return bench_.simulator->Signal(SIGSTOP);
    std::vector<std::string> words{"fault", GetParam().unit, GetParam().fault};
    ASSERT_EQ(bench_.Control(words).status, 0);
  }
  void Lift() {
    if (GetParam().unit == nullptr) return bench_.simulator->Signal(SIGCONT);
    ASSERT_EQ(bench_.Control({"fault", GetParam().unit, "ok"}).status, 0);
  }
  void Measure() {
    host_.emplace("q5host",
                  std::vector<std::string>{"--root", bench_.root.Path(), "--json", "measure",
                                           "--voltage", "5000", "--polls", "30000"});
    ASSERT_TRUE(bench_.daemon->Running());
    for (int i = 0; i < 200; ++i) {
      if (Ask({"progress"}).output.find("valid data") != std::string::npos) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    FAIL() << host_->Output() << bench_.daemon->Output();
  }
  /// Over the bus, which needs nobody else.
  test::Result Ask(std::vector<std::string> words) {
    words.insert(words.begin(), {"--via", "bus"});
    const auto begin = Clock::now();
    const test::Result result = bench_.Host(words);
    longest_ = std::max(longest_, Seconds(Clock::now() - begin));
    return result;
  }
  /// The first try may still be refused, in words, for what the fault has left.
  void ExpectTheNextTestIsRight() {
    for (int i = 0; i < 3; ++i) {
      const test::Result result = bench_.Host({"--json", "measure", "--voltage", "1000"});
      if (result.status != 0) continue;
      const auto printed = nlohmann::json::parse(result.output);
      EXPECT_NEAR(printed["measurements"][0]["voltage_kv"].get<double>(), 1, 5e-4);
      return;
    }
    FAIL() << bench_.daemon->Output();
  }

  test::Bench bench_;
  std::optional<test::Process> host_;
  Seconds longest_{0};  ///< of an answer
};

TEST_P(Containment, TheHostIsAnsweredAndADeadOneIsDetected) {
  Measure();
  longest_ = Seconds(0);
  Hold();
  EXPECT_EQ(Ask({"progress"}).status, 0);
  host_->Signal(SIGKILL);
  const auto silent = Clock::now();
  // says that a recovery has begun, with a device that does not answer
  EXPECT_TRUE(bench_.daemon->WaitForOutput("Do mos recovery")) << bench_.daemon->Output();
  const Seconds watchdog(Clock::now() - silent);
  EXPECT_EQ(Ask({"progress"}).status, 0);
  Ask({"stop"});  // answered, whatever it says
  const test::Result refused = bench_.Host({"--via", "bus", "measure", "--voltage", "5000"});
  EXPECT_NE(refused.status, 0) << refused.output;
  EXPECT_EQ(refused.output.find("no answer"), std::string::npos) << refused.output;
  EXPECT_LT(longest_, Seconds(9));
  Lift();
  ExpectTheNextTestIsRight();
  std::printf("%s %s: answered within %.1f s, recovery began %.1f s after the host's end\n",
              GetParam().unit == nullptr ? "q5sim" : GetParam().unit, GetParam().fault,
              longest_.count(), watchdog.count());
}

INSTANTIATE_TEST_SUITE_P(Tests, Containment,
                         testing::Values(Held{"fpga", "hang"},
                                         Held{"i2c.SIGNAL_HOST.SI5338", "hang"},
                                         Held{"i2c.SIGNAL_HOST.PCA9544A", "hang"},
                                         Held{"i2c.MEAS_CH1.SC18IS602B", "hang"},
                                         Held{nullptr, "stopped"}));

}  // namespace
