// The clock generator: what it makes of its registers, and what its bus does.
#include <gmock/gmock.h>

#include <numeric>
#include <thread>

#include "tests/simulator/si5338_fixture.h"

namespace simulator {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ClockChipTest, OutputFollowsTheWordsExactly) {
  Start();
  EXPECT_EQ(Chip("clk0"), "ok off");
  Program(Plan(kMsn60Hz, kMs60Hz, 0));
  EXPECT_EQ(GetRegister(218), 0U);
  EXPECT_EQ(Chip("clk0"), "ok off");
  Finish();
  EXPECT_EQ(Chip("pll"), "ok locked");
  EXPECT_EQ(Chip("clk0"), "ok 15728640 Hz");

  // dividers with fractions of their own: 25 MHz x (301/3) / (1101/7) / 4
  Program(Plan({100, 1, 3}, {157, 2, 7}, 2));
  Finish();
  const std::uint64_t over = 25000000ULL * 301 * 7;
  const std::uint64_t under = 3ULL * 1101 * 4;
  const std::uint64_t common = std::gcd(over, under);
  EXPECT_THAT(Chip("clk0"), StartsWith("ok " + std::to_string(over / common) + "/" +
                                       std::to_string(under / common) + " = 3986905.84"));
  // the widest words: a VCO of 100 x 25 MHz less a little
  Program(Plan({99, 1073741822, 1073741823}, {100, 1073741821, 1073741823}, 5));
  Finish();
  // 25e6 (100 c - 1) / (101 c - 2) / 32 with c = 2^30 - 1; both factors are odd
  EXPECT_THAT(Chip("clk0"), HasSubstr(" = 773514.8"));

  Change(230, 0x01, 0x01);
  EXPECT_EQ(Chip("clk0"), "ok off");
  Change(110, 0xC0, 0xC0);  // always on, whatever the enable says
  EXPECT_THAT(Chip("clk0"), HasSubstr(" = "));
  Change(31, 0x01, 0x01);
  EXPECT_EQ(Chip("clk0"), "ok off");
}

TEST_F(ClockChipTest, IllegalSetsDoNotLockAndALegalOneThenDoes) {
  Start();
  const auto good = Plan(kMsn60Hz, kMs60Hz, 0);
  const struct {
    const char* what;
    std::map<std::size_t, std::uint8_t> changed;
    const char* reason;
  } cases[] = {
      {"PFD below 5 MHz", {{29, 0x43}}, "PFD at 3125000 Hz"},
      {"phase gain far off", {{48, 90}}, "PLL_KPHI 90"},
      {"PLL not enabled", {{50, 0x04}}, "register 50"},
      {"MSN without denominator", {{103, 0}, {104, 0}, {105, 0}, {106, 0x80}}, "MSN"},
      {"MSN above 116", {{98, 0x38}}, "VCO at"},
      {"input with nothing on it", {{28, 0x2B}, {29, 0x48}}, "no reference"},
  };
  for (const auto& c : cases) {
    auto set = good;
    for (const auto& [address, value] : c.changed) set[address] = value;
    Program(set);
    EXPECT_NE(GetRegister(218) & 0x15U, 0U) << c.what;
    EXPECT_THAT(Chip("pll"), HasSubstr(c.reason)) << c.what;
    EXPECT_NE(Chip("clk0"), "ok 15728640 Hz") << c.what;
  }
  Program(good);
  EXPECT_EQ(GetRegister(218), 0U);
  Finish();
  EXPECT_EQ(Chip("clk0"), "ok 15728640 Hz");

  // the calibration of another VCO frequency does not hold this one
  Change(46, 0xFF, static_cast<std::uint8_t>(GetRegister(46) ^ 0x80));
  EXPECT_THAT(Chip("pll"), HasSubstr("FCAL_OVRD"));
  // a divider that only exists with its own bit
  auto four = Plan(kMsn60Hz, {4, 0, 1}, 3);
  Program(four);
  Finish();
  EXPECT_EQ(Chip("clk0"), "ok off");
  four[51] |= 0x10;
  Program(four);
  Finish();
  EXPECT_EQ(Chip("clk0"), "ok 77660160 Hz");
}

TEST_F(ClockChipTest, AlarmsBeginAndEndWithTime) {
  Start();
  Program(Plan(kMsn60Hz, kMs60Hz, 0));
  SetRegister(246, 0x02);
  EXPECT_EQ(GetRegister(218), 0x11U);
  clock_.Advance(Si5338::kCalibrationTime);
  EXPECT_EQ(GetRegister(218), 0x10U);
  Change(241, 0x80, 0x80);
  EXPECT_EQ(GetRegister(218), 0x00U);
  Change(241, 0x80, 0x00);
  EXPECT_EQ(Chip("pll"), "ok locking");
  clock_.Advance(Si5338::kLockTime);
  EXPECT_EQ(GetRegister(218), 0U);

  ASSERT_EQ(SetChip("reference off"), "ok");
  EXPECT_EQ(GetRegister(218), 0x14U);
  ASSERT_EQ(SetChip("reference 25000100"), "ok");
  EXPECT_EQ(GetRegister(218), 0x14U);
  clock_.Advance(std::chrono::milliseconds(25));
  EXPECT_EQ(GetRegister(218), 0U);
  Finish();
  EXPECT_THAT(Chip("clk0"), HasSubstr(" = 15728702.91"));  // 4 ppm above

  ASSERT_EQ(SetChip("pll lost"), "ok");
  EXPECT_EQ(GetRegister(218), 0x10U);
  EXPECT_EQ(Chip("clk0"), "ok unlocked");
  SetRegister(97, 0);  // a change under a locked PLL
  EXPECT_EQ(GetRegister(218), 0x10U);
}

TEST_F(ClockChipTest, PagesAndMasks) {
  Start();
  SetRegister(290, 0xA5);
  EXPECT_EQ(GetRegister(290), 0xA5U);
  EXPECT_EQ(GetRegister(34), 0U);  // the same place on the other page
  SetRegister(299, 0xFF);
  EXPECT_EQ(GetRegister(299), 0x0FU);
}

TEST_F(ClockChipTest, TwoClientsKeepTheirTransactionsApart) {
  Start();
  const auto read_on = [&](std::uint8_t address, int expected) {
    const int fd = backend_->Open("/dev/i2c-1", O_RDWR, 0);
    ASSERT_EQ(backend_->Ioctl(fd, I2C_SLAVE_FORCE, reinterpret_cast<void*>(kAddress)), 0);
    int wrong = 0;
    for (int i = 0; i < 2000; ++i) {
      i2c_smbus_data data{};
      i2c_smbus_ioctl_data request{I2C_SMBUS_READ, address, I2C_SMBUS_BYTE_DATA, &data};
      wrong += backend_->Ioctl(fd, I2C_SMBUS, &request) != 0 || data.byte != expected ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0) << address;
    backend_->Close(fd);
  };
  std::jthread first([&] { read_on(2, 0x26); });
  std::jthread second([&] { read_on(27, 0x70); });
}

}  // namespace
}  // namespace simulator
