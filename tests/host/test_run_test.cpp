// Tests against a peer that plays the daemon: what is asked, in which order, and what is made of
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <numbers>
#include <sstream>

#include "host/app.h"
#include "host/plot.h"
#include "host/result_text.h"
#include "host/sweep_list.h"
#include "host/test_kinds.h"
#include "platform/local.h"
#include "tests/host/peers.h"
#include "tests/platform/test_instrument.h"

namespace {

using host::ExitStatus;
using test::Bytes;
using test::Record;
using test::WordAt;
using testing::ElementsAre;
using testing::HasSubstr;

float FloatAt(const Bytes& bytes, std::size_t offset) {
  float value;
  std::memcpy(&value, &bytes.at(offset), sizeof value);
  return value;
}

void PutFloat(Bytes& bytes, std::size_t offset, float value) {
  std::memcpy(&bytes.at(offset), &value, sizeof value);
}

// A device of 1 nF with a loss tangent of 0.005 at 10 kV and 50 Hz, as the daemon would send it.
constexpr double kVolts = 10000;
constexpr double kHertz = 50;
constexpr double kFarads = 1e-9;
constexpr double kTanDelta = 0.005;

Bytes ResultReply(int unit_bits) {
  const double reactive = kVolts * 2 * std::numbers::pi * kHertz * kFarads;
  const double amps = reactive * std::sqrt(1 + kTanDelta * kTanDelta);
  const double factor = kTanDelta / std::sqrt(1 + kTanDelta * kTanDelta);
  Bytes reply(155 - 2);
  reply[2] = 0xFA, reply[3] = 0xFF, reply[4] = 147, reply[6] = 6;
  reply[15] = static_cast<std::uint8_t>(unit_bits),
  reply[16] = static_cast<std::uint8_t>(unit_bits >> 8);
  const std::pair<std::size_t, double> fields[] = {
      {21, kVolts / 1000},  {25, amps},           {29, kVolts * amps * factor},
      {33, 100 * factor},   {37, -1 / kTanDelta}, {41, -100 * factor / kTanDelta},
      {65, kFarads * 1e12}, {77, 8000},           {85, kHertz}};
  for (const auto& [offset, value] : fields) PutFloat(reply, offset, static_cast<float>(value));
  return test::PutWord(reply, test::NaiveSum(reply));
}

Bytes NakReply(int opcode, int code) {
  Bytes payload = {21};
  for (const int word : {2, 2, code}) test::PutWord(payload, word);
  payload.resize(131);
  return Record(-opcode, payload);
}

// Plays the daemon on a bus of its own and keeps what it was asked.
class Daemon {
 public:
  Daemon() : peer_("tcp://127.0.0.1:*", [this](const Bytes& request) { return Answer(request); }) {}

  struct Outcome {
    ExitStatus status;
    std::string out;
    std::string err;
  };
  Outcome Run(std::vector<std::string> words) {
    // the peer's thread sees from now on what the test has changed
    { const std::lock_guard lock(guard_); }
    std::ostringstream out, err;
    words.insert(words.begin(), {"--connect", peer_.uri(), "--timeout", "200"});
    const ExitStatus status = host::RunHost(words, out, err);
    return {status, out.str(), err.str()};
  }

  // The opcodes that were asked, each run of the same as one.
  std::vector<int> Opcodes() {
    const std::lock_guard lock(guard_);
    std::vector<int> list;
    for (const Bytes& request : requests_) {
      if (list.empty() || list.back() != request[2]) list.push_back(request[2]);
    }
    return list;
  }
  std::vector<Bytes> Asked(int opcode) {
    const std::lock_guard lock(guard_);
    std::vector<Bytes> list;
    for (const Bytes& request : requests_) {
      if (request[2] == opcode) list.push_back(request);
    }
    return list;
  }

  // What a test changes, before it runs a command.
  std::map<int, int> refuse;  // opcode: error code
  std::vector<int> progress;  // words of the first polls of progress; 0 from then on
  int silent = 0;             // opcode without an answer
  int units = 0x900;          // kilovolts and amperes
  std::function<void(const Bytes&)> on_request = [](const Bytes&) {};

 private:
  std::vector<Bytes> Answer(const Bytes& request) {
    const std::lock_guard lock(guard_);
    requests_.push_back(request);
    on_request(request);
    const int opcode = request[2];
    if (opcode == silent) return {};
    if (refuse.contains(opcode)) return {NakReply(opcode, refuse[opcode])};
    if (opcode == 0x06) return {ResultReply(units)};
    if (opcode != 0x46) return {Record(-opcode, {6})};
    Bytes payload = {6};
    test::PutWord(payload, polls_ < progress.size() ? progress[polls_] : 0);
    ++polls_;
    payload.resize(41);
    return {Record(-0x46, payload)};
  }

