// A channel's own operations on the front end models.
#include <gtest/gtest.h>

#include "common/acquisition/ranging/acq_ch_following.h"
#include "tests/common/dev/i2c/board_machine.h"

namespace {

using namespace AcquisitionSystem;  // NOLINT(google-build-using-namespace)

class ChannelOnBoard : public BoardMachine, public testing::Test {
 protected:
  ChannelOnBoard() { StartBoard(); }
  std::string Cpld(const std::string& value) {
    return Control("get i2c.MEAS_CH2.SC18IS602B." + value);
  }
  void Set(const std::string& value, const std::string& to) {
    ASSERT_EQ(Control("set i2c.MEAS_CH2.SC18IS602B." + value + " " + to), "ok");
  }
};

// One test: the daemon's devices are process-wide, so a process can have one board.
TEST_F(ChannelOnBoard, ATestBeginsCentredOnTheFirstRange) {
  Dev::MeasChannel front_end(i2c, Msg::MEAS_MODULE, 1);
  AcqChFollowing2 channel(front_end, Dev::MEAS_MOD);
  EXPECT_EQ(Control("get i2c.MEAS_CH2.DAC8571.dac3"), "ok 32768");
  front_end.set_dc_offset_reg(100, Dev::DC_OFFSET_DAC_CHAN_0);
  std::uint8_t status = 0;
  ASSERT_EQ(front_end.set_range_register(0x55, status), 1);  // busy from now on
  EXPECT_EQ(channel.init_test_parameters(), 1);
  EXPECT_EQ(Control("get i2c.MEAS_CH2.DAC8571.dac0"), "ok 32768");
  EXPECT_EQ(Cpld("range"), "ok 0x2A");

  channel.set_CPLD_status_request();
  EXPECT_EQ(channel.get_last_cpld_range(), -1);
  clock.Advance(std::chrono::seconds(1));
  channel.external_event_notify(ACQ_EVT_SAMPLES_RECEIVED);
  EXPECT_EQ(channel.get_last_cpld_range(), 0x2A);
  EXPECT_EQ(channel.get_last_status_reg().Status(), 0);

  Set("faults", "0x20");
  channel.get_CPLD_status_upon_request(0);
  EXPECT_EQ(channel.get_last_status_reg().Status(), 0);  // nobody asked
  channel.get_CPLD_status_upon_request(1);
  EXPECT_EQ(channel.get_last_status_reg().Status() & 0x20, 0x20);

  // a CPLD that stays busy does not hold the test
  Set("faults", "0");
  Set("busy_ms", "60000");
  ASSERT_EQ(front_end.set_range_register(0x55, status), 1);
  const auto start = clock.Monotonic();
  EXPECT_EQ(channel.init_test_parameters(), 1);
  EXPECT_LT(clock.Monotonic() - start, std::chrono::seconds(1));
  EXPECT_EQ(Cpld("range"), "ok 0x55");
}

}  // namespace
