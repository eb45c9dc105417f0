// The program q5sim as a person or a script runs it.
#include <gmock/gmock.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "platform/fpga_driver.h"
#include "platform/virtual.h"
#include "tests/integration/process.h"

namespace test {
namespace {

using testing::HasSubstr;

TEST(Q5sim, LeavesNoSocketBehind) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Bench bench;
    EXPECT_TRUE(std::filesystem::exists(bench.root / "q5sim.sock"));
    bench.simulator->Signal(signal);
    EXPECT_EQ(bench.simulator->Wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(bench.root / "q5sim.sock"));
    EXPECT_FALSE(std::filesystem::exists(bench.root / "q5sim.ctl"));
  }
}

TEST(Q5sim, ReportsInOneLineWhyItCannotRun) {
  Bench bench;
  const std::string bad_config = bench.root / "bad.json";
  std::ofstream(bad_config) << "{\"seed\": \"x\"}";
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* line;
  } cases[] = {
      {{"--root", bench.root.Path()}, 1, "already served by the q5sim with process id"},
      {{"--root", bench.root / "b", "--config", bad_config}, 2, "\"seed\" must be"},
      {{"eeprom", "unpack", bad_config, bench.root / "x"}, 1, "bad.json: magic"},
      {{"ctl", "--root", bench.root / "none", "list"}, 1, "no q5sim answers"},
      {{"ctl", "--root", bench.root.Path(), "fault", "ethb", "garbage"}, 1, "error unsupported"},
      {{}, 2, "--root is required"},
  };
  for (const auto& c : cases) {
    const Result result = RunProgram("q5sim", c.arguments);
    EXPECT_EQ(result.status, c.status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(c.line));
  }
}

TEST(Q5sim, TwoInstrumentsRunSideBySide) {
  Bench first;
  Bench second;
  EXPECT_NE(first.AddressOf("meas"), second.AddressOf("meas"));
}

}  // namespace
}  // namespace test
