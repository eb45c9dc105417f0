// The daemon among the programs of the other modules: what it takes from their messages, and what
// it bears.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tests/integration/process.h"

namespace {

using Words = std::vector<std::string>;
using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr double kVolts = 100;
constexpr double kRelative = 1e-3;
const char* const kCircuit = "series R=1e6";  // the same current at every frequency

class InterModule : public testing::Test {
 protected:
  InterModule() { Control({"set", "dut.circuit", kCircuit}); }

  std::string Control(const Words& words) {
    const auto result = bench_.Control(words);
    EXPECT_EQ(result.status, 0) << words.at(1) << ": " << result.output;
    return result.output;
  }
  bool Shows(const std::string& name, const std::string& text) {
    for (int i = 0; i < 100; ++i) {
      if (Control({"get", name}).find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(milliseconds(50));
    }
    return false;
  }
  static Words Measure(const char* type, const char* polls = "2") {
    return {"--via", "host",      "--json", "measure",  "--type", type,
            "--lv",  "--voltage", "100",    "--settle", "1",      "--range-current",
            "6",     "--polls",   polls};
  }
  void ExpectRight(const char* type, double hertz = 60) {
    const auto result = bench_.Host(Measure(type));
    ASSERT_EQ(result.status, 0) << result.output;
    const json row = json::parse(result.output).at("measurements").back();
    EXPECT_NEAR(row.at("frequency_hz").get<double>(), hertz, 1e-4);
    EXPECT_NEAR(row.at("voltage_kv").get<double>() * 1000, kVolts, kVolts * kRelative);
    EXPECT_NEAR(row.at("current_ma").get<double>(), kVolts / 1000, kVolts / 1000 * kRelative);
    EXPECT_EQ(row.at("status").get<int>(), 0);
  }
  /// A test that goes on until it is ended from outside.
  std::unique_ptr<test::Process> Running() {
    Words words = Measure("pf", "1000");
    words.insert(words.begin(), {"--root", bench_.root.Path()});
    auto host = std::make_unique<test::Process>("q5host", words);
    EXPECT_TRUE(Shows("source.on", "1")) << host->Output();
    std::this_thread::sleep_for(seconds(1));
    return host;
  }

  test::Bench bench_;
};

TEST_F(InterModule, ALineSynchronisedTestFollowsTheFrequencyThatTheSourceModuleSays) {
  bench_.StartDaemon();
  const char* type = "reversal";
  for (const double hertz : {49.123, 61.5}) {
    Control({"set", "line.frequency", std::to_string(hertz)});
    ExpectRight(type, hertz);
  }
  const struct {
    const char* what;
    Words break_it, lift;
  } cases[] = {
      {"nothing said", {"fault", "messages.sos", "off"}, {"fault", "messages.sos", "ok"}},
      {"noise", {"fault", "messages.sos", "garbage"}, {"fault", "messages.sos", "ok"}},
      {"no line", {"set", "line.frequency", "0"}, {"set", "line.frequency", "50"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Control(c.break_it);
    const auto result = bench_.Host(Measure(type));
    EXPECT_EQ(result.status, 1) << result.output;
    EXPECT_NE(result.output.find("\"code\": 328"), std::string::npos) << result.output;
    Control(c.lift);
  }
  ExpectRight(type, 50);
}

TEST_F(InterModule, TheEmergencyStopAndTheSafetySwitchEndATestAndTheNextIsRight) {
  bench_.StartDaemon();
  const struct {
    const char* contact;
    const char* answer;
  } cases[] = {{"panel.estop", "SOSESTOPMSG"}, {"panel.switch", "SOSACKSSWITCHMSG"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.contact);
    const auto lines = [this] {
      const std::string log = bench_.daemon->Output();
      int count = 0;
      for (auto at = log.find(":safety switch"); at != log.npos;
           at = log.find(":safety switch", at + 1))
        ++count;
      return count;
    };
    const int before = lines();
    const auto host = Running();
    Control({"set", c.contact, "1"});
    EXPECT_TRUE(Shows("source.on", "0"));
    EXPECT_TRUE(Shows("messages.sos", c.answer));
    for (int i = 0; i < 100 && lines() == before; ++i)
      std::this_thread::sleep_for(milliseconds(50));
    EXPECT_GT(lines(), before);
    host->Signal(SIGINT);
    EXPECT_TRUE(host->Wait().has_value());
    // nothing is measured, and nothing comes on, while it is open
    EXPECT_NE(bench_.Host(Measure("pf")).status, 0);
    EXPECT_EQ(Control({"get", "source.on"}), "ok 0\n");
    Control({"set", c.contact, "0"});
    ExpectRight("pf");
  }
}

TEST_F(InterModule, ARelayRequestIsDoneAndAcknowledgedForAllToHear) {
  test::Process messages("q5host", {"--root", bench_.root.Path(), "--json", "messages", "--name",
                                    "MOSACKMSG", "--count", "2"});
  std::this_thread::sleep_for(seconds(1));  // until it has subscribed
  const auto ask = [this](const char* request) {
    Control({"set", "messages.wd_meas", "SETMESRLYMSG", std::string("relayMsg=") + request});
  };
  ask("0,0,240,0,4,0,113,60,128,0,33,2");  // channel 2
  EXPECT_TRUE(Shows("tos.relays", "0x0080"));
  ask("0,0,240,0,4,0,113,60,129,0,34,2");  // nobody's
  ASSERT_EQ(messages.Wait(), 0) << messages.Output();
  std::istringstream lines(messages.Output());
  for (const int done : {1, 0}) {
    std::string line;
    std::getline(lines, line);
    const json message = json::parse(line);
    EXPECT_EQ(message.at("relayAck"), done);
    EXPECT_EQ(message.at("from"), "tos");
    EXPECT_EQ(message.at("checksum"), true);
  }
  EXPECT_TRUE(Shows("tos.relays", "0x0080"));
}

TEST_F(InterModule, ProgramsThatComeLaterAreHeard) {
  for (const char* unit : {"tos", "sos"}) Control({"fault", unit, "off"});
  std::jthread later([this] {
    std::this_thread::sleep_for(seconds(2));
    for (const char* unit : {"tos", "sos"}) Control({"fault", unit, "ok"});
  });
  bench_.StartDaemon();
  ExpectRight("reversal");
}

// A test that measures all the while is right, and so is one afterwards; the daemon's memory stays.
TEST_F(InterModule, NoiseAFloodAndASecondSourceModuleHarmNoTest) {
  bench_.StartDaemon();
  ExpectRight("pf");
  const struct {
    const char* what;
    std::vector<Words> begin;
    bool measures = true;  // else the daemon waits for an update, and calls nothing valid
  } cases[] = {
      {"noise of all lengths",
       {{"set", "messages.tos", "0"},
        {"fault", "messages.tos", "garbage"},
        {"set", "messages.tos.flood", "200"}}},
      {"floods",
       {{"set", "messages.tos", "CHANEVENTMSG", "external_event=13"},
        {"set", "messages.tos.flood", "10000"},
        {"set", "messages.ethb", "GETSERVERSTATUSMSG"},
        {"set", "messages.ethb.flood", "10000"},
        {"set", "messages.wd_source", "LINEFREQMSG", "freq_m3x64=50,0,1"},
        {"set", "messages.wd_source.flood", "10000"}}},
      {"a second source module that announces steps",
       {{"set", "messages.wd_source", "DFRATZEROMSG", "freqfloat=30", "manualIrange=3"},
        {"set", "messages.wd_source.flood", "5"}},
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto before = bench_.daemon->ResidentKib();
    for (const Words& words : c.begin) Control(words);
    const auto until = std::chrono::steady_clock::now() + seconds(3);
    while (c.measures && std::chrono::steady_clock::now() < until) ExpectRight("pf");
    if (!c.measures) {
      Words words = Measure("pf");
      words.insert(words.end(), {"--patience", "3"});
      const auto result = bench_.Host(words);
      EXPECT_NE(result.status, 0) << result.output;
      EXPECT_EQ(result.output.find("voltage_kv"), std::string::npos) << result.output;
    }
    EXPECT_EQ(bench_.Host({"progress"}).status, 0);
    for (const char* speaker : {"tos", "ethb", "wd_source"}) {
      const std::string name = std::string("messages.") + speaker;
      Control({"set", name + ".flood", "0"});
      Control({"fault", name, "ok"});
    }
    test::ExpectNoGrowth(before, bench_.daemon->ResidentKib(), 4096);
    ExpectRight("pf");
  }
}

}  // namespace
