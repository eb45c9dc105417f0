// The I2C buses and the chips that hang on them.
#include "simulator/i2c/bus.h"

#include <gmock/gmock.h>
#include <linux/i2c.h>

#include <fstream>
#include <thread>

#include "simulator/i2c/eeprom.h"
#include "simulator/i2c/tmp112.h"
#include "tests/simulator/i2c_fixture.h"

namespace simulator {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST_F(I2cTest, AnEmptyAddressAnswersAsAnEmptyBusDoes) {
  Start();
  EXPECT_EQ(Write(1, 0x51, {0}), -ENXIO);
  EXPECT_TRUE(Read(1, 0x51, 2).empty());
  EXPECT_EQ(error_, ENXIO);
  EXPECT_EQ(backend_->Ioctl(File(1), I2C_SLAVE, reinterpret_cast<void*>(0x80)), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(backend_->Ioctl(File(1), I2C_RETRIES, reinterpret_cast<void*>(3)), 0);
  EXPECT_EQ(Ask(1, 0x50, {0, 0}, 1).size(), 1U);
}

TEST_F(I2cTest, EachFileHasItsOwnAddress) {
  Start();
  const int other = backend_->Open("/dev/i2c-1", O_RDWR, 0);
  ASSERT_EQ(backend_->Ioctl(other, I2C_SLAVE, reinterpret_cast<void*>(0x2D)), 0);
  Select(1, 0x50);
  const std::uint8_t question[] = {0x3F, 0x5A};
  EXPECT_EQ(backend_->Write(other, question, 2), 2);
  EXPECT_EQ(Ask(1, 0x2D, {0x3F}, 1), Bytes{0x5A});
}

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
  SelectChannels(0x0C);
  EXPECT_EQ(Write(2, 0x52, {0, 0}), 2);
  EXPECT_EQ(Write(2, 0x53, {0, 0}), 2);
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

TEST(I2cBus, TwoChipsOnTwoBranchesShareTheLines) {
  platform::FakeClock clock;
  Units units;
  const Surroundings around{clock, units, 1};
  Pca9544a mux("mux", around, Pca9544a::Select::kOneHot);
  Tmp112 first("first", around);
  Tmp112 second("second", around);
  I2cBus bus;
  bus.SetMux(mux);
  ASSERT_TRUE(bus.Add({I2cBus::kRoot, 0x68, &mux}));
  ASSERT_TRUE(bus.Add({0, 0x48, &first}));
  ASSERT_TRUE(bus.Add({1, 0x48, &second}));
  EXPECT_FALSE(bus.Add({1, 0x48, &first}));

  const Bytes both{0x03};
  const Bytes limit{2, 0xF0, 0xF0};
  ASSERT_EQ(bus.Write(0x68, both), 1);
  ASSERT_EQ(bus.Write(0x48, limit), 3);
  const Bytes only_second{0x02};
  const Bytes other_limit{2, 0xCC, 0xC0};
  ASSERT_EQ(bus.Write(0x68, only_second), 1);
  Bytes answer(2);
  ASSERT_EQ(bus.Read(0x48, answer), 2);
  EXPECT_THAT(answer, ElementsAre(0xF0, 0xF0));  // the write had reached both
  ASSERT_EQ(bus.Write(0x48, other_limit), 3);
  ASSERT_EQ(bus.Write(0x68, both), 1);
  ASSERT_EQ(bus.Read(0x48, answer), 2);
  EXPECT_THAT(answer, ElementsAre(0xC0, 0xC0));
  ASSERT_EQ(AnswerControlLine(units, "fault second off"), "ok");
  ASSERT_EQ(bus.Read(0x48, answer), 2);
  EXPECT_THAT(answer, ElementsAre(0xF0, 0xF0));
}

TEST_F(I2cTest, TemperaturesInTheResolutionOfThePart) {
  Start();
  const struct {
    const char* celsius;
    Bytes word;
  } cases[] = {
      {"25", {0x19, 0x00}},     {"-1", {0xFF, 0x00}},       {"0.0625", {0x00, 0x10}},
      {"-25.25", {0xE6, 0xC0}}, {"127.9375", {0x7F, 0xF0}}, {"-55", {0xC9, 0x00}},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(Control(std::string("set i2c.CORE.TMP112.3.temperature ") + c.celsius), "ok");
    EXPECT_EQ(Ask(1, 0x4A, {0}, 2), c.word) << c.celsius;
  }
  EXPECT_EQ(Control("get i2c.CORE.TMP112.3.last"), "ok -55.0000 degC");
  EXPECT_THAT(Control("set i2c.CORE.TMP112.3.temperature 900"), StartsWith("error"));

  SelectChannels(0x04);
  ASSERT_EQ(Control("set i2c.MEAS_CH1.DS75.temperature 25.3"), "ok");
  EXPECT_EQ(Ask(2, 0x4A, {0}, 2), (Bytes{0x19, 0x80}));  // 9 bits after power-up: halves
  ASSERT_EQ(Write(2, 0x4A, {1, 0x60}), 2);
  EXPECT_EQ(Ask(2, 0x4A, {0}, 2), (Bytes{0x19, 0x50}));  // 12 bits
}

// As the data sheet of the TMP112 has it.
TEST_F(I2cTest, ConfigurationAndExtendedModeOfTheSensor) {
  Start();
  const auto set = [this](const char* celsius) {
    ASSERT_EQ(Control(std::string("set i2c.CORE.TMP112.1.temperature ") + celsius), "ok");
  };
  EXPECT_EQ(Ask(1, 0x48, {1}, 2), (Bytes{0x60, 0xA0}));
  EXPECT_EQ(Write(1, 0x48, {1, 0x1E, 0x4F}), 3);  // resolution, alert and the low bits stay
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0x7E, 0x40}));
  EXPECT_EQ(Write(1, 0x48, {1, 0x00}), 2);
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0x60, 0x60}));  // the upper byte alone
  EXPECT_EQ(Write(1, 0x48, {0, 0x55, 0x55}), 3);
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0x1F, 0x00})) << "the temperature cannot be written";
  set("149");
  EXPECT_EQ(Ask(1, 0x48, {0}, 2), (Bytes{0x7F, 0xF0})) << "the highest of 12 bits";
  EXPECT_EQ(Write(1, 0x48, {1, 0x60, 0xB0}), 3);
  const struct {
    const char* celsius;
    Bytes word;
  } extended[] = {{"149", {0x4A, 0x81}},
                  {"150", {0x4B, 0x01}},
                  {"25", {0x0C, 0x81}},
                  {"0.0625", {0x00, 0x09}},
                  {"-55", {0xE4, 0x81}}};
  for (const auto& c : extended) {
    set(c.celsius);
    EXPECT_EQ(Ask(1, 0x48, {0}, 2), c.word) << c.celsius;
  }
  EXPECT_EQ(Write(1, 0x48, {3, 0x28, 0x0F}), 3);
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0x28, 0x08}));

  EXPECT_EQ(Write(1, 0x48, {1, 0x61, 0xA0}), 3);  // shutdown
  EXPECT_EQ(Ask(1, 0x48, {3}, 2), (Bytes{0x28, 0x00}));
  set("10");
  EXPECT_EQ(Ask(1, 0x48, {0}, 2), (Bytes{0xC9, 0x00}));
  EXPECT_EQ(Write(1, 0x48, {1, 0xE1, 0xA0}), 3);  // one conversion
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0x61, 0xA0}));
  clock_.Advance(std::chrono::milliseconds(26));
  EXPECT_EQ(Read(1, 0x48, 2), (Bytes{0xE1, 0xA0}));
  set("20");
  EXPECT_EQ(Ask(1, 0x48, {0}, 2), (Bytes{0x0A, 0x00}));
}