  std::mutex guard_;
  std::vector<Bytes> requests_;
  std::size_t polls_ = 0;
  test::RouterPeer peer_;
};

// What a daemon does at a poll of the progress: a signal to this thread.
std::function<void(const Bytes&)> Send(int signal) {
  return [signal, self = ::pthread_self()](const Bytes& request) {
    if (request[2] == 0x46) ::pthread_kill(self, signal);
  };
}

// Waits cost no time.
class TestRunTest : public testing::Test {
 protected:
  TestRunTest() { clock_.SetAutoAdvance(true); }

  platform::TemporaryRoot root_;
  platform::TestInstrument instrument_;
  platform::FakeClock clock_;
  platform::LocalBackend backend_{instrument_, clock_, root_.Path()};
  platform::ScopedBackend scope_{backend_};
  Daemon daemon_;
};

const std::vector<int> kWholeTest = {0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x06, 0x07, 0x37};

TEST_F(TestRunTest, AsksInOrderAndTellsInUnits) {
  daemon_.progress = {0x0101, 0x0001, 0};
  const auto run = daemon_.Run({"measure", "--voltage", "10000", "--frequency", "50", "--json"});
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
                                                  {"parallel_capacitance_pf", 1000}};
  for (const auto& [key, value] : expected) {
    EXPECT_NEAR(result.at(key).get<double>() / value, 1, 1e-6) << key;
  }
  EXPECT_EQ(result.at("status"), 0);
  // the filter begins anew: once fast, once slow for that, and the five that count
  EXPECT_EQ(WordAt(daemon_.Asked(0x06).at(0), 6), 0);
  EXPECT_EQ(WordAt(daemon_.Asked(0x06).at(1), 6), 1);
  EXPECT_EQ(daemon_.Asked(0x06).size(), 7U);
}

TEST_F(TestRunTest, ASourceThatDidNotComeUpIsTold) {
  const struct {
    std::vector<std::string> words;
    bool warns;
  } rows[] = {{{"measure", "--voltage", "19999"}, false},
              {{"measure", "--voltage", "20001"}, true},
              {{"measure", "--voltage", "20001", "--json"}, true},
              {{"measure", "--external", "--voltage", "20001"}, false},
              {{"measure", "--current", "1"}, true}};
  for (const auto& row : rows) {
    const auto run = daemon_.Run(row.words);
    EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
    const bool told =
        (run.out + run.err).find("did not give what was asked for") != std::string::npos;
    EXPECT_EQ(told, row.warns) << row.words.at(2) << "\n" << run.out << run.err;
  }
}

TEST_F(TestRunTest, FieldsStandAtTheirPlaces) {
  daemon_.Run({"measure",
               "--type",
               "dfr",
               "--voltage",
               "1000",
               "--highest",
               "1200",
               "--reverse",
               "--range-voltage",
               "2",
               "--range-current",
               "5",
               "--frequency",
               "0.5",
               "--limit",
               "3",
               "--energize",
               "SVR,SVY",
               "--guard",
               "MIG",
               "--float",
               "SVN"});
  const Bytes set_up = daemon_.Asked(0x03).at(0);
  EXPECT_EQ(set_up.size(), 40U);
  EXPECT_THAT((std::vector{WordAt(set_up, 6), WordAt(set_up, 8), WordAt(set_up, 18),
                           WordAt(set_up, 20), WordAt(set_up, 22)}),
              ElementsAre(2, 0x1220, 1200, 1200, 3));
  const Bytes leads = daemon_.Asked(0x28).at(0);
  EXPECT_THAT((std::vector{WordAt(leads, 6), WordAt(leads, 8), WordAt(leads, 10), WordAt(leads, 12),
                           WordAt(leads, 14)}),
              ElementsAre(0x430, 1, 8, 0x80, 0));
  const Bytes update = daemon_.Asked(0x04).at(0);
  EXPECT_EQ(update.size(), 30U);
  EXPECT_THAT((std::vector{WordAt(update, 6), WordAt(update, 12), WordAt(update, 16),
                           WordAt(update, 18), WordAt(update, 20), WordAt(update, 22)}),
              ElementsAre(3, 0, 1, 1000, 2, 5));
  EXPECT_EQ(FloatAt(update, 24), 0.5F);

  // a current test has records of its own, DC a wave of its own, and relays stand for leads
  const auto run = daemon_.Run({"measure", "--type", "winding", "--dc", "--current", "5", "--limit",
                                "40", "--range-voltage", "3", "--range-current", "1", "--relays"});
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
  EXPECT_THAT(run.out, HasSubstr("resistance          8 kohm"));
  EXPECT_THAT(run.out, testing::Not(HasSubstr("power")));
  const Bytes set_up_i = daemon_.Asked(0x33).at(0);
  EXPECT_THAT((std::vector{WordAt(set_up_i, 6), WordAt(set_up_i, 8), WordAt(set_up_i, 18),
                           WordAt(set_up_i, 22)}),
              ElementsAre(9, 0x1313, 5, 400));
  const Bytes update_i = daemon_.Asked(0x34).at(0);
  EXPECT_THAT((std::vector{WordAt(update_i, 12), WordAt(update_i, 18), WordAt(update_i, 20),
                           WordAt(update_i, 22)}),
              ElementsAre(1, 5, 1, 3));
  EXPECT_EQ(daemon_.Asked(0x17).at(0).size(), 44U);

  // two voltages behind the same divider
  daemon_.units = 0x500;
  const auto ratio = daemon_.Run({"measure", "--type", "ttr", "--voltage", "100", "--relays"});
  EXPECT_THAT(ratio.out, HasSubstr("ratio "));
  EXPECT_EQ(WordAt(daemon_.Asked(0x03).at(1), 8), 0x2220);
  const Bytes relays = daemon_.Asked(0x17).at(1);
  for (const std::size_t positive : {12, 20, 28}) {
    EXPECT_EQ(WordAt(relays, positive), 0x1000) << positive;
    EXPECT_EQ(WordAt(relays, positive + 2), 0x4000) << positive;
  }
}

