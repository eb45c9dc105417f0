// Configuration, log, files and signals of the real daemon.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "common/dev/fpga/fpga_registers.h"
#include "tests/integration/process.h"

namespace {

using test::Bench;
using test::Result;

void Write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

TEST(Supervision, StartsWithoutAGoodConfigurationAndReportsIt) {
  Bench bench;
  const std::string config = bench.root / "varek/config/varekconfig.cfg";
  const struct {
    const char* what;
    std::string text;
    const char* words;
  } cases[] = {
      {"malformed", "VarekConfig : { x = ", "Parse Exception file "},
      {"wrong types", "VarekConfig : { vlfthreshold = \"x\"; progresstimeout = 1.5; };", "pid "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Write(config, c.text);
    bench.StartDaemon();
    EXPECT_NE(bench.daemon->Output().find(c.words), std::string::npos) << bench.daemon->Output();
  }
  std::filesystem::remove(config);
  bench.StartDaemon();
  EXPECT_NE(bench.daemon->Output().find("File I/O error while reading "), std::string::npos);
  // and without the log's configuration, too
  std::filesystem::remove(bench.root / "varek/config/q5logging.cfg");
  bench.StartDaemon();
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
}

TEST(Supervision, ADaemonsLogIsReadableAndModulesAreMounted) {
  Bench bench;
  ASSERT_EQ(test::RunProgram("mos", {}, bench.environment()).status, 0);
  ASSERT_EQ(bench.Host({"--timeout", "10000", "progress"}).status, 0);
  Result tail = bench.Control({"log", "tail", "1000"});
  EXPECT_EQ(tail.status, 0);
  EXPECT_NE(tail.output.find("Logging starts "), std::string::npos) << tail.output;
  // the daemon mounts the other modules from its sixth try on, one every two seconds
  std::string mounts;
  for (int i = 0; i < 200 && mounts.find("/mnt/src") == std::string::npos; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    mounts = bench.Control({"get", "mounts"}).output;
  }
  EXPECT_NE(mounts.find("//192.168.42.51/Root /mnt/main"), std::string::npos) << mounts;
  EXPECT_NE(mounts.find("//192.168.42.53/Root /mnt/src"), std::string::npos) << mounts;
}

TEST(Supervision, ASecondDaemonDoesNotRaiseALineThatTheFirstHoldsDown) {
  Bench bench;
  const auto line = [&] { return bench.Control({"get", "allok.meas"}).output; };
  bench.StartDaemon({"--nomonitor"});
  EXPECT_EQ(line(), "ok 1\n");
  const std::string misc = "fpga.Q5FPGA_MISC_CTRL";
  const auto word = std::stoul(bench.Control({"get", misc}).output.substr(3), nullptr, 16);
  const std::string held = std::to_string(word & ~std::size_t{Dev::kAllokOut});
  ASSERT_EQ(bench.Control({"set", misc, held}).status, 0);
  EXPECT_EQ(line(), "ok 0\n");
  EXPECT_EQ(test::RunProgram("mos", {"--foreground"}, bench.environment()).status, 1);
  EXPECT_EQ(line(), "ok 0\n");
}

TEST(Supervision, ASignalThatEndsTheDaemonDropsTheLine) {
  Bench bench;
  const struct {
    int signal;
    int times;  // the last one ends it
  } cases[] = {{SIGTERM, 2}, {SIGSEGV, 1}, {SIGRTMIN, 1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.signal);
    bench.StartDaemon();
    EXPECT_EQ(bench.Control({"get", "allok.meas"}).output, "ok 1\n");
    for (int i = 0; i < c.times; ++i) {
      EXPECT_TRUE(bench.daemon->Running());
      bench.daemon->Signal(c.signal);
      if (i + 1 == c.times) break;
      EXPECT_EQ(bench.Host({"progress"}).status, 0);
    }
    EXPECT_EQ(bench.daemon->Wait(), 128 + c.signal);
    EXPECT_EQ(bench.Control({"get", "allok.meas"}).output, "ok 0\n");
  }
}

// In the background the reader of a pipe may go once.
TEST(Supervision, ASecondSigpipeEndsABackgroundDaemonWithTheLineDown) {
  Bench bench;
  ASSERT_EQ(test::RunProgram("mos", {}, bench.environment()).status, 0);
  ASSERT_EQ(bench.Host({"--timeout", "10000", "progress"}).status, 0);
  pid_t pid = 0;
  std::ifstream(bench.root / "tmp/moslock") >> pid;
  ASSERT_GT(pid, 1);
  ::kill(pid, SIGPIPE);
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
  EXPECT_EQ(bench.Control({"get", "allok.meas"}).output, "ok 1\n");
  ::kill(pid, SIGPIPE);
  for (int i = 0; i < 200 && bench.Control({"get", "allok.meas"}).output != "ok 0\n"; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(bench.Control({"get", "allok.meas"}).output, "ok 0\n");
}

// Each file that the daemon writes while it starts, with a link to somebody else's file in its
// place.
TEST(Supervision, NoFileIsWrittenThroughALink) {
  Bench bench;
  const std::string victim = bench.root / "victim";
  const auto plant = [&](const char* path) {
    Write(victim, "whole");
    std::filesystem::remove(bench.root / path);
    std::filesystem::create_symlink(victim, bench.root / path);
  };
  const auto is_whole = [&] {
    std::ifstream file(victim);
    return std::string(std::istreambuf_iterator<char>(file), {}) == "whole";
  };
  // without these it does not start
  for (const char* path : {"tmp/moslock", "var/volatile/moslog"}) {
    plant(path);
    const Result result = test::RunProgram("mos", {}, bench.environment());
    EXPECT_EQ(result.status, 1) << path;
    EXPECT_NE(result.output.find(std::string(path) + " is a symbolic link"), std::string::npos)
        << result.output;
    EXPECT_TRUE(is_whole()) << path;
    std::filesystem::remove(bench.root / path);
  }
  constexpr const char* kOthers[] = {"tmp/buildinfo", "waveform.bin", "snapshot.cmd",
                                     "var/volatile/cap1_p1.txt", "varek/config/factors.txt"};
  for (const char* path : kOthers) plant(path);
  bench.StartDaemon();
  for (const char* path : kOthers) {
    EXPECT_NE(bench.daemon->Output().find(std::string(path) + " is a symbolic link"),
              std::string::npos)
        << path;
  }
  EXPECT_TRUE(is_whole());
}

}  // namespace