TEST_F(I2cTest, TheSensorAlertsAfterItsFaultQueue) {
  Start();
  const auto alert_bit = [this] { return Ask(1, 0x48, {1}, 2)[1] >> 5 & 1; };
  ASSERT_EQ(Write(1, 0x48, {1, 0x70, 0xA0}), 3);  // four faults in a row, at 4 Hz
  ASSERT_EQ(Control("set i2c.CORE.TMP112.1.temperature 80"), "ok");
  clock_.Advance(std::chrono::milliseconds(700));
  EXPECT_EQ(alert_bit(), 1);
  ASSERT_EQ(Control("set i2c.CORE.TMP112.1.temperature 79"), "ok");  // breaks the row
  ASSERT_EQ(Control("set i2c.CORE.TMP112.1.temperature 81"), "ok");
  clock_.Advance(std::chrono::milliseconds(700));
  EXPECT_EQ(alert_bit(), 1);
  clock_.Advance(std::chrono::milliseconds(100));
  EXPECT_EQ(alert_bit(), 0);
  ASSERT_EQ(Write(1, 0x48, {1, 0x64}), 2);  // active high; one fault
  EXPECT_EQ(alert_bit(), 1);
  ASSERT_EQ(Control("set i2c.CORE.TMP112.1.temperature 75"), "ok");
  EXPECT_EQ(alert_bit(), 1) << "not yet below the lower limit";
  ASSERT_EQ(Control("set i2c.CORE.TMP112.1.temperature 74.9"), "ok");
  EXPECT_EQ(alert_bit(), 0);
}

