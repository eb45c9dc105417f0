// The line of the log, what is left out of it, and what does not fit.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>

#include "tests/common/log/log_bench.h"

namespace {

using namespace log_bench;
using namespace Logger;
using testing::MatchesRegex;

TEST_F(LogTest, LinesHaveTimeModuleAndLevelAndAreFiltered) {
  machine.clock.SetRealtime({86400 * 365 + 3661, 42});
  AsDaemon([&](logger_mgr&) {
    fs::resize_file(At(kLog), 0);
    logger_mgr::print(measurementL, 7, 0, "%s.%d: shown\n", "f", 1);
    logger_mgr::print(measurementL, 8, 0, "hidden\n");
    logger_mgr::print(acquisitionL, 1, 0, "hidden\n");  // has no key: level 0
    logger_mgr::print(0, 0, 0, "hidden\n");
    logger_mgr::print(maxlogL, 0, 0, "hidden\n");
    logger_mgr::print(-1, 0, 0, "hidden\n");
  });
  EXPECT_THAT(Read(kLog),
              MatchesRegex("[0-2][0-9]:[0-5][0-9]:01.000000042      meas:7 f.1: shown\n"));
}

TEST_F(LogTest, ALongLineIsCut) {
  AsDaemon([&](logger_mgr&) {
    fs::resize_file(At(kLog), 0);
    Say(std::string(5000, 'x'));
  });
  EXPECT_EQ(Read(kLog).find('\n'), 1023u);
}

TEST_F(LogTest, AFullDiskLeavesNoHalfLine) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  int failed = 0;
  AsDaemon([&](logger_mgr&) {
    fs::resize_file(At(kLog), 0);
    rlimit limit{250, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    for (int i = 0; i < 10; ++i) {
      failed += logger_mgr::print(measurementL, 5, 0, "%s\n", std::string(40, 'x').c_str()) < 0;
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    Say("room again");
  });
  EXPECT_GT(failed, 0);
  std::istringstream lines(Read(kLog));
  int whole = 0;
  for (std::string line; std::getline(lines, line); ++whole) {
    EXPECT_THAT(line, testing::AnyOf(testing::EndsWith("meas:5 " + std::string(40, 'x')),
                                     testing::EndsWith("meas:5 room again")));
  }
  EXPECT_EQ(whole, 10 - failed + 1);
}

}  // namespace
