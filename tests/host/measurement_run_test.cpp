// Tests against a peer that plays the daemon: what is asked, in which order, and what is made of
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <numbers>

#include "tests/host/measuring_daemon.h"

namespace {

using host::ExitStatus;
using test::Bytes;
using test::MeasuringDaemon;
using test::WordAt;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// What a daemon does at a poll of the progress: a signal to this thread.
std::function<void(const Bytes&)> Send(int signal) {
  return [signal, self = ::pthread_self()](const Bytes& request) {
    if (request[2] == 0x46) ::pthread_kill(self, signal);
  };
}

std::vector<int> Words(const Bytes& record, std::initializer_list<std::size_t> offsets) {
  std::vector<int> words;
  for (const std::size_t offset : offsets) words.push_back(WordAt(record, offset));
  return words;
}

class MeasurementRunTest : public test::HostTest {
 protected:
  MeasuringDaemon daemon_;
};

const std::vector<int> kWholeTest = {0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x06, 0x07, 0x37};

TEST_F(MeasurementRunTest, AsksInOrderAndReportsInUnits) {
  daemon_.progress = {0x0101, 0x0001, 0};
  const auto run = daemon_.Run("measure --voltage 10000 --frequency 50 --range-current 5 --json");
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.out << run.err;
  EXPECT_EQ(daemon_.Opcodes(), kWholeTest);
  const auto json = nlohmann::json::parse(run.out);
  EXPECT_EQ(json.at("test"), "TEST_HVVFPF");
  const auto& result = json.at("measurements").at(0);
  const std::map<std::string, double> expected = {{"frequency_hz", 50},
                                                  {"voltage_kv", 10},
                                                  {"current_ma", 3.14163192},
                                                  {"power_w", 0.157079633},
                                                  {"power_factor_percent", 0.49999375},
                                                  {"tan_delta", 0.005},
                                                  {"phase_degrees", -89.713523},
                                                  {"impedance_ohm", 3183058.83},
                                                  {"series_resistance_ohm", 8000},
                                                  {"parallel_capacitance_pf", 1000},
                                                  {"target_v", 10000},
                                                  {"range_current", 5}};
  for (const auto& [key, value] : expected) {
    EXPECT_NEAR(result.at(key).get<double>() / value, 1, 1e-6) << key;
  }
  EXPECT_EQ(result.at("status"), 0);
  EXPECT_EQ(result.at("time").get<std::string>().size(),
            std::string("2026-11-23T13:36:17.250Z").size());
  // the filter starts again: once fast, once slow for that, and the five that count
  EXPECT_EQ(WordAt(daemon_.Asked(0x06).at(0), 6), 0);
  EXPECT_EQ(WordAt(daemon_.Asked(0x06).at(1), 6), 1);
  EXPECT_EQ(daemon_.Asked(0x06).size(), 7U);
}

TEST_F(MeasurementRunTest, ASourceWithoutAVoltageIsAFailure) {
  const struct {
    const char* words;
    ExitStatus status;
    double volts = 10000;
  } rows[] = {{"measure --voltage 19999", ExitStatus::kOk},
              {"measure --voltage 20001", ExitStatus::kNoSource},
              {"measure --voltage 20001 --repeat 2 --json", ExitStatus::kNoSource},
              {"sweep --voltage 20001 --csv", ExitStatus::kNoSource},
              {"measure --external --voltage 20001", ExitStatus::kOk},
              {"measure --external --voltage 100", ExitStatus::kNoSource, 0.5},
              {"measure --current 1", ExitStatus::kNoSource}};
  for (const auto& row : rows) {
    MeasuringDaemon daemon;
    daemon.volts = row.volts;
    const auto run = daemon.Run(row.words);
    EXPECT_EQ(run.status, row.status) << row.words << run.err;
    EXPECT_EQ(daemon.Asked(0x07).size(), 1U);
    const bool reported = (run.out + run.err).find("the source gave") != std::string::npos;
    EXPECT_EQ(reported, row.status != ExitStatus::kOk) << run.out << run.err;
    // then nothing looks like a result
    if (!reported) continue;
    EXPECT_THAT(run.out, Not(HasSubstr("capacitance_pf\":"))) << run.out;
    EXPECT_THAT(run.out, Not(HasSubstr("valid data"))) << run.out;
  }
}

TEST_F(MeasurementRunTest, FieldsAreAtTheirPlaces) {
  daemon_.Run(
      "measure --type dfr --voltage 1000 --highest 1200 --reverse --range-voltage 2 "
      "--range-current 5 --frequency 0.5 --limit 3 --energize SVR,SVY --guard MIG --float SVN");
  const Bytes set_up = daemon_.Asked(0x03).at(0);
  EXPECT_EQ(set_up.size(), 40U);
  EXPECT_THAT(Words(set_up, {6, 8, 18, 20, 22}), ElementsAre(2, 0x1220, 1200, 1200, 3));
  EXPECT_THAT(Words(daemon_.Asked(0x28).at(0), {6, 8, 10, 12, 14}),
              ElementsAre(0x430, 1, 8, 0x80, 0));
  const Bytes update = daemon_.Asked(0x04).at(0);
  EXPECT_EQ(update.size(), 30U);
  EXPECT_THAT(Words(update, {6, 12, 16, 18, 20, 22}), ElementsAre(3, 0, 1, 1000, 2, 5));
  EXPECT_EQ(test::FloatAt(update, 24), 0.5F);

  // a current test has records of its own, DC a wave of its own, and relays stand for leads
  daemon_.volts = 5 / (2 * std::numbers::pi * 50 * 1e-9);
  const auto run = daemon_.Run(
      "measure --type winding --dc --current 5 --limit 40 --range-voltage 3 --range-current 1 "
      "--relays");
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
  EXPECT_THAT(run.out, HasSubstr("resistance          8 kohm"));
  EXPECT_THAT(run.out, Not(HasSubstr("power")));
  EXPECT_THAT(Words(daemon_.Asked(0x33).at(0), {6, 8, 18, 22}), ElementsAre(9, 0x1313, 5, 400));
  EXPECT_THAT(Words(daemon_.Asked(0x34).at(0), {12, 18, 20, 22}), ElementsAre(1, 5, 1, 3));
  EXPECT_EQ(daemon_.Asked(0x17).at(0).size(), 44U);

  // two voltages behind the same divider
  daemon_.units = 0x500;
  const auto ratio = daemon_.Run("measure --type ttr --voltage 100 --relays");
  EXPECT_THAT(ratio.out, HasSubstr("ratio "));
  EXPECT_EQ(WordAt(daemon_.Asked(0x03).at(1), 8), 0x2220);
  EXPECT_THAT(Words(daemon_.Asked(0x17).at(1), {12, 14, 20, 22, 28, 30}),
              ElementsAre(0x1000, 0x4000, 0x1000, 0x4000, 0x1000, 0x4000));
}

TEST_F(MeasurementRunTest, RefusalStopsTheTestAndIsReportedInWords) {
  struct {
    int opcode;
    const char* step;
    std::size_t asked;  // opcodes of a whole test
  } const cases[] = {{0x03, "set-up: ", 2}, {0x05, "start: ", 5}, {0x06, "result: ", 7}};
  for (const auto& c : cases) {
    MeasuringDaemon daemon;
    daemon.refuse = {{c.opcode, 1104}};
    const auto run = daemon.Run("measure --voltage 10");
    EXPECT_EQ(run.status, ExitStatus::kNak) << c.step;
    EXPECT_THAT(run.err, HasSubstr(std::string(c.step) + "refused by the measurement module"));
    EXPECT_THAT(run.err, HasSubstr("NAK_MCODE_MOS_ALLOK (1104, 0x450)\n    ALLOK is low"));
    std::vector<int> asked(kWholeTest.begin(),
                           kWholeTest.begin() + static_cast<std::ptrdiff_t>(c.asked));
    asked.insert(asked.end(), {0x07, 0x37});
    EXPECT_EQ(daemon.Opcodes(), asked) << c.step;
  }
  // what the stop says comes behind what ended the test
  daemon_.refuse = {{0x04, 75}, {0x07, 448}};
  const auto json = nlohmann::json::parse(daemon_.Run("--json measure --voltage 1").out);
  EXPECT_EQ(json.at("step"), "update");
  EXPECT_EQ(json.at("errors").at(0).at("name"), "NAK_MCODE_MOS_INVALIDVOLT");
  EXPECT_EQ(json.at("later").at(0).at("step"), "stop");
  EXPECT_EQ(json.at("later").at(0).at("errors").at(0).at("code"), 448);
}

TEST_F(MeasurementRunTest, SilenceLateDataAndCtrlCEndATest) {
  const std::vector<int> kUnsettled = {0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x07, 0x37};
  daemon_.silent = 0x05;
  daemon_.timeout_ms = 1000;
  auto run = daemon_.Run("measure --voltage 10");
  EXPECT_EQ(run.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(run.err, HasSubstr("start: no answer"));
  EXPECT_EQ(daemon_.Opcodes().back(), 0x37);

  MeasuringDaemon late;
  late.progress = std::vector(1000, 0x0003);
  run = late.Run("measure --voltage 10 --patience 5");
  EXPECT_EQ(run.status, ExitStatus::kUnsettled);
  EXPECT_THAT(run.err, HasSubstr("Ranging, Ramping"));
  EXPECT_EQ(late.Opcodes(), kUnsettled);
  EXPECT_GE(late.Asked(0x46).size(), 25U);  // the daemon must not take the host for dead

  for (const int clipped : {0x0040, 0x0041}) {
    MeasuringDaemon daemon;
    daemon.progress = std::vector(1000, clipped);
    run = daemon.Run("measure --voltage 10");
    EXPECT_EQ(run.status, ExitStatus::kUnsettled);
    EXPECT_THAT(run.err, HasSubstr("exceeds the range"));
    EXPECT_LT(daemon.Asked(0x46).size(), 30U);
  }
  MeasuringDaemon lost;  // valid while it settled, not in the end
  lost.ranging = 0x0100;
  run = lost.Run("measure --voltage 10");
  EXPECT_EQ(run.status, ExitStatus::kUnsettled);
  EXPECT_EQ(run.out, "");
  for (const int signal : {SIGINT, SIGPIPE}) {  // who reads the output may close the pipe
    MeasuringDaemon stopped;
    stopped.on_request = Send(signal);
    run = stopped.Run("measure --voltage 10 --repeat 3");
    EXPECT_EQ(run.status, ExitStatus::kInterrupted);
    EXPECT_EQ(stopped.Opcodes(), kUnsettled);
  }
  MeasuringDaemon deaf;  // the test may still run
  deaf.on_request = Send(SIGINT);
  deaf.silent = 0x07;
  deaf.timeout_ms = 1000;
  run = deaf.Run("measure --voltage 10");
  EXPECT_EQ(run.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(run.err, HasSubstr("stop: no answer"));
}

TEST_F(MeasurementRunTest, RepeatsWithinARowAndKeepsASlowTestAlive) {
  daemon_.volts = 10;
  const auto run = daemon_.Run("measure --voltage 10 --repeat 2 --csv --frequency 0.01 --polls 1");
  EXPECT_EQ(run.status, ExitStatus::kOk);
  EXPECT_EQ(std::ranges::count(run.out, '\n'), 3);
  EXPECT_THAT(run.out, testing::StartsWith("time,target_v,range_voltage,range_current,"));
  EXPECT_THAT(run.out, Not(HasSubstr("nan")));
  EXPECT_EQ(daemon_.Asked(0x36).size(), 1U);
  EXPECT_EQ(daemon_.Asked(0x05).size(), 2U);
  // three cycles of 100 s to settle and three to read, and never 8 s without a word
  EXPECT_GE(daemon_.Asked(0x46).size(), 2U * 600 / 8);
}

TEST_F(MeasurementRunTest, ImpossibleTestsAreRefusedInWordsWithoutARequest) {
  const struct {
    const char* words;
    const char* reason;
  } cases[] = {
      {"measure", "--voltage or --current"},
      {"measure --voltage 40000", "from 0 to 32767 V"},
      {"measure --voltage 10000.5", "'10000.5' is no whole number"},
      {"measure --voltage 0", "manual ramp"},
      {"measure --voltage 100 --highest 99", "below the target of 100 V"},
      {"measure --voltage 1 --hv --dc", "no DC"},
      {"measure --voltage 1 --range-current 99", "1: 75 A, 2: 7.5 A, 3: 750 mA"},
      {"measure --voltage 1 --dc --range-voltage 6", "5: 250 uV"},
      {"measure --voltage 1 --frequency nan", "Hz"},
      {"measure --voltage 1 --patience inf", "86400 s"},
      {"sweep --voltage 1 --from 0", "from 0.0001 to 1000 Hz"},
      {"sweep --voltage 1 --plot /none/x.svg", "/none/x.svg"},
  };
  for (const auto& c : cases) {
    const auto run = daemon_.Run(c.words);
    EXPECT_EQ(run.status, ExitStatus::kUsage) << c.words;
    EXPECT_THAT(run.out + run.err, HasSubstr(c.reason)) << c.words;
  }
  EXPECT_TRUE(daemon_.Opcodes().empty());
}

}  // namespace