TEST_F(I2cTest, TheOlderChannelBoardHasItsSensorElsewhere) {
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
  EXPECT_EQ(Write(2, 0x23, {2, 0x0F, 0xFC, 3, 5}), 5);
  EXPECT_EQ(Ask(2, 0x23, {2}, 2), (Bytes{0x0F, 0xFC}));
  EXPECT_EQ(Ask(2, 0x23, {3}, 1), Bytes{5});
  EXPECT_EQ(Write(2, 0x23, {3, 0}), 2);
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

TEST_F(I2cTest, WhileTheCycleTimerRunsChannelsTakeTurns) {
  Start();
  SelectChannels(0x08);
  ASSERT_EQ(Write(2, 0x24, {2, 0x00, 0x90, 3, 1}), 5);  // channels 0 and 3
  ASSERT_EQ(Write(2, 0x24, {0xA0}), 1);                 // a command does not help
  std::vector<int> channels;
  for (int i = 0; i < 4; ++i) channels.push_back(Read(2, 0x24, 2)[0] >> 4);
  EXPECT_THAT(channels, ElementsAre(3, 0, 3, 0));
}

TEST_F(I2cTest, ExpanderPinsFollowTheirDirection) {
  Start();
  EXPECT_EQ(Ask(2, 0x41, {0}, 1), Bytes{0xFF});
  EXPECT_EQ(Write(2, 0x41, {3, 0xFD}), 2);
  EXPECT_EQ(Write(2, 0x41, {1, 0xFC}), 2);
  EXPECT_EQ(Ask(2, 0x41, {0}, 1), Bytes{0xFD});
  EXPECT_EQ(Write(2, 0x41, {2, 0x01}), 2);
  EXPECT_EQ(Ask(2, 0x41, {0}, 1), Bytes{0xFC});
}

TEST_F(I2cTest, EepromReadsOnAndWrapsAndTakesPages) {
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

TEST(Eeprom, LargerPartsHaveLongerPages) {
  const struct { std::size_t bytes, page; } parts[] = {{100, 32}, {4097, 64}, {32769, 128}};
  for (const auto& part : parts) {
    SCOPED_TRACE(part.page);
    platform::FakeClock clock;
    Units units;
    Ee24lc32 chip("chip", {clock, units, 1}, Bytes(part.bytes, 0));
    Bytes page{0, 0};
    for (std::size_t i = 0; i <= part.page; ++i) page.push_back(static_cast<std::uint8_t>(i + 1));
    ASSERT_EQ(chip.Write(page), static_cast<ssize_t>(page.size()));
    EXPECT_EQ(chip.Bytes(0, 2), (Bytes{static_cast<std::uint8_t>(part.page + 1), 2}));
    EXPECT_NE(chip.Bytes(part.page, 1), Bytes{page.back()});
  }
}

TEST_F(I2cTest, AMemoryIsShownDamagedAndRestored) {
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
  EXPECT_EQ(Control(memory + "show 4095"), "ok ff");
  for (const char* bad : {"flip 4096 0", "flip 0 8", "flip 0", "show", "show x", "burn"}) {
    EXPECT_THAT(Control(memory + bad), StartsWith("error")) << bad;
  }
  EXPECT_EQ(Control("memory fpga blank"), "error no memory fpga");
}

TEST_F(I2cTest, EveryFaultOfAChipShowsAndHeals) {
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
  ASSERT_EQ(Control("fault " + chip + " intermittent 50"), "ok");
  int failed = 0;
  for (int i = 0; i < 200; ++i) failed += read().empty() ? 1 : 0;
  EXPECT_NEAR(failed, 100, 30);
  ASSERT_EQ(Control("fault " + chip + " slow 300"), "ok");
  std::jthread reader([&] { EXPECT_EQ(read().size(), 2U); });
  ASSERT_TRUE(clock_.AwaitBlocked(1));
  clock_.Advance(std::chrono::milliseconds(300));
  reader.join();
  EXPECT_EQ(Control("fault " + chip + " wrong"), "error unsupported");
  ASSERT_EQ(Control("fault " + chip + " ok"), "ok");

  ASSERT_EQ(Control("set " + chip + ".fail_after 1"), "ok");
  EXPECT_EQ(read(), Bytes{0x15});
  ASSERT_EQ(Control("set " + chip + ".fail_after 0"), "ok");
  EXPECT_TRUE(read().empty());
  EXPECT_EQ(error_, EIO);
  ASSERT_EQ(Control("set " + chip + ".fail_after off"), "ok");
  ASSERT_EQ(Control("set " + chip + ".fail_transfer 2"), "ok");
  EXPECT_EQ(read().size(), 2U);
  EXPECT_TRUE(read().empty());
  EXPECT_EQ(error_, EIO);
  EXPECT_EQ(read(), (Bytes{0x15, 0x00}));
  EXPECT_THAT(Control("set " + chip + ".fail_after many"), StartsWith("error"));
  EXPECT_THAT(Control("get " + chip + ".transfers"), HasSubstr("1 writes"));
}

TEST_F(I2cTest, ChipsAreListedWithTheirPlaces) {
  Start();
  const std::string list = Control("get i2c.chips");
  EXPECT_THAT(list, HasSubstr("i2c.SIGNAL_HOST.PCA9544A at 2 0x68: 0 reads"));
  EXPECT_THAT(list, HasSubstr("i2c.MEAS_CH2.DAC8571 at 2.3 0x4E: "));
}

TEST_F(I2cTest, EepromsHoldWhatTheConfigurationNames) {
  std::ofstream(root_ / "image") << "damaged";
  config_.eeprom = {"blank", "raw", "raw", root_ / "image"};
  Start();
  EXPECT_EQ(Control("memory i2c.CORE.EE24LC32 show 0 3"), "ok ff ff ff");
  EXPECT_EQ(Control("memory i2c.SIGNAL_HOST.EE24LC32 show 0 3"), "ok 35 51 01");
  EXPECT_EQ(Control("memory i2c.MEAS_CH1.EE24LC32 show 0 3"), "ok 35 51 01");
  EXPECT_EQ(Control("memory i2c.MEAS_CH2.EE24LC32 show 0 8"), "ok 64 61 6d 61 67 65 64 ff");
}

TEST_F(I2cTest, FilesThatCannotBeTakenStopTheInstrument) {
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
  config.eeprom[0] = root_ / "none";
  EXPECT_THAT(problem(config), HasSubstr("none: No such file"));
}

TEST_F(I2cTest, TheMainModuleHasNoChannelBoards) {
  config_.module = Module::kMain;
  Start();
  EXPECT_EQ(Write(1, 0x48, {0}), 1);
  EXPECT_EQ(Write(2, 0x68, {4}), -ENXIO);
}

}  // namespace
}  // namespace simulator
