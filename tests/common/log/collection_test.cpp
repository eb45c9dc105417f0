// What the tick of the log serves besides the configuration: rotations asked for, and the main
// module's collection of logs.
#include "common/log/log_collection.h"

#include <gmock/gmock.h>

#include "tests/common/log/log_bench.h"

namespace {

using namespace log_bench;
using namespace Logger;
using testing::ElementsAre;

int sent = 0;
void Send() { ++sent; }

TEST_F(LogTest, ACollectionWaitsForTheLogsAndRunsTheScriptsOutput) {
  const struct {
    const char* mode;
    bool others_rotate;
    std::vector<std::string> commands;
    int seconds;
  } cases[] = {
      {"1\n",
       true,
       {"killall -SIGUSR1 ethb", "/srv/www/cgi-bin/getlogn.sh 1 > /home/root/getlogcmd", "tar one",
        "tar two"},
       5},
      {"",
       false,
       {"killall -SIGUSR1 ethb", "/srv/www/cgi-bin/getlogn.sh 0 > /home/root/getlogcmd", "tar one",
        "tar two"},
       120},
      {"; reboot\n", true, {}, 0},
  };
  machine.clock.SetAutoAdvance(true);
  fs::create_directories(At("/mnt/meas/media/mmcblk0p2/logs"));
  const std::string rings[] = {kRing + std::string("toslog.txt"),
                               kRing + std::string("ethblog.txt"),
                               "/mnt/meas" + std::string(kRing) + "moslog.txt",
                               "/mnt/src" + std::string(kRing) + "soslog.txt"};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    sent = 0;
    machine.instrument.commands.clear();
    machine.instrument.answer = [&](const std::string& command) {
      if (command.starts_with("killall") && c.others_rotate) {
        for (const auto& ring : rings) Write(ring, "1 3\n");
      }
      if (command.starts_with("/srv")) Write(kCollectCommands, "tar one\n\ntar two\n");
      return 0;
    };
    platform::Nanoseconds took{};
    AsDaemon(
        [&](logger_mgr& logger) {
          for (const auto& ring : rings) Write(ring, "1 2\n");
          Write(kCollectRequest, c.mode);
          logger.SetForceRotate(Send);
          const auto start = machine.clock.Monotonic();
          logger.CheckUpdate();
          took = machine.clock.Monotonic() - start;
          logger.SetForceRotate(nullptr);
          Queue::RunAll();
        },
        kMainOwner, "/var/volatile/toslog");
    EXPECT_EQ(machine.instrument.commands, c.commands);
    EXPECT_EQ(sent, c.commands.empty() ? 0 : 1);
    EXPECT_LE(took, std::chrono::seconds(c.seconds));
    EXPECT_FALSE(Exists(kCollectRequest));
  }
}

TEST_F(LogTest, ATestRequestOnlyRotatesAndTheStartDropsAnOldRequest) {
  bool kept = true;
  sent = 0;
  Write(kCollectRequest, "1\n");
  AsDaemon(
      [&](logger_mgr& logger) {
        kept = Exists(kCollectRequest);
        Write(kRotateRequest, "");
        Queue::asked = 0;
        logger.SetForceRotate(Send);
        logger.CheckUpdate();
        logger.CheckUpdate();
        logger.SetForceRotate(nullptr);
        Queue::RunAll();
      },
      kMainOwner, "/var/volatile/toslog");
  EXPECT_FALSE(kept);
  EXPECT_EQ(sent, 1);
  EXPECT_EQ(Queue::asked, 1);
  EXPECT_THAT(machine.instrument.commands, ElementsAre("killall -SIGUSR1 ethb"));
  EXPECT_FALSE(Exists(kRotateRequest));
}

}  // namespace
