// A channel board: the CPLD behind its bridge, and what the physics sees of it.

#include "tests/simulator/i2c_fixture.h"

namespace simulator {
namespace {

using std::chrono::milliseconds;

class ChannelBoardTest : public I2cTest {
 protected:
  /// Channel board 1 only: the branch of the multiplexer that it hangs on.
  void Start() {
    I2cTest::Start();
    SelectChannels(0x04);
  }
  Bytes Spi(const Bytes& out, std::size_t size) { return Ask(2, kBridge, out, size); }
  Bytes StatusFrame() {
    Bytes out(25);
    out[0] = 0x04;
    return Spi(out, 24);
  }
  std::uint8_t Status() { return Spi({0x04, 0x00}, 1)[0]; }
  void Settle() { clock_.Advance(milliseconds(50)); }
  FrontEnd Settings() { return instrument_->Channel(0)->Settings(); }
  std::string Value(const std::string& name) {
    return Control("get i2c.MEAS_CH1.SC18IS602B." + name);
  }
  void SetValue(const std::string& name, const std::string& value) {
    EXPECT_EQ(Control("set i2c.MEAS_CH1.SC18IS602B." + name + " " + value), "ok");
  }

  static constexpr unsigned kBridge = 0x28;
};

TEST_F(ChannelBoardTest, BothGenerationsIdentifyThemselves) {
  config_.cpld[1] = {CpldId::k0985, 0x3031};
  Start();
  EXPECT_EQ(Write(2, kBridge, {0xF0, 0x00}), 2);
  EXPECT_EQ(Spi({0x01, 0, 0, 0, 0}, 4), (Bytes{0x10, 0x93, 0x40, 0x42}));
  SelectChannels(0x08);
  EXPECT_EQ(Ask(2, 0x29, {0x01, 0, 0, 0, 0}, 4), (Bytes{0x09, 0x85, 0x30, 0x31}));
}

TEST_F(ChannelBoardTest, WritesAppearInTheStatusFrame) {
  Start();
  EXPECT_EQ(Spi({0x02, 0x81, 0xE2, 0x40}, 1), Bytes{0});  // AC_Volt, filter 2, powered
  Settle();
  EXPECT_EQ(Spi({0x08, 0x2C}, 1), Bytes{0});
  Settle();
  EXPECT_EQ(Write(2, kBridge, {0x08, 0x55, 0x00, 0x09}), 4);
  Settle();
  const Bytes frame = StatusFrame();
  const Bytes start(frame.begin(), frame.begin() + 10);
  EXPECT_EQ(start, (Bytes{0, 0x81, 0xE2, 0x40, 0, 0x2C, 0, 0, 0, 9}));
  const FrontEnd front_end = Settings();
  EXPECT_EQ(front_end.mode, InputMode::kAcVolt);
  EXPECT_EQ(front_end.filter, 2);
  EXPECT_EQ(front_end.range_code, 0x2C);
  EXPECT_EQ(front_end.test_mode, 9);
  EXPECT_TRUE(front_end.powered);
}

TEST_F(ChannelBoardTest, WritesAreIgnoredWhileItIsBusy) {
  Start();
  SetValue("busy_ms", "70");
  EXPECT_EQ(Spi({0x08, 0x24}, 1), Bytes{0x00});
  EXPECT_EQ(Status(), 0xC0);
  EXPECT_EQ(Spi({0x08, 0x28}, 1), Bytes{0xC0});
  EXPECT_EQ(Spi({0x02, 0xFF, 0xFF, 0xFF}, 1), Bytes{0xC0});
  clock_.Advance(milliseconds(69));
  EXPECT_EQ(Status(), 0xC0);
  clock_.Advance(milliseconds(1));
  EXPECT_EQ(Status(), 0x00);
  EXPECT_EQ(Value("range"), "ok 0x24");
  EXPECT_EQ(Value("config"), "ok 0x000000");
  EXPECT_EQ(Spi({0x08, 0x28}, 1), Bytes{0x00});
  Settle();

  SetValue("faults", "0xC0");  // a busy bit that never comes down
  clock_.Advance(std::chrono::hours(1));
  EXPECT_EQ(Spi({0x08, 0x2C}, 1), Bytes{0xC0});
  SetValue("faults", "0");
  EXPECT_EQ(Value("range"), "ok 0x28");
}

TEST_F(ChannelBoardTest, AnOverloadLatchesUntilAWriteAfterItsEnd) {
  Start();
  SetValue("overload", "1");
  EXPECT_EQ(Status(), 0x91);
  EXPECT_TRUE(Settings().safe);
  SetValue("overload", "0");
  EXPECT_EQ(Status(), 0x90);
  EXPECT_EQ(Spi({0x08, 0x24}, 1), Bytes{0x90});  // the status before; the write takes
  Settle();
  EXPECT_EQ(Status(), 0);
  EXPECT_FALSE(Settings().safe);
  EXPECT_EQ(Settings().range_code, 0x24);

  SetValue("overload", "1");
  Spi({0x08, 0x28}, 1);
  Settle();
  EXPECT_EQ(Status(), 0x91);  // still there
}

}  // namespace
}  // namespace simulator
