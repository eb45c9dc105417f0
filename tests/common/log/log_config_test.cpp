// The configuration of the log: keys, bad files, and when it is read again.
#include "common/log/log_config.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/common/log/log_bench.h"

namespace {

using namespace log_bench;
using namespace Logger;
using testing::HasSubstr;

// A level far above what is asked shows as the highest level that passes.
int LevelOf(int module) {
  int level = -1;
  while (level < 200 && logger_mgr::LogSamples(module, level + 1)) ++level;
  return level;
}

TEST(LogConfig, BadTextsAreRefusedAndBadValuesCountAsMissing) {
  const std::string nested = std::string(200000, '(');
  const struct {
    std::string text;
    bool read;
    int rotate_size;
    int events;
  } cases[] = {
      {"", true, 5120, 2},
      {"Q5Logging: { rotateSize = 7; mos: { eventlog = 3; }; };", true, 7, 3},
      {"Q5Logging: { rotateSize = \"7\"; mos: { eventlog = 3.5; }; };", true, 5120, 2},
      {"Q5Logging: { rotateSize = 0; mos: { eventlog = { a = 1; }; }; };", true, 5120, 2},
      {"Q5Logging: { rotateSize = 7; mos: { eventlog = 3", false, 0, 0},
      {std::string("Q5Logging: {};\0 rubbish", 23), false, 0, 0},
      {"@include \"nowhere.cfg\"\n", false, 0, 0},
      {nested, false, 0, 0},
      {"Q5Logging: { rotateSize = 7; x = \"" + std::string(900000, 'x') + "\"; };", true, 7, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 60));
    LogConfigError error;
    const auto settings = ParseLogConfig(c.text, "/nonexistent", kMeasOwner, error);
    ASSERT_EQ(settings.has_value(), c.read) << error.text;
    if (!settings) {
      EXPECT_FALSE(error.text.empty());
      continue;
    }
    EXPECT_EQ(settings->rotateSize, c.rotate_size);
    EXPECT_EQ(settings->levels[eventlogL], c.events);
  }
}

TEST_F(LogTest, AConfigurationIsReadAgainWhenItIsNewer) {
  std::vector<int> levels;
  const auto level = [](int value) {
    return "Q5Logging: { tosmgr = 7; mosmgr = " + std::to_string(value) + "; };";
  };
  WriteConfig(level(7));
  AsDaemon([&](logger_mgr& logger) {
    const auto tick = [&] {
      logger.CheckUpdate();
      levels.push_back(LevelOf(measurementL));
    };
    tick();  // as Init read it: 7
    WriteConfig(level(3));
    tick();  // 3
    Write(kConfig, level(4));
    SetAge(500);
    tick();  // put back from long ago: not read
    SetAge(501);
    tick();  // but its next change is: 4
    WriteConfig("Q5Logging: { mosmgr = ");
    tick();  // truncated: stays
    WriteConfig("Q5Logging: { mosmgr = \"six\"; };");
    tick();  // wrong type: stays
    WriteConfig("# " + std::string(10 << 20, 'x') + "\n" + level(6));
    tick();  // beyond any sense: stays
    fs::remove(At(kConfig));
    tick();
    WriteConfig(level(6));
    tick();
  });
  EXPECT_THAT(levels, testing::ElementsAre(7, 3, 3, 4, 4, 4, 4, 4, 6));
}

TEST_F(LogTest, WithoutAConfigurationNothingIsLoggedUntilThereIsOne) {
  fs::remove(At(kConfig));
  ASSERT_EQ(::mkfifo(At(kConfig).c_str(), 0600), 0);  // must not hold up the start either
  Write("/var/volatile/getLognak", "1 2 3\n");
  int before = 0, after = 0;
  AsDaemon([&](logger_mgr& logger) {
    fs::remove(At(kConfig));
    Say("hidden");
    before = LevelOf(measurementL);
    WriteConfig("Q5Logging: { mosmgr = 5; };");
    logger.CheckUpdate();
    after = LevelOf(measurementL);
  });
  EXPECT_EQ(before, 0);
  EXPECT_EQ(after, 5);
  EXPECT_THAT(Read(kLog), HasSubstr("File I/O error while reading\n"));
  EXPECT_THAT(Read(kLog), testing::Not(HasSubstr("hidden")));
  EXPECT_FALSE(Exists("/var/volatile/getLognak"));

  fs::remove(At(kConfig));
  EXPECT_EQ(logger_mgr::GetLogger()->Init(kConfig, 1, 0, kLog, 1), -1);
}

}  // namespace
