// q5host beside itself: who looks on, who stops, who comes second, who dies.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>

#include "tests/integration/process.h"

namespace {

using test::Bench;
using test::Process;

class HostPrograms : public testing::Test {
 protected:
  HostPrograms() {
    bench_.StartDaemon();
    bench_.Control({"set", "dut.circuit", "parallel R=2.1653e9 C=350e-12"});
  }

  // A measurement that goes on for minutes, once its results are valid.
  std::unique_ptr<Process> Measuring(Process& watch) {
    auto measuring =
        Start({"measure", "--voltage", "10000", "--range-current", "5", "--polls", "1000"});
    EXPECT_TRUE(watch.WaitForOutput("9.99999")) << watch.Output();
    EXPECT_FALSE(IsSourceOff());
    return measuring;
  }
  std::unique_ptr<Process> Start(std::vector<std::string> words) {
    words.insert(words.begin(), {"--root", bench_.root.Path()});
    return std::make_unique<Process>("q5host", words);
  }
  bool IsSourceOff() { return bench_.Control({"get", "source.on"}).output.find("ok 0") == 0; }
  bool SourceGoesOff() {
    const auto end = std::chrono::steady_clock::now() + test::kPatience;
    while (!IsSourceOff()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
  }

  Bench bench_;
};

TEST_F(HostPrograms, AViewerDoesNotKeepADeadHostsTestAlive) {
  const auto watch = Start({"watch"});
  const auto other = Start({"watch", "--json", "--interval", "0.05"});
  const auto measuring = Measuring(*watch);
  measuring->Signal(SIGKILL);
  EXPECT_TRUE(watch->WaitForOutput("STALE: the host that measured has gone")) << watch->Output();
  EXPECT_TRUE(other->WaitForOutput("\"stale\":true"));
  EXPECT_TRUE(SourceGoesOff());
}

TEST_F(HostPrograms, StopEndsTheTestOfAnotherTerminal) {
  const auto watch = Start({"watch"});
  const auto measuring = Measuring(*watch);
  EXPECT_EQ(bench_.Host({"--via", "host", "progress"}).status, 8);  // a second host
  const auto stop = bench_.Host({"stop"});
  EXPECT_EQ(stop.status, 0) << stop.output;
  EXPECT_EQ(measuring->Wait(), 130) << measuring->Output();
  EXPECT_TRUE(IsSourceOff());
  EXPECT_EQ(bench_.Host({"stop"}).status, 0);  // what does not run can be stopped, too
}

TEST_F(HostPrograms, WithoutASourceThereIsNoResult) {
  const auto run = bench_.Host({"--via", "bus", "measure", "--voltage", "10000", "--csv"});
  EXPECT_EQ(run.status, 7) << run.output;
  EXPECT_EQ(run.output.find("0x0000"), std::string::npos) << run.output;
}

}  // namespace
