// Register images of the CPLD as they travel.
#include <gtest/gtest.h>

#include <libconfig.h++>

#include "common/dev/i2c/chips/temperature.h"
#include "common/dev/i2c/front_end/meas_channel_regs.h"
#include "common/msg/state/hmp_data.h"
#include "tests/common/msg/state/error_list.h"

namespace {

using Dev::MeasChCfgReg;
using Dev::MeasChStaReg;
using Msg::ghmp;

class FrontEnd : public testing::Test {
 protected:
  FrontEnd() { Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE); }
  libconfig::Config config;
};

TEST_F(FrontEnd, RegistersTravelMostSignificantByteFirst) {
  const std::array<std::uint8_t, 4> identity{0x09, 0x85, 0x01, 0x02};
  const auto version = Dev::MeasChCpldIdRev::ToStruct(identity);
  EXPECT_EQ(version.cpldId, 0x0985);
  EXPECT_EQ(version.revision, 0x0102);

  EXPECT_EQ(Dev::cfg0.ToBytes(), (std::array<std::uint8_t, 4>{0x02, 0xC1, 0xE2, 0x20}));
  const std::array<std::uint8_t, 9> wire{0x81, 0xC1, 0xE2, 0x40, 0x4A, 0x2E, 0x20, 0x00, 0x01};
  const auto status = MeasChStaReg::ToStruct(wire);
  EXPECT_EQ(status.Status(), 0x81);
  EXPECT_EQ(status.FaultN, 1);
  EXPECT_EQ(status.OverInputN, 1);
  EXPECT_EQ(status.SelVoltHi, 1);
  EXPECT_EQ(status.FilterA, 1);
  EXPECT_EQ(status.CfgReg.InputMode, Msg::AC_Volt);
  EXPECT_EQ(status.CfgReg.GetFilter(), 2);
  EXPECT_EQ(status.RangeEcho(0x0985), 0x4A);
  EXPECT_EQ(status.RangeEcho(0x1093), 0x2E);
  EXPECT_EQ(status.RangeEcho(0x1234), -1);
}

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