TEST_F(TestRunTest, RefusalStopsTheTestAndIsToldByName) {
  struct {
    int opcode;
    const char* step;
    std::vector<int> asked;
  } const cases[] = {
      {0x36, "start of row: ", {0x36, 0x37}},
      {0x03, "set-up: ", {0x36, 0x03, 0x07, 0x37}},
      {0x28, "leads: ", {0x36, 0x03, 0x28, 0x07, 0x37}},
      {0x04, "update: ", {0x36, 0x03, 0x28, 0x04, 0x07, 0x37}},
      {0x05, "start: ", {0x36, 0x03, 0x28, 0x04, 0x05, 0x07, 0x37}},
      {0x46, "progress: ", {0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x07, 0x37}},
      {0x06, "result: ", kWholeTest},
      {0x07, "stop: ", kWholeTest},
  };
  for (const auto& c : cases) {
    Daemon daemon;
    daemon.refuse = {{c.opcode, 1104}};
    const auto run = daemon.Run({"measure", "--voltage", "10"});
    EXPECT_EQ(run.status, ExitStatus::kNak) << c.step;
    EXPECT_THAT(run.err, HasSubstr(std::string(c.step) + "refused by the measurement module"));
    EXPECT_THAT(run.err, HasSubstr("NAK_MCODE_MOS_ALLOK (1104"));
    EXPECT_EQ(daemon.Opcodes(), c.asked) << c.step;
  }
  daemon_.refuse = {{0x04, 75}, {0x07, 448}};
  const auto json = nlohmann::json::parse(daemon_.Run({"--json", "measure", "--voltage", "1"}).out);
  EXPECT_EQ(json.at("step"), "update");  // not that of the stop, which came later
  EXPECT_EQ(json.at("errors").at(0).at("name"), "NAK_MCODE_MOS_INVALIDVOLT");
}

