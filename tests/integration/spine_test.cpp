// The way of a host record through the real programs.
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/integration/process.h"

namespace {

using test::Bench;
using test::Result;

TEST(Spine, HostIsAnsweredOnBothRoutes) {
  Bench bench;
  bench.StartDaemon();
  for (const char* route : {"bus", "host"}) {
    SCOPED_TRACE(route);
    Result versions = bench.Host({"--json", "--via", route, "versions"});
    ASSERT_EQ(versions.status, 0) << versions.output;
    std::ifstream file(bench.root / "etc/varek-fw-version");
    std::string line;
    std::getline(file, line);
    auto answer = nlohmann::json::parse(versions.output);
    EXPECT_EQ("varek_fw_version=" + answer.at("meas_version").get<std::string>(), line);
    EXPECT_EQ(bench.Host({"--via", route, "progress"}).status, 0);
    // an opcode without a handler: a NAK, which the host's exit status tells
    EXPECT_EQ(bench.Host({"--via", route, "send", "00 00 2A 00 00 00"}).status, 1);
  }
}

TEST(Spine, DaemonLeavesItsFilesAndItsLock) {
  Bench bench;
  ASSERT_EQ(test::RunProgram("mos", {}, bench.environment()).status, 0);
  ASSERT_EQ(bench.Host({"--timeout", "10000", "progress"}).status, 0);

  std::ifstream lock(bench.root / "tmp/moslock");
  pid_t pid = 0;
  ASSERT_TRUE(lock >> pid);
  ASSERT_EQ(::kill(pid, 0), 0);
  EXPECT_NE(bench.Control({"get", "fpga.pid"}).output.find(std::to_string(pid)), std::string::npos);
  std::ifstream info(bench.root / "tmp/buildinfo");
  std::string revision;
  EXPECT_TRUE(info >> revision);

  // a second one says so at once, and leaves the first and its log alone
  const auto log = [&] {
    std::ifstream file(bench.root / "var/volatile/moslog");
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  const std::string before = log();
  const test::Result second = test::RunProgram("mos", {}, bench.environment());
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.output.find("Unable to lock"), std::string::npos) << second.output;
  EXPECT_NE(before, "");
  EXPECT_EQ(log().substr(0, before.size()), before);
  EXPECT_EQ(::kill(pid, 0), 0);
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
  ::kill(pid, SIGKILL);
}

TEST(Spine, InTheForegroundALostReaderEndsNothing) {
  Bench bench;
  bench.StartDaemon();
  for (int i = 0; i < 3; ++i) {
    bench.daemon->Signal(SIGPIPE);
    EXPECT_EQ(bench.Host({"progress"}).status, 0);
  }
  EXPECT_TRUE(bench.daemon->Running());
}

TEST(Spine, SecondForegroundDaemonIsRefused) {
  Bench bench;
  bench.StartDaemon();
  Result second = test::RunProgram("mos", {"--foreground"}, bench.environment());
  EXPECT_EQ(second.status, 1);
  EXPECT_NE(second.output.find("cannot bind"), std::string::npos) << second.output;
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
}

TEST(Spine, ContinuesWhileTheInstrumentIsMissing) {
  Bench bench;
  bench.StartDaemon();
  bench.simulator->Signal(SIGKILL);
  bench.simulator->Wait();
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
  // the clock cannot be set now, which does not hold the daemon up
  EXPECT_EQ(bench.Host({"--via", "bus", "send", "00 00 35 00 04 00 00 00 00 60"}).status, 0);
  bench.StartSimulator();
  EXPECT_EQ(bench.Host({"--via", "bus", "send", "00 00 35 00 04 00 00 00 00 60"}).status, 0);
  EXPECT_EQ(bench.Host({"progress"}).status, 0);
  EXPECT_TRUE(bench.daemon->Running());
}

TEST(Spine, WithoutAnInstrumentTheReasonIsReported) {
  test::TemporaryRoot root;
  const test::Process::Environment environment{{"Q5_ROOT", root.Path()}};
  Result result = test::RunProgram("mos", {"--foreground"}, environment);
  EXPECT_EQ(result.status, 255);
  EXPECT_NE(result.output.find("q5fpga0"), std::string::npos) << result.output;

  result = test::RunProgram("mos", {"--foreground"}, {{"Q5_ROOT", root / "missing"}});
  EXPECT_NE(result.status, 0);
  EXPECT_NE(result.output.find("Q5_ROOT"), std::string::npos) << result.output;
}

TEST(Spine, WrongBoardIsRefusedUnlessDiscarded) {
  Bench bench;
  ASSERT_EQ(bench.Control({"fault", "fpga", "wrong"}).status, 0);
  Result result = test::RunProgram("mos", {"--foreground"}, bench.environment());
  EXPECT_EQ(result.status, 255);
  EXPECT_NE(result.output.find("invalid board"), std::string::npos) << result.output;
  bench.StartDaemon({"--discard"});
  bench.daemon.reset();
  ASSERT_EQ(bench.Control({"fault", "fpga", "ok"}).status, 0);
  bench.StartDaemon();
}

}  // namespace
