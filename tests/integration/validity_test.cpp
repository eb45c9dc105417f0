// What is called valid is right: whatever goes wrong on the bench, a result with status 0 is the
// true value; else the status says that it is not, or the request is refused in words.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <thread>

#include "tests/integration/process.h"

namespace {

using Words = std::vector<std::string>;
using nlohmann::json;
using std::chrono::seconds;

constexpr double kRelative = 5e-4;

/// A test whose true current follows from volts, hertz and the circuit.
struct Plan {
  const char* what;
  const char* circuit;
  Words words;
  double volts;
  double amperes;
};

const double kOmega60 = 2 * std::numbers::pi * 60;
const Plan kBushing{"bushing",
                    "parallel R=1e12 C=350e-12",
                    {"--voltage", "10000", "--range-current", "5"},
                    10000,
                    10000 * kOmega60 * 350e-12};
const Plan kSlow{
    "slow",
    "series R=1e6",
    {"--type", "dfr", "--lv", "--voltage", "100", "--frequency", "0.5", "--range-current", "6"},
    100,
    1e-4};
const Plan kDirectVoltage{"direct voltage",
                          "series R=0.4",
                          {"--type", "TEST_DCIR", "--dc", "--voltage", "2", "--range-voltage", "1",
                           "--range-current", "2"},
                          2,
                          5};
const Plan kDirectCurrent{
    "direct current",
    "series R=0.4",
    {"--type", "contact", "--dc", "--current", "5", "--range-voltage", "1", "--range-current", "2"},
    2,
    5};

class Validity : public testing::Test {
 protected:
  void Control(const Words& words) {
    const auto result = bench_.Control(words);
    ASSERT_EQ(result.status, 0) << words.front() << ": " << result.output;
  }
  /// The circuit, and the offsets of the direct ranges taken away at the DACs, as on a bench.
  void Prepare(const Plan& plan) {
    Control({"set", "dut.circuit", plan.circuit});
    const auto dac = [](double offset, double per_count) {
      return std::to_string(0x8000 + std::lround(offset * per_count));
    };
    Control({"set", "i2c.MEAS_CH1.DAC8571.dac0", dac(-802.24, 0.9959)});
    Control({"set", "i2c.MEAS_CH2.DAC8571.dac0", dac(1.0304e5, 0.01006)});
  }
  static Words Measure(const Plan& plan, const char* polls) {
    Words words{"--via", "host", "--json", "measure", "--polls", polls};
    words.insert(words.end(), plan.words.begin(), plan.words.end());
    // a direct result is the average of 90 blocks, which takes 3 s
    const bool direct = plan.volts == 2;
    words.insert(words.end(), {"--settle", direct ? "5" : "1"});
    return words;
  }
  /// At first try.
  void ExpectRight(const Plan& plan) {
    Prepare(plan);
    const auto result = bench_.Host(Measure(plan, "2"));
    ASSERT_EQ(result.status, 0) << plan.what << ": " << result.output << bench_.daemon->Output();
    const json told = json::parse(result.output);
    const json& row = told.at("measurements").at(0);
    EXPECT_NEAR(row.at("voltage_kv").get<double>() * 1000, plan.volts, plan.volts * kRelative);
    EXPECT_NEAR(row.at("current_ma").get<double>() / 1000, plan.amperes, plan.amperes * kRelative);
  }
  /// Refused in words, or given up: no value at all.
  void ExpectNothing(const Words& words, const std::string& reason) {
    const auto result = bench_.Host(words);
    EXPECT_NE(result.status, 0) << result.output;
    EXPECT_NE(result.output.find(reason), std::string::npos) << result.output;
    EXPECT_EQ(result.output.find("voltage_kv"), std::string::npos) << result.output;
  }

