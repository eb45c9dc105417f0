// Which filter a test takes.
#include "common/signalh/filter_selection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using signalh::FilterSelectionR3;

struct FilterSelection : testing::Test {
  Msg::TestParameters test;
};

TEST_F(FilterSelection, FiltersFollowTheFrequency) {
  test.testype = Msg::TEST_FREQUENCY_SWEEP_DFR;
  for (const auto& [bound, filter] : {std::pair{0.00316F, 3}, {1.0F, 8}, {316.0F, 13}}) {
    EXPECT_EQ(FilterSelectionR3(test, bound), filter);
    EXPECT_EQ(FilterSelectionR3(test, std::nextafter(bound, 1e9F)), filter + 1);
  }
  EXPECT_EQ(FilterSelectionR3(test, 1e9F), 14);
  EXPECT_EQ(FilterSelectionR3(test, std::numeric_limits<float>::quiet_NaN()), 15);
}

TEST_F(FilterSelection, FiltersFollowBoardAndTest) {
  constexpr short kOff = 0;
  constexpr short kOn = Msg::MODESW1_FILTER;
  const struct {
    const char* what;
    short modesw1;
    int revision;
    Msg::RNG_TEST_TYPE test;
    Msg::SOURCE_E source;
    float freq;
    int filter;
  } cases[] = {
      {"off, old board", kOff, 2, Msg::TEST_HVVFPF, Msg::internalHVVoltageSourceE, 60, 0},
      {"off, new board", kOff, 3, Msg::TEST_HVVFPF, Msg::internalHVVoltageSourceE, 60, 1},
      {"old board", kOn, 2, Msg::TEST_LVTTR, Msg::internalHVVoltageSourceE, 0.05F, 2},
      {"rule 1, low", kOn, 3, Msg::TEST_HVVFPF, Msg::internalHVVoltageSourceE, 69.99F, 2},
      {"rule 1, high", kOn, 3, Msg::TEST_HVVFPF, Msg::internalHVVoltageSourceE, 70, 12},
      {"rule 2", kOn, 3, Msg::TEST_HVTTR, Msg::internalHVVoltageSourceE, 400, 2},
      {"rule 2 before 3", kOn, 3, Msg::TEST_DEMAG, Msg::internalHVVoltageSourceE, 5, 2},
      {"rule 3", kOn, 3, Msg::TEST_LVTTR, Msg::internalHVVoltageSourceE, 50, 12},
      {"rule 3, DC current", kOn, 3, Msg::TEST_WINDING_RESISTANCE, Msg::internalDCCurrentSourceE,
       50, 7},
      {"rule 3, DC voltage", kOn, 4, Msg::TEST_DCIR, Msg::internalDCLVVoltageSourceE, 50, 7},
      {"no rule", kOn, 3, Msg::TEST_NONE, Msg::internalHVVoltageSourceE, 50, 2},
  };
  for (const auto& c : cases) {
    test.modesw1 = c.modesw1;
    test.testype = c.test;
    test.sourcemode = c.source;
    const Dev::MeasChCfgReg chosen =
        signalh::SelectFilter(Dev::cfg04_filter, test, c.freq, c.revision);
    EXPECT_EQ(chosen.GetFilter(), c.filter) << c.what;
    EXPECT_EQ(chosen.InputMode, Dev::cfg04_filter.InputMode) << c.what;
    EXPECT_EQ(chosen.Bytes()[2], Dev::cfg04_filter.Bytes()[2]) << c.what;
  }
  test.testype = Msg::TEST_OLTC_DRM;
  EXPECT_EQ(FilterSelectionR3(test, 0.05F), 10);
}

}  // namespace
