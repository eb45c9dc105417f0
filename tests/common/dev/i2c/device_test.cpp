// The table of the boards, the ways through the multiplexers, and what a transfer gives when any of
// its steps fails.
#include <gtest/gtest.h>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/i2c_mux.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "tests/common/dev/i2c/fake_bus.h"

namespace {

using Dev::I2cDev;
using Dev::I2cMux;
using i2c_test::AddTestDev;
using i2c_test::Board;
using i2c_test::TestDev;
using Log = std::vector<std::string>;

// Every chip of the measurement module has its driver, behind the channel that its board has for
// it.
void ExpectLoaded(int i2cswitch, int channel2) {
  const Board board;
  Msg::ghmp->i2cswitch = i2cswitch;
  Dev::RegisterDrivers();
  I2cDev::LoadI2cDevices(Msg::MEAS_MODULE, 3, *Msg::ghmp);
  std::size_t rows = 0;
  for (const Dev::DeviceRow& row : Dev::kDeviceRows) {
    if (!row.modules.Has(Msg::MEAS_MODULE)) continue;
    ++rows;
    const std::string key = Dev::DeviceKey(Msg::MEAS_MODULE, row.aid, row.type, row.num);
    const auto device = I2cDev::GetDevice(key);
    ASSERT_NE(device, nullptr) << key;
    EXPECT_EQ(device->GetId(), row.id) << key;
    const int hmux = row.hmux == Dev::kSwitched ? channel2 : row.hmux;
    EXPECT_EQ(device->Path().ToString(), Dev::I2cChId({row.bus, hmux, row.lmux}).ToString()) << key;
  }
  EXPECT_EQ(I2cDev::GetDevices().size(), rows);
  Dev::RegisterDrivers();
  I2cDev::LoadI2cDevices(Msg::SOURCE_MODULE, 3, *Msg::ghmp);
  EXPECT_EQ(I2cDev::GetDevices().size(), rows) << "the second load adds nothing";
}
TEST(LoadedDevices, HaveAChannelEach) { ExpectLoaded(1, 3); }
TEST(LoadedDevices, ShareAChannel) { ExpectLoaded(0, 2); }

// A chip behind both multiplexers of the main module.
TestDev& DeepDevice() {
  return AddTestDev({._mid = 0,
                     ._aid = Dev::FP_IO,
                     ._type = Dev::EEPROM,
                     ._num = 1,
                     ._rate = 999,
                     ._bus = 2,
                     ._hmux = 3,
                     ._lmux = 1,
                     ._addr = 0x55,
                     ._id = "TEST"});
}

void ExpectWay(int revision, const Log& on, const Log& off) {
  Board board;
  I2cMux::LoadI2cMuxs(Msg::MAIN_MODULE, revision);
  EXPECT_EQ(I2cMux::GetMuxs().size(), 2u);
  I2cMux::LoadI2cMuxs(Msg::MEAS_MODULE, revision);
  EXPECT_EQ(I2cMux::GetMuxs().size(), 2u) << "the second load adds nothing";
  TestDev& device = DeepDevice();
  EXPECT_EQ(device.Path().ToString(), "2.3.1");
  EXPECT_GE(device.TurnOnI2cMux(true), 0);
  EXPECT_EQ(board.bus.TakeLog(), on);
  EXPECT_GE(device.TurnOnI2cMux(false), 0);
  EXPECT_EQ(board.bus.TakeLog(), Log{}) << "on already";
  EXPECT_EQ(device.TurnOffI2cMux(), 0);
  EXPECT_EQ(board.bus.TakeLog(), off);
}
TEST(Multiplexers, OneHotFromRevision3) {
  ExpectWay(3, {"s2:69", "r2:69*1", "w2:69=08", "s2:6A", "r2:6A*1", "w2:6A=02"},
            {"s2:6A", "w2:6A=00", "s2:69", "w2:69=00"});
}
TEST(Multiplexers, NumberedUpToRevision2) {
  ExpectWay(2, {"s2:71", "r2:71*1", "w2:71=07", "s2:72", "r2:72*1", "w2:72=05"},
            {"s2:72", "w2:72=00", "s2:71", "w2:71=00"});
}

// Six steps lead to the chip: select, look at and set either multiplexer. The look is for the log.
TEST(Transfers, ReportTheStepThatFailed) {
  Board board;
  I2cMux::LoadI2cMuxs(Msg::MAIN_MODULE, 3);
  TestDev& device = DeepDevice();
  const Log off = {"s2:6A", "w2:6A=00", "s2:69", "w2:69=00"};
  const struct {
    I2cDev::Act act;
    int len, len2;
    std::vector<int> results;  ///< by the step that fails; the last one: none does
  } cases[] = {
      {I2cDev::do_read, 2, 0, {-7, 2, -7, -7, 2, -7, -1, -1, 2}},
      {I2cDev::do_write, 2, 0, {-7, 2, -7, -7, 2, -7, -2, -1, 2}},
      {I2cDev::do_wread, 2, 3, {-7, 3, -7, -7, 3, -7, -1, -1, -1, 3}},
      {I2cDev::do_psocwread, 2 | 1 << 16, 3, {-7, 3, -7, -7, 3, -7, -1, -1, -1, -1, 3}},
      {I2cDev::do_rawread, 2, 0, {-1}},
      {I2cDev::do_psocwread, 129, 0, {-7, -1, -7, -7, -1, -7, -1, -1}},
  };
  for (const auto& c : cases) {
    for (std::size_t n = 0; n < c.results.size(); ++n) {
      SCOPED_TRACE("act " + std::to_string(c.act) + " step " + std::to_string(n + 1));
      std::array<char, 256> buf{};
      std::array<char, 256> buf2{};
      board.bus.FailAt(static_cast<int>(n) + 1);
      EXPECT_EQ(device.DoReq(buf.data(), c.len, buf2.data(), c.len2, c.act), c.results[n]);
      board.bus.FailAt(0);
      Log done = board.bus.TakeLog();

      // the same with the path off afterwards, unless it has never been on
      board.bus.FailAt(static_cast<int>(n) + 1);
      EXPECT_EQ(device.DoReqOriginal(buf.data(), c.len, buf2.data(), c.len2, c.act), c.results[n]);
      board.bus.FailAt(0);
      const bool last = n + 1 == c.results.size();
      if (c.results[n] != -7 && !last) done.insert(done.end(), off.begin(), off.end());
      Log original = board.bus.TakeLog();
      if (last) original.resize(done.size());  // here a step of switching off has failed
      EXPECT_EQ(original, done);
    }
  }
}

TEST(Transfers, TransferTheirBytes) {
  Board board;
  TestDev& device = AddTestDev(1, 999, false);
  std::array<char, 256> buf{'\x12', '\x34'};
  std::array<char, 256> buf2{};
  buf[128] = '\x56';
  EXPECT_EQ(device.PsocWread(buf.data(), 2 | 1 << 16, buf2.data(), 1), 1);
  EXPECT_EQ(board.bus.TakeLog(), (Log{"s2:21", "w2:21=1234", "w2:21=56", "r2:21*1"}));
  EXPECT_EQ(buf2[0], '\x56');
  EXPECT_EQ(device.Wread(buf.data(), 2, buf2.data(), 2), 2);
  EXPECT_EQ(std::string(buf2.data(), 2), "\x12\x34");
}

}  // namespace
