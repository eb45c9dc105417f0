// The I2C buses and the chips that hang on them.
#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "tests/simulator/i2c_fixture.h"

namespace simulator {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(I2cTest, TheMultiplexerSwitchesBranches) {
  Start();
  EXPECT_EQ(Write(2, 0x52, {0, 0}), -ENXIO);
  SelectChannels(0x04);
  EXPECT_EQ(Read(2, 0x68, 1), Bytes{0x04});
  EXPECT_EQ(Write(2, 0x52, {0, 0}), 2);
  EXPECT_EQ(Write(2, 0x53, {0, 0}), -ENXIO);
  SelectChannels(0x08);
  EXPECT_EQ(Write(2, 0x52, {0, 0}), -ENXIO);
  EXPECT_EQ(Write(2, 0x53, {0, 0}), 2);
  EXPECT_EQ(Write(2, 0x50, {0, 0}), 2);  // the root is always there
  SelectChannels(0);
  EXPECT_EQ(Write(2, 0x53, {0, 0}), -ENXIO);
}

TEST_F(I2cTest, AnOldBoardSelectsByNumber) {
  config_.board_revision = 2;
  config_.i2c_switch = false;
  Start();
  EXPECT_EQ(Write(2, 0x68, {0x04}), -ENXIO);
  EXPECT_EQ(Write(2, 0x74, {0x06}), 1);
  EXPECT_EQ(Write(2, 0x52, {0, 0}), 2);
  EXPECT_EQ(Write(2, 0x53, {0, 0}), 2);  // without the switch on the same branch
  EXPECT_EQ(Write(2, 0x74, {0x02}), 1);  // a number without the enable bit
  EXPECT_EQ(Write(2, 0x52, {0, 0}), -ENXIO);
}

TEST_F(I2cTest, TemperaturesInTheResolutionOfThePart) {
  Start();
  const struct {
    const char* celsius;
    Bytes word;
  } cases[] = {
      {"0.0625", {0x00, 0x10}},
      {"-25.25", {0xE6, 0xC0}},
      {"127.9375", {0x7F, 0xF0}},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(Control(std::string("set i2c.CORE.TMP112.3.temperature ") + c.celsius), "ok");
    EXPECT_EQ(Ask(1, 0x4A, {0}, 2), c.word) << c.celsius;
  }
  EXPECT_THAT(Control("set i2c.CORE.TMP112.3.temperature 900"), StartsWith("error"));
  SelectChannels(0x04);
  ASSERT_EQ(Control("set i2c.MEAS_CH1.DS75.temperature 25.3"), "ok");
  EXPECT_EQ(Ask(2, 0x4A, {0}, 2), (Bytes{0x19, 0x80}));  // 9 bits after power-up: halves
  ASSERT_EQ(Write(2, 0x4A, {1, 0x60}), 2);
  EXPECT_EQ(Ask(2, 0x4A, {0}, 2), (Bytes{0x19, 0x50}));  // 12 bits
}

TEST_F(I2cTest, TheOlderChannelBoardHasItsSensorAtAnotherAddress) {
  config_.cpld[0].id = CpldId::k0985;
  Start();
  SelectChannels(0x0C);
  EXPECT_EQ(Write(2, 0x48, {0}), 1);
  EXPECT_EQ(Write(2, 0x4A, {0}), -ENXIO);
  EXPECT_EQ(Write(2, 0x4B, {0}), 1);
}

TEST_F(I2cTest, RailsAsTwelveBitCodes) {
  Start();
  SelectChannels(0x04);
  // rail 2 feeds the dividers of the negative rails
  const char* rails[] = {"12", "-12", "5", "-5", "3", "25", "3.3"};
  for (std::size_t i = 0; i < std::size(rails); ++i) {
    const std::string name = "set i2c.MEAS_CH1.AD7998.rail" + std::to_string(i);
    ASSERT_EQ(Control(name + " " + rails[i]), "ok");
  }
  ASSERT_EQ(Write(2, 0x4C, {0x10, 0x80, 0x00}), 3);
  double codes[8];
  for (std::uint8_t i = 0; i < 8; ++i) {
    const Bytes word = Ask(2, 0x23, {static_cast<std::uint8_t>((i << 4) + 0x80)}, 2);
    EXPECT_EQ(word[0] >> 4, i);
    codes[i] = (word[0] & 0x0F) << 8 | word[1];
  }
  EXPECT_NEAR(codes[0] / 4096 * 15, 12, 0.004);
  EXPECT_NEAR(codes[1] / 4096 * 12 - codes[2] / 4096 * 18, -12, 0.005);
  EXPECT_NEAR(codes[2] / 4096 * 6, 5, 0.002);
  EXPECT_NEAR(codes[3] / 4096 * 9 - codes[2] / 4096 * 12, -5, 0.005);
  EXPECT_NEAR((codes[5] - 695) / 3.6, 25, 0.2);
  EXPECT_NEAR(codes[6] / 4096 * 4.5, 3.3, 0.002);
  EXPECT_NEAR(codes[7] / 4096 * 3, 1.25, 0.002);  // the DAC at its centre
}

TEST_F(I2cTest, EepromReadsContinueWrapAndTakePages) {
  Start();
  Bytes page{0x0F, 0xFE};
  for (std::uint8_t i = 0; i < 6; ++i) page.push_back(i);
  EXPECT_EQ(Write(1, 0x50, page), 8);
  EXPECT_TRUE(Read(1, 0x50, 1).empty());  // busy with writing
  EXPECT_EQ(error_, ENXIO);
  clock_.Advance(std::chrono::milliseconds(5));
  // the page went round in itself; the read goes round to address 0
  EXPECT_EQ(Ask(1, 0x50, {0x0F, 0xFE}, 4), (Bytes{0, 1, 0x35, 0x51}));
  EXPECT_EQ(Ask(1, 0x50, {0x0F, 0xE0}, 4), (Bytes{2, 3, 4, 5}));
  EXPECT_EQ(Ask(1, 0x50, {0x1F, 0xFF}, 1), Bytes{1});  // the part has no more address lines
}

TEST_F(I2cTest, AMemoryIsReadDamagedAndRestored) {
  Start();
  const std::string memory = "memory i2c.CORE.EE24LC32 ";
  EXPECT_EQ(Control(memory + "show 0 4"), "ok 35 51 01 15");
  EXPECT_EQ(Control(memory + "flip 0x1 4"), "ok");
  EXPECT_EQ(Ask(1, 0x50, {0, 0}, 2), (Bytes{0x35, 0x41}));
  EXPECT_EQ(Control(memory + "truncate 2"), "ok");
  EXPECT_EQ(Ask(1, 0x50, {0, 0}, 4), (Bytes{0x35, 0x41, 0xFF, 0xFF}));
  EXPECT_EQ(Control(memory + "blank"), "ok");
  EXPECT_EQ(Control(memory + "show 0 2"), "ok ff ff");
  EXPECT_EQ(Control(memory + "restore"), "ok");
  EXPECT_EQ(Ask(1, 0x50, {0, 0}, 4), (Bytes{0x35, 0x51, 0x01, 0x15}));
  for (const char* bad : {"flip 4096 0", "flip 0 8", "burn"}) {
    EXPECT_THAT(Control(memory + bad), StartsWith("error")) << bad;
  }
}

TEST_F(I2cTest, EveryFaultOfAChipAppearsAndEnds) {
  Start();
  const std::string chip = "i2c.CORE.TMP112.1";
  ASSERT_EQ(Control("set " + chip + ".temperature 20"), "ok");
  const Bytes good{0x14, 0x00};
  const auto read = [&] { return Read(1, 0x48, 2); };
  ASSERT_EQ(Ask(1, 0x48, {0}, 2), good);

  ASSERT_EQ(Control("fault " + chip + " off"), "ok");
  EXPECT_TRUE(read().empty());
  EXPECT_EQ(error_, ENXIO);
  ASSERT_EQ(Control("fault " + chip + " stuck"), "ok");
  ASSERT_EQ(Control("set " + chip + ".temperature 21"), "ok");
  EXPECT_EQ(read(), good);
  ASSERT_EQ(Control("fault " + chip + " garbage"), "ok");
  EXPECT_NE(std::make_pair(read(), read()), std::make_pair(good, good));
  ASSERT_EQ(Control("fault " + chip + " slow 300"), "ok");
  std::jthread reader([&] { EXPECT_EQ(read().size(), 2U); });
  ASSERT_TRUE(clock_.AwaitBlocked(1));
  clock_.Advance(std::chrono::milliseconds(300));
  reader.join();
  ASSERT_EQ(Control("fault " + chip + " ok"), "ok");

  ASSERT_EQ(Control("set " + chip + ".fail_after 1"), "ok");
  EXPECT_EQ(read(), Bytes{0x15});
  ASSERT_EQ(Control("set " + chip + ".fail_after 0"), "ok");
  EXPECT_TRUE(read().empty());
  EXPECT_EQ(error_, EIO);
  ASSERT_EQ(Control("set " + chip + ".fail_after off"), "ok");
}

TEST_F(I2cTest, EepromsContainTheConfiguredFiles) {
  std::ofstream(root_ / "image") << "damaged";
  config_.eeprom = {"blank", "raw", "raw", root_ / "image"};
  Start();
  EXPECT_EQ(Control("memory i2c.CORE.EE24LC32 show 0 3"), "ok ff ff ff");
  EXPECT_EQ(Control("memory i2c.SIGNAL_HOST.EE24LC32 show 0 3"), "ok 35 51 01");
  EXPECT_EQ(Control("memory i2c.MEAS_CH1.EE24LC32 show 0 3"), "ok 35 51 01");
  EXPECT_EQ(Control("memory i2c.MEAS_CH2.EE24LC32 show 0 8"), "ok 64 61 6d 61 67 65 64 ff");
}

TEST_F(I2cTest, UnusableFilesStopTheInstrument) {
  std::ofstream(root_ / "bad.json") << "{\"fields\": {}}";
  std::ofstream(root_ / "big") << std::string(65537, 'x');
  const auto problem = [&](const Config& config) {
    return VirtualInstrument(config, root_.Path(), clock_).Problem();
  };
  Config config;
  config.calibration[1] = root_ / "bad.json";
  EXPECT_THAT(problem(config), HasSubstr("bad.json: key 'ranges' not found"));
  config.calibration[1] = root_ / "none.json";
  EXPECT_THAT(problem(config), HasSubstr("none.json"));
  config = {};
  config.eeprom[0] = root_ / "big";
  EXPECT_THAT(problem(config), HasSubstr("EEPROM of CORE: " + (root_ / "big") + ": too big"));
}

TEST_F(I2cTest, TheMainModuleHasNoChannelBoards) {
  config_.module = Module::kMain;
  Start();
  EXPECT_EQ(Write(1, 0x48, {0}), 1);
  EXPECT_EQ(Write(2, 0x68, {4}), -ENXIO);
}

}  // namespace
}  // namespace simulator
