// A sweep: its frequencies, the ranges that it chooses, what it prints as it goes, and its plot.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/plot.h"
#include "host/ranges.h"
#include "tests/host/measuring_daemon.h"

namespace {

using host::ExitStatus;
using test::Bytes;
using test::FloatAt;
using test::WordAt;
using testing::ElementsAre;
using testing::HasSubstr;

class SweepTest : public test::HostTest {
 protected:
  // Frequency and current range of every update.
  std::vector<std::pair<float, int>> Updates() {
    std::vector<std::pair<float, int>> list;
    for (const Bytes& update : daemon_.Asked(0x04)) {
      list.emplace_back(FloatAt(update, 24), WordAt(update, 22));
    }
    return list;
  }

  test::MeasuringDaemon daemon_;
};

TEST_F(SweepTest, UpdatesARunningTestAndPlots) {
  for (const char* name : {"plot.svg", "plot.png"}) {
    test::MeasuringDaemon daemon;
    const std::string file = root_.Path() + "/" + name;
    const auto run = daemon.Run(
        "sweep --lv --voltage 10 --frequencies 20,50.5,400 --range-current 3 --polls 1 --json "
        "--plot " +
        file);
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
}

// 3.1 mA RMS: 4.4 mA peak, which the range of 7.5 mA holds and that of 0.75 mA does not. A new
// frequency begins where a device that takes more in proportion does not exceed the range.
TEST_F(SweepTest, ChoosesTheRangeOfEachPoint) {
  auto run = daemon_.Run("sweep --voltage 10000 --frequencies 50,100 --csv");
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
  using Update = std::pair<float, int>;
  EXPECT_THAT(Updates(), ElementsAre(Update(50, 1), Update(50, 5), Update(100, 4), Update(100, 5)));

  // where the samples exceed that, the one before it is taken
  test::MeasuringDaemon clipped;
  clipped.on_request = [&clipped, updates = 0](const Bytes& request) mutable {
    if (request[2] == 0x04 && ++updates == 2) clipped.progress = std::vector(100, 0x0040);
    if (request[2] == 0x04 && updates == 3) clipped.progress.clear();
  };
  run = clipped.Run("sweep --voltage 10000 --frequencies 50");
  EXPECT_EQ(run.status, ExitStatus::kOk) << run.err;
  EXPECT_EQ(WordAt(clipped.Asked(0x04).back(), 22), 4);
}

TEST_F(SweepTest, ResultsBeforeAFailureArePrinted) {
  for (const char* form : {"--json", "--csv"}) {
    test::MeasuringDaemon daemon;
    daemon.on_request = [&daemon, updates = 0](const Bytes& request) mutable {
      if (request[2] == 0x04 && ++updates == 3) daemon.refuse = {{0x06, 1104}};
    };
    const auto run = daemon.Run(
        std::string("sweep --voltage 10000 --range-current 5 --points 4 --polls 1 ") + form);
    EXPECT_EQ(run.status, ExitStatus::kNak);
    EXPECT_EQ(daemon.Asked(0x37).size(), 1U);
    if (std::string_view(form) == "--csv") {
      EXPECT_EQ(std::ranges::count(run.out, '\n'), 3) << run.out;
      continue;
    }
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json.at("measurements").size(), 2U);
    EXPECT_EQ(json.at("errors").at(0).at("code"), 1104);
  }
}

TEST(Ranges, TheMostSensitiveWithRoom) {
  struct {
    double peak;
    int range;
  } const cases[] = {{100, 1}, {40, 1}, {4, 2}, {4.4e-3, 5}, {4e-5, 7}, {1e-9, 7}, {0, 7}};
  for (const auto& c : cases)
    EXPECT_EQ(host::RangeFor(Msg::ACDC_Current, c.peak), c.range) << c.peak;
}

TEST(Plot, TicksAreRoundAndFew) {
  EXPECT_THAT(host::Ticks(15, 400, true), ElementsAre(20, 50, 100, 200));
  EXPECT_THAT(host::Ticks(0.13, 1.02, false),
              testing::Pointwise(testing::DoubleNear(1e-12), {0.2, 0.4, 0.6, 0.8, 1.0}));
  EXPECT_LE(host::Ticks(1e20, std::nextafter(1e20, 2e20), false).size(), 10U);
}

}  // namespace
