// The command line of mos, with no instrument in reach.
#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>

#include "tests/integration/process.h"

namespace {

using test::Result;
using test::RunProgram;
using test::TemporaryRoot;

struct Case {
  const char* name;
  std::vector<std::string> arguments;
  int status;
  std::string text;  // stands in the output
};

void PrintTo(const Case& c, std::ostream* stream) { *stream << c.name; }

class CommandLine : public testing::TestWithParam<Case> {};

TEST_P(CommandLine, EndsAsTold) {
  TemporaryRoot root;
  Result result = RunProgram("mos", GetParam().arguments, {{"Q5_ROOT", root.Path()}});
  EXPECT_EQ(result.status, GetParam().status) << result.output;
  EXPECT_NE(result.output.find(GetParam().text), std::string::npos) << result.output;
  EXPECT_TRUE(std::filesystem::is_empty(root.Path()));
}

const std::string kLastUsageLine = "         --usedsp         Use the DSP for SineCorrelation \n";

INSTANTIATE_TEST_SUITE_P(
    Mos, CommandLine,
    testing::Values(
        Case{"version", {"--version"}, 0, "mos (Measurement Daemon for Q5) 1.0\n"},
        Case{"help", {"-h"}, 0, "Usage: mos [options]\n\nOptions:\n-i ZID,  --id=ZID "},
        Case{"bogus", {"--bogus"}, 0, kLastUsageLine},
        Case{"valueMissing", {"--port"}, 0, kLastUsageLine},
        Case{"extra", {"extra"}, 255, "Non-option argument 'extra'\n"},
        Case{"extraBehindOptions", {"--foreground", "--fft", "extra"}, 255, "'extra'\n"},
        Case{"portNoNumber", {"--port", "abc"}, 255, "'abc'"},
        Case{"portHalfANumber", {"--port=3088x"}, 255, "'3088x'"},
        Case{"portEmpty", {"--port="}, 255, "''"},
        Case{"gportNoNumber", {"--gport", "abc"}, 255, "--gport"},
        Case{"idWithoutDot", {"--id", "mos"}, 255, "'mos'"},
        Case{"idWithSlash", {"--id", "../a.b"}, 255, "'../a.b'"},
        Case{"portTooLargeIsTold", {"--port", "70000", "extra"}, 255, "port 4464 is used"}),
    [](const auto& test_case) { return test_case.param.name; });

TEST(CommandLineFiles, UnwritableLogOrLockIsToldOnTheTerminal) {
  TemporaryRoot root;
  const test::Process::Environment environment{{"Q5_ROOT", root.Path()}};
  Result result = RunProgram("mos", {}, environment);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("log file"), std::string::npos) << result.output;

  std::filesystem::create_directories(root / "var/volatile");
  std::filesystem::create_directories(root /
                                      "tmp/moslock");  // a directory where the file should be
  result = RunProgram("mos", {}, environment);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("lock file"), std::string::npos) << result.output;
}

}  // namespace