TEST_F(TestRunTest, SilenceLateDataAndCtrlCEndATest) {
  daemon_.silent = 0x05;
  auto run = daemon_.Run({"measure", "--voltage", "10"});
  EXPECT_EQ(run.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(run.err, HasSubstr("start: no answer"));
  EXPECT_EQ(daemon_.Opcodes().back(), 0x37);

  Daemon late;
  late.progress = std::vector(1000, 0x0003);
  run = late.Run({"measure", "--voltage", "10", "--patience", "5"});
  EXPECT_EQ(run.status, ExitStatus::kUnsettled);
  EXPECT_THAT(run.err, HasSubstr("Ranging, Ramping"));
  EXPECT_EQ(late.Opcodes(), (std::vector<int>{0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x07, 0x37}));
  EXPECT_GE(late.Asked(0x46).size(), 25U);  // the daemon must not take the host for dead

  Daemon clipped;
  clipped.progress = std::vector(1000, 0x0040);
  run = clipped.Run({"measure", "--voltage", "10"});
  EXPECT_EQ(run.status, ExitStatus::kUnsettled);
  EXPECT_THAT(run.err, HasSubstr("exceeds the range"));
  EXPECT_LT(clipped.Asked(0x46).size(), 30U);

  for (const int signal : {SIGINT, SIGPIPE}) {  // who reads the output may go, too
    Daemon stopped;
    stopped.on_request = Send(signal);
    run = stopped.Run({"measure", "--voltage", "10", "--repeat", "3"});
    EXPECT_EQ(run.status, ExitStatus::kInterrupted);
    EXPECT_EQ(stopped.Opcodes(),
              (std::vector<int>{0x36, 0x03, 0x28, 0x04, 0x05, 0x46, 0x07, 0x37}));
  }
  Daemon deaf;  // the test may still run
  deaf.on_request = Send(SIGINT);
  deaf.silent = 0x07;
  run = deaf.Run({"measure", "--voltage", "10"});
  EXPECT_EQ(run.status, ExitStatus::kNoAnswer);
  EXPECT_THAT(run.err, HasSubstr("stop: no answer"));
}

TEST_F(TestRunTest, RepeatsWithinARowAndKeepsASlowTestAlive) {
  const auto run = daemon_.Run({"measure", "--voltage", "10", "--repeat", "2", "--csv",
                                "--frequency", "0.01", "--polls", "1"});
  EXPECT_EQ(run.status, ExitStatus::kOk);
  EXPECT_EQ(std::ranges::count(run.out, '\n'), 3);
  EXPECT_THAT(run.out, testing::StartsWith("frequency_hz,voltage_kv,current_ma,"));
  EXPECT_EQ(daemon_.Asked(0x36).size(), 1U);
  EXPECT_EQ(daemon_.Asked(0x05).size(), 2U);
  // three cycles of 100 s to settle and three to read, and never 8 s without a word
  EXPECT_GE(daemon_.Asked(0x46).size(), 2U * 600 / 8);
}

TEST_F(TestRunTest, SweepUpdatesARunningTestAndPlots) {
  for (const char* name : {"plot.svg", "plot.png"}) {
    Daemon daemon;
    const std::string file = root_.Path() + "/" + name;
    const auto run = daemon.Run({"sweep", "--lv", "--voltage", "10", "--frequencies", "20,50.5,400",
                                 "--plot", file, "--polls", "1", "--json"});
    EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
    std::vector<float> frequencies;
    for (const Bytes& update : daemon.Asked(0x04)) frequencies.push_back(FloatAt(update, 24));
    EXPECT_THAT(frequencies, ElementsAre(20.0F, 50.5F, 400.0F));
    EXPECT_EQ(daemon.Asked(0x05).size(), 1U);
    EXPECT_EQ(WordAt(daemon.Asked(0x03).at(0), 8), 0x1222);
    EXPECT_EQ(nlohmann::json::parse(run.out).at("measurements").size(), 3U);
    std::stringstream drawn;
    drawn << std::ifstream(file).rdbuf();
    EXPECT_THAT(drawn.str(), HasSubstr(name[5] == 's' ? "<svg" : "PNG"));
  }
  daemon_.refuse = {{0x06, 1104}};
  const auto run =
      daemon_.Run({"sweep", "--lv", "--voltage", "10", "--plot", root_.Path() + "/none.svg"});
  EXPECT_EQ(run.status, ExitStatus::kNak);
  EXPECT_EQ(daemon_.Asked(0x37).size(), 1U);
}

TEST_F(TestRunTest, WatchAsksForResultsOnlyWhereThereAreSome) {
  daemon_.progress = {0x0100, 0x0001};
  const auto run = daemon_.Run({"watch", "--rows", "3"});
  EXPECT_EQ(run.status, ExitStatus::kOk);
  EXPECT_EQ(daemon_.Opcodes(), (std::vector<int>{0x46, 0x06, 0x46, 0x06}));
  for (const Bytes& poll : daemon_.Asked(0x06)) EXPECT_EQ(WordAt(poll, 6), 1);
  EXPECT_THAT(run.out, HasSubstr("no data: 0x0100, Data_Not_Valid\n"));
  EXPECT_THAT(run.out, HasSubstr("parallel C"));
  daemon_.refuse = {{0x06, 1104}};
  EXPECT_THAT(daemon_.Run({"watch", "--rows", "1"}).out, HasSubstr("NAK_MCODE_MOS_ALLOK"));
}

TEST_F(TestRunTest, WatchEndsSoonAfterCtrlC) {
  daemon_.on_request = Send(SIGINT);
  const auto begin = clock_.Monotonic();
  EXPECT_EQ(daemon_.Run({"watch", "--interval", "3600"}).status, ExitStatus::kOk);
  EXPECT_LT(clock_.Monotonic() - begin, std::chrono::seconds(1));
}

TEST_F(TestRunTest, ContradictionsAreUsageErrorsAndAskNothing) {
  const std::vector<std::string> cases[] = {
      {"measure"},
      {"measure", "--voltage", "1", "--current", "1"},
      {"measure", "--voltage", "40000"},
      {"measure", "--voltage", "-1"},
      {"measure", "--voltage", "1", "--type", "dance"},
      {"measure", "--voltage", "1", "--hv", "--lv"},
      {"measure", "--voltage", "1", "--hv", "--dc"},
      {"measure", "--voltage", "1", "--energize", "XYZ"},
      {"measure", "--voltage", "1", "--polls", "0"},
      {"sweep", "--voltage", "1", "--from", "0"},
      {"sweep", "--voltage", "1", "--points", "1"},
      {"sweep", "--voltage", "1", "--dc"},
      {"sweep", "--voltage", "1", "--plot", "x.gif"},
      {"sweep", "--voltage", "1", "--plot", "/none/x.svg"},
      {"sweep", "--voltage", "1", "--from", "nan"},
      {"measure", "--voltage", "1", "--frequency", "nan"},
      {"measure", "--voltage", "1", "--frequency", "-1"},
      {"measure", "--voltage", "1", "--settle", "nan"},
      {"measure", "--voltage", "1", "--patience", "inf"},
      {"measure", "--voltage", "1", "--csv", "--json"},
      {"watch", "--interval", "nan"},
      {"watch", "--rows", "-1"},
  };
  for (const auto& words : cases) {
    EXPECT_EQ(daemon_.Run(words).status, ExitStatus::kUsage) << testing::PrintToString(words);
  }
  EXPECT_TRUE(daemon_.Opcodes().empty());
}

TEST(UnitFor, HasOneToThreeDigitsBeforeThePoint) {
  struct {
    const char* unit;
    double value;
    const char* shown;
    double number;
  } const cases[] = {
      {"pF", 350, "pF", 350},         {"pF", 1234, "nF", 1.234}, {"pF", 2.5e7, "uF", 25},
      {"mA", 3.77, "mA", 3.77},       {"mA", -0.4, "uA", -400},  {"mA", 5000, "A", 5},
      {"kV", 0.01, "V", 10},          {"kV", 10, "kV", 10},      {"ohm", 2.6e6, "Mohm", 2.6},
      {"ohm", 1e15, "Gohm", 1e6},     {"W", 4e-8, "nW", 40},     {"pF", 1e-4, "pF", 1e-4},
      {"%", 0.001, "%", 0.001},       {"Hz", 4000, "Hz", 4000},  {"H", 0, "H", 0},
      {"H", INFINITY, "H", INFINITY},
  };
  for (const auto& c : cases) {
    const host::Quantity quantity{"", "", c.unit, c.value};
    const host::ShownUnit unit = host::UnitFor(quantity);
    EXPECT_EQ(unit.name, c.shown) << c.value << c.unit;
    EXPECT_DOUBLE_EQ(c.value * unit.factor, c.number) << c.value << c.unit;
  }
}

TEST(SweepList, GoesFromEndToEnd) {
  EXPECT_THAT(host::SweepList(10, 40, 4, false), ElementsAre(10, 20, 30, 40));
  EXPECT_THAT(host::SweepList(1000, 1, 4, true),
              ElementsAre(1000, testing::DoubleNear(100, 1e-9), testing::DoubleNear(10, 1e-9), 1));
}

TEST(Plot, TicksAreRoundAndFew) {
  EXPECT_THAT(host::Ticks(15, 400, true), ElementsAre(20, 50, 100, 200));
  EXPECT_THAT(host::Ticks(21, 49, true), ElementsAre(25, 30, 35, 40, 45));
  EXPECT_THAT(host::Ticks(0.13, 1.02, false),
              testing::Pointwise(testing::DoubleNear(1e-12), {0.2, 0.4, 0.6, 0.8, 1.0}));
  EXPECT_LE(host::Ticks(1e20, std::nextafter(1e20, 2e20), false).size(), 10U);
}

TEST(TestKinds, HaveNames) {
  for (const char* text : {"pf", "TEST_HVVFPF", "hvvfpf"}) {
    ASSERT_NE(host::FindTestKind(text), nullptr) << text;
    EXPECT_EQ(host::FindTestKind(text)->type, 7);
  }
  EXPECT_EQ(host::FindTestKind(""), nullptr);
  for (int i = 0; const host::TestKind& kind : host::TestKinds()) EXPECT_EQ(kind.type, i++);
}

}  // namespace
