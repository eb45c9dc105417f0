// What the daemon says when the stream of samples breaks under a test, through the real programs.
#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "tests/integration/process.h"

namespace {

using test::Milliseconds;

constexpr double kPicofarads = 1000;

class Stream : public testing::Test {
 protected:
  Stream() {
    bench_.StartDaemon();
    Set("dut.circuit", "parallel R=1e9 C=1e-9");
  }
  void Set(const std::string& name, const std::string& value) {
    ASSERT_EQ(bench_.Control({"set", name, value}).status, 0);
  }
  /// A test that reads its results for much longer than anything here takes.
  std::vector<std::string> LongTest() const {
    std::vector<std::string> words{"--root", bench_.root.Path()};
    for (const char* word :
         {"--via", "host", "measure", "--lv", "--voltage", "100", "--range-current", "6",
          "--settle", "0.1", "--patience", "5", "--polls", "1000"}) {
      words.emplace_back(word);
    }
    return words;
  }
  bool AwaitProgress(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + test::kPatience;
    while (std::chrono::steady_clock::now() < end) {
      if (bench_.Host({"progress"}).output.find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(Milliseconds(50));
    }
    return false;
  }
  /// At first try.
  void ExpectRightMeasurement() {
    const test::Result result = bench_.Host(
        {"--via", "host", "--json", "measure", "--lv", "--voltage", "100", "--range-current", "6"});
    ASSERT_EQ(result.status, 0) << result.output << bench_.daemon->Output();
    const auto printed = nlohmann::json::parse(result.output);
    EXPECT_NEAR(printed["measurements"][0]["parallel_capacitance_pf"].get<double>(), kPicofarads,
                kPicofarads * 5e-4);
  }

  test::Bench bench_;
};

TEST_F(Stream, StopsInATest) {
  test::Process host("q5host", LongTest());
  ASSERT_TRUE(AwaitProgress("valid data")) << host.Output();
  ASSERT_EQ(bench_.Control({"fault", "samples", "stuck"}).status, 0);
  EXPECT_EQ(host.Wait(), 1) << host.Output();
  EXPECT_NE(host.Output().find("NAK_MCODE_MOS_ACQSTOP"), std::string::npos) << host.Output();
  ASSERT_EQ(bench_.Control({"fault", "samples", "ok"}).status, 0);
  ExpectRightMeasurement();
}

// What spoils the stream under a test has gone with the next one.
TEST_F(Stream, IsReadCorrectlyAfterEachDisturbance) {
  const std::vector<std::string> commands[] = {
      {"set", "samples.corrupt", "over-range 2 end 1"},
      {"set", "samples.corrupt", "busy both 100 300"},
      {"set", "samples.corrupt", "sync 1 1000 1"},
      {"set", "samples.corrupt", "sequence 2 0 1024 2"},
      {"set", "samples.jump", "40"},
      {"set", "samples.jump", "-6"},
      {"fault", "samples", "garbage"},
      {"fault", "samples", "delayed", "50"},
      {"set", "samples.corrupt", "fault 1 17 5 3"},
  };
  test::Process host("q5host", LongTest());
  ASSERT_TRUE(AwaitProgress("valid data")) << host.Output();
  for (const auto& command : commands) {
    ASSERT_EQ(bench_.Control(command).status, 0) << command.back();
    std::this_thread::sleep_for(Milliseconds(300));
    if (command[0] == "fault") bench_.Control({"fault", "samples", "ok"});
  }
  host.Signal(SIGINT);
  ASSERT_TRUE(host.Wait()) << host.Output();
  ExpectRightMeasurement();
}

TEST_F(Stream, TheInstrumentRestartsInATest) {
  test::Process host("q5host", LongTest());
  ASSERT_TRUE(AwaitProgress("valid data")) << host.Output();
  bench_.simulator->Signal(SIGKILL);
  ASSERT_TRUE(bench_.simulator->Wait());
  bench_.StartSimulator();
  Set("dut.circuit", "parallel R=1e9 C=1e-9");
  // by then the daemon has seen what the restart did
  for (const char* text : {"sampling was started again", "Mos Allok recovery done"}) {
    ASSERT_TRUE(bench_.daemon->WaitForOutput(text)) << bench_.daemon->Output();
  }
  const auto status = host.Wait();
  ASSERT_TRUE(status) << host.Output();
  EXPECT_NE(*status, 0) << host.Output();
  ExpectRightMeasurement();
  EXPECT_TRUE(bench_.daemon->Running());
}

}  // namespace
