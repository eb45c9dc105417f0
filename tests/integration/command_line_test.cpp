// The command line of mos, with no instrument in reach.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <ostream>

#include "tests/integration/process.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

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

TEST_P(CommandLine, EndsWithStatusAndText) {
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
        Case{"extra", {"extra"}, 255, "Non-option argument 'extra'\n"},
        Case{"portNoNumber", {"--port", "abc"}, 255, "'abc'"},
        Case{"idWithoutDot", {"--id", "mos"}, 255, "'mos'"},
        Case{"portTooLargeIsTold", {"--port", "70000", "extra"}, 255, "port 4464 is used"}),
    [](const auto& test_case) { return test_case.param.name; });

TEST(CommandLineFiles, UnwritableLogOrLockIsReportedOnTheTerminal) {
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

struct Shortage {
  const char* name;
  int resource;
  rlim_t limit;
  const char* text;
};

void PrintTo(const Shortage& shortage, std::ostream* stream) { *stream << shortage.name; }

class Resources : public testing::TestWithParam<Shortage> {};

// The limit is the test's own, too, which is why each case is a process.
TEST_P(Resources, ThatAreTooFewEndTheStartWithAMessage) {
  const auto& [name, resource, limit, text] = GetParam();
  if (resource == RLIMIT_AS && kSanitized) GTEST_SKIP() << "a sanitizer wants all addresses";
  TemporaryRoot root;
  const rlimit both{limit, limit};
  ASSERT_EQ(::setrlimit(static_cast<__rlimit_resource>(resource), &both), 0);
  const Result result = RunProgram("mos", {}, {{"Q5_ROOT", root.Path()}});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find(text), std::string::npos) << result.output;
  EXPECT_TRUE(std::filesystem::is_empty(root.Path()));
}

INSTANTIATE_TEST_SUITE_P(
    Mos, Resources,
    testing::Values(Shortage{"files", RLIMIT_NOFILE, 40, "mos: 40 open files are too few"},
                    Shortage{"threads", RLIMIT_AS, rlim_t{200} << 20, "threads are too few"}),
    [](const auto& shortage) { return shortage.param.name; });

}  // namespace
