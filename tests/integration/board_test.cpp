// The board as the real daemon brings it up, with chips that are damaged, dead, or come back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/integration/process.h"

namespace {

using test::Bench;
using testing::HasSubstr;
using testing::Not;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// The ranges that the daemon found for a channel, as its dump of them has them.
std::string Factors(const Bench& bench, int channel) {
  const std::string text = ReadFile(bench.root / "varek/config/factors.txt");
  const std::size_t start = text.find("Channel " + std::to_string(channel) + ":");
  if (start == text.npos) return "none";
  return text.substr(start, text.find("\nChannel ", start) - start);
}

std::string Get(Bench& bench, const std::string& name) {
  return bench.Control({"get", name}).output;
}

TEST(Board, ComesUpConfiguredAndIsScanned) {
  Bench bench;
  bench.StartDaemon();
  EXPECT_EQ(Get(bench, "i2c.MEAS_CH1.SC18IS602B.config"), "ok 0x81E240\n");
  EXPECT_EQ(Get(bench, "i2c.MEAS_CH2.SC18IS602B.config"), "ok 0x81E220\n");
  // the clock that the chip makes of what was written: 60 Hz * 4096 * 16 * 4; and the line to the
  // other modules is held
  EXPECT_EQ(Get(bench, "i2c.SIGNAL_HOST.SI5338.clk0"), "ok 15728640 Hz\n");
  EXPECT_EQ(Get(bench, "fpga.Q5FPGA_MISC_CTRL"), "ok 0xC002\n");
  EXPECT_THAT(Factors(bench, 0), HasSubstr(" 1     2a          7.51"));
  EXPECT_THAT(Factors(bench, 1), HasSubstr("RANGE_MODE_DCIR:\n 1     84          1.00"));
  EXPECT_THAT(bench.daemon->Output(), Not(HasSubstr("XML")));

  // the chips of the table, each read once by now or at the five-second rate
  std::string table;
  const auto all_read = [&] {
    table = test::RunProgram("q5devices", {"--root", bench.root.Path()}).output;
    for (const char* reading :
         {"1.0.2.4     TMP112      1      0x4B     5 s         no       31.0000 degC",
          "1.12.2.2    DS75S       2.3    0x4B     5 s         no       31.0000 degC"}) {
      if (table.find(reading) == table.npos) return false;
    }
    return true;
  };
  const auto patience = std::chrono::steady_clock::now() + test::kPatience;
  while (!all_read() && std::chrono::steady_clock::now() < patience) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_TRUE(all_read()) << table;

  // a daemon that dies leaves the board as it is, and the next one finds its way
  bench.daemon->Signal(SIGKILL);
  bench.StartDaemon();
  EXPECT_EQ(Get(bench, "i2c.MEAS_CH1.SC18IS602B.config"), "ok 0x81E240\n");
  EXPECT_THAT(Factors(bench, 0), HasSubstr(" 1     2a          7.51"));
}

TEST(Board, ADamagedChannelHasTheDefaultRangesAndTheOtherItsOwn) {
  Bench bench;
  bench.StartDaemon();
  const std::string good[] = {Factors(bench, 0), Factors(bench, 1)};
  const std::string chip = "i2c.MEAS_CH1.EE24LC32";
  const std::vector<std::vector<std::string>> damages = {
      {"memory", chip, "flip", "2000", "5"},
      {"memory", chip, "blank"},
      {"fault", chip, "off"},
      {"set", chip + ".fail_after", "100"},
  };
  for (const auto& damage : damages) {
    SCOPED_TRACE(testing::PrintToString(damage));
    ASSERT_EQ(bench.Control(damage).status, 0);
    bench.StartDaemon();
    EXPECT_THAT(bench.daemon->Output(), HasSubstr("XML PROCESSING ERROR"));
    EXPECT_THAT(Factors(bench, 0), HasSubstr(" 1      0          7.500000e+01"));
    EXPECT_EQ(Factors(bench, 1), good[1]);
    ASSERT_EQ(bench.Control({"memory", chip, "restore"}).status, 0);
    ASSERT_EQ(bench.Control({"fault", chip, "ok"}).status, 0);
    ASSERT_EQ(bench.Control({"set", chip + ".fail_after", "off"}).status, 0);
  }
  EXPECT_THAT(ReadFile(bench.root / "varek/diags/diag_meas.txt"),
              HasSubstr("WARNING, BAD MEAS EEPROM\n"));
  bench.StartDaemon();
  EXPECT_THAT(bench.daemon->Output(), Not(HasSubstr("XML PROCESSING ERROR")));
  EXPECT_EQ(Factors(bench, 0), good[0]);
}

TEST(Board, ADeadSensorIsReportedAndComesBack) {
  Bench bench;
  ASSERT_EQ(bench.Control({"fault", "i2c.MEAS_CH2.DS75", "off"}).status, 0);
  bench.StartDaemon();
  EXPECT_TRUE(bench.daemon->WaitForOutput("DS75 WRITE ERROR No such device or address"));
  ASSERT_EQ(bench.Control({"fault", "i2c.MEAS_CH2.DS75", "ok"}).status, 0);
  const auto patience = std::chrono::steady_clock::now() + test::kPatience;
  while (Get(bench, "i2c.MEAS_CH2.DS75.last") != "ok 31.0000 degC\n" &&
         std::chrono::steady_clock::now() < patience) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_EQ(Get(bench, "i2c.MEAS_CH2.DS75.last"), "ok 31.0000 degC\n");
}

TEST(Board, StartsWithoutAChannelBoard) {
  Bench bench;
  for (const char* chip : {"EE24LC32", "AD7998", "DAC8571", "SC18IS602B", "DS75"}) {
    ASSERT_EQ(bench.Control({"fault", std::string("i2c.MEAS_CH2.") + chip, "off"}).status, 0);
  }
  bench.StartDaemon();
  EXPECT_EQ(Get(bench, "i2c.MEAS_CH1.SC18IS602B.config"), "ok 0x81E240\n");
  EXPECT_THAT(bench.daemon->Output(), HasSubstr("GetCPLDID(ACQ_CH2) returned invalid ID:0x0000"));
  EXPECT_EQ(bench.Host({"versions"}).status, 0);
}

}  // namespace
