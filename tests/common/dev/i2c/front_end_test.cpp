// The CPLD's status bits and the sensors' words.
#include <gtest/gtest.h>

#include <libconfig.h++>

#include "common/dev/i2c/chips/temperature.h"
#include "common/dev/i2c/front_end/meas_channel_regs.h"
#include "common/msg/state/hmp_data.h"
#include "tests/common/msg/state/error_list.h"

namespace {

using Dev::MeasChCfgReg;
using Msg::ghmp;

class FrontEnd : public testing::Test {
 protected:
  FrontEnd() { Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE); }
  libconfig::Config config;
};

TEST_F(FrontEnd, EveryStatusBitHasItsWord) {
  for (int status = 0; status < 256; ++status) {
    ghmp->ClearErrorCodes();
    const bool good =
        MeasChCfgReg::IsSuccessfulTransaction(static_cast<std::uint8_t>(status), *ghmp);
    std::vector<int> expected;
    for (int bit = 7; bit >= 0; --bit) {
      if ((status >> bit & 1) != 0) expected.push_back(736 + 7 - bit);
    }
    EXPECT_EQ(good, expected.empty());
    if (!expected.empty()) expected.insert(expected.begin(), 2);
    EXPECT_EQ(ListOf(*ghmp), expected) << status;
    EXPECT_EQ(Dev::NotBusyMeasFPGAStatus(static_cast<std::uint8_t>(status)),
              (status & 0x80) == 0 || (status & 0x40) == 0);
  }
}

TEST(Temperature, WordsAreTwosComplement) {
  const struct {
    int raw;
    double celsius;
  } cases[] = {{0x1980, 25.5}, {0xFFF0, -0.0625}, {0x8000, -128}, {0x7FF0, 127.9375}};
  for (const auto& [raw, celsius] : cases) {
    EXPECT_FLOAT_EQ(Dev::temp_ctoc(raw), static_cast<float>(celsius));
    EXPECT_FLOAT_EQ(Dev::temp_ctof(raw), static_cast<float>(celsius * 1.8 + 32));
  }
}

}  // namespace