  test::Bench bench_;
};

// The host is killed in the middle of a test, the daemon recovers, and the next test is right.
class DeadHost : public Validity, public testing::WithParamInterface<const Plan*> {};

TEST_P(DeadHost, LeavesADaemonThatMeasures) {
  const Plan& plan = *GetParam();
  bench_.StartDaemon();
  Prepare(plan);
  {
    Words words = Measure(plan, "1000");
    words.insert(words.begin(), {"--root", bench_.root.Path()});
    test::Process host("q5host", words);
    ASSERT_TRUE(bench_.daemon->WaitForOutput("test starts")) << host.Output();
    std::this_thread::sleep_for(seconds(2));
    host.Signal(SIGKILL);
  }
  ASSERT_TRUE(bench_.daemon->WaitForOutput("test ends by the host's silence"))
      << bench_.daemon->Output();
  EXPECT_EQ(bench_.daemon->Output().find("STILL PRESENT"), std::string::npos);
  ExpectRight(plan);
}

INSTANTIATE_TEST_SUITE_P(Tests, DeadHost,
                         testing::Values(&kBushing, &kSlow, &kDirectVoltage, &kDirectCurrent),
                         [](const auto& its) {
                           std::string name = its.param->what;
                           std::erase(name, ' ');
                           return name;
                         });

TEST_F(Validity, ARangeThatIsTooSensitiveNeverGivesAValue) {
  bench_.StartDaemon();
  for (const char* hertz : {"1", "6", "60"}) {
    Prepare(kBushing);
    ExpectNothing({"--via", "host", "--json", "measure", "--voltage", "10000", "--frequency", hertz,
                   "--range-current", std::string(hertz) == "60" ? "7" : "8"},
                  "exceeds the range");
  }
  ExpectRight(kBushing);
}

TEST_F(Validity, TheNextTestDropsTheReadingsOfADisturbedFpga) {
  bench_.StartDaemon();
  ExpectRight(kBushing);
  Control({"fault", "fpga", "garbage"});
  bench_.Host({"--via", "host", "--json", "measure", "--voltage", "10000", "--range-current", "5",
               "--patience", "3"});
  Control({"fault", "fpga", "ok"});
  std::this_thread::sleep_for(seconds(1));  // a drop of ALLOK that was read is reported until then
  bench_.Host({"stop"});
  ExpectRight(kBushing);
}

TEST_F(Validity, AnExternalSourceIsMeasuredInItsOwnVolts) {
  bench_.StartDaemon();
  Control({"set", "dut.circuit", "series R=1e4"});
  for (const Words& words : {Words{"source.kind", "voltage"},
                             {"source.frequency", "test"},
                             {"source.amplitude", "100"},
                             {"source.on", "1"}}) {
    Control({"set", words[0], words[1]});
  }
  const auto result = bench_.Host({"--via", "host", "--json", "measure", "--external", "--voltage",
                                   "100", "--range-current", "4"});
  ASSERT_EQ(result.status, 0) << result.output;
  const json row = json::parse(result.output).at("measurements").at(0);
  EXPECT_NEAR(row.at("voltage_kv").get<double>(), 0.1, 0.1 * kRelative);
  EXPECT_NEAR(row.at("current_ma").get<double>(), 10, 10 * kRelative);
}

// ALLOK drops and stays down until the host has ended the test; the next one is right.
TEST_F(Validity, TooHighAVoltageEndsTheTest) {
  bench_.StartDaemon();
  Prepare(kBushing);
  {
    Words words = Measure(kBushing, "1000");
    words.insert(words.begin(), {"--root", bench_.root.Path()});
    test::Process host("q5host", words);
    ASSERT_TRUE(bench_.daemon->WaitForOutput("test starts")) << host.Output();
    std::this_thread::sleep_for(seconds(1));
    Control({"set", "source.amplitude", "13000"});
    EXPECT_EQ(host.Wait(), 1) << host.Output();
    EXPECT_NE(host.Output().find("NAK_MCODE_MAX_MOS_VOLTAGE"), std::string::npos) << host.Output();
  }
  ExpectRight(kBushing);
}

// The source stays where it is: there is no proof, so the word is kept for the next host.
TEST_F(Validity, AVoltageThatStaysIsReported) {
  bench_.StartDaemon();
  Prepare(kBushing);
  Control({"set", "source.frequency", "test"});
  for (const char* hertz : {"60", "0.5"}) {
    Control({"set", "source.amplitude", "1000"});
    Control({"set", "source.on", "1"});
    Control({"set", "path.meas1", "HV1"});
    {
      test::Process host(
          "q5host", {"--root", bench_.root.Path(), "--via", "bus", "measure", "--voltage", "1000",
                     "--frequency", hertz, "--range-current", "5", "--polls", "1000"});
      ASSERT_TRUE(bench_.daemon->WaitForOutput("test starts")) << host.Output();
      std::this_thread::sleep_for(seconds(2));
      host.Signal(SIGKILL);
    }
    ASSERT_TRUE(bench_.daemon->WaitForOutput("STILL PRESENT", test::Milliseconds(60000))) << hertz;
    Control({"set", "source.on", "0"});
    bench_.StartDaemon();
  }
}

TEST_F(Validity, AChannelWithoutCalibrationMeasuresNothing) {
  Control({"memory", "i2c.MEAS_CH2.EE24LC32", "blank"});
  bench_.StartDaemon();
  for (const Plan* plan : {&kBushing, &kSlow, &kBushing}) {
    ExpectNothing(Measure(*plan, "1"), "NAK_MCODE_EEPROMXML");
  }
}

TEST_F(Validity, TheLogOfAGoodTestHasNoError) {
  bench_.StartDaemon();
  ExpectRight(kBushing);
  const std::string log = bench_.daemon->Output();
  for (std::size_t at = log.find(":3 "); at != std::string::npos; at = log.find(":3 ", at + 1)) {
    const auto line = log.substr(log.rfind('\n', at) + 1, log.find('\n', at) - log.rfind('\n', at));
    // a machine that is too busy, which the log rightly reports
    if (line.find("Dumping sample data") != std::string::npos) continue;
    ADD_FAILURE() << line;
  }
}

}  // namespace
