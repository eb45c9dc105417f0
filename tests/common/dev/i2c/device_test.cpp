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

// The measurement module as its board is wired: key, chip, rate, path, address, read during a test.
struct Wired {
  const char* key;
  const char* id;
  int rate;
  const char* path;  ///< "2.x" where channel 2 has its multiplexer channel
  int addr;
  bool scan;
};
constexpr Wired kMeasBoard[] = {
    {"1.0.17.1", "NULLDEV", 999, "1.0.0", 0x00, true},
    {"1.0.0.1", "EE24LC32", 0, "1", 0x50, true},
    {"1.0.1.1", "TPS659112", 999, "1", 0x2D, true},
    {"1.0.2.1", "TMP112", 5, "1", 0x48, false},
    {"1.0.2.2", "TMP112", 5, "1", 0x49, false},
    {"1.0.2.3", "TMP112", 5, "1", 0x4A, false},
    {"1.0.2.4", "TMP112", 5, "1", 0x4B, false},
    {"1.10.16.1", "SI5338", 999, "1", 0x70, true},
    {"1.10.0.2", "EE24LC32", 0, "2", 0x50, true},
    {"1.10.4.1", "PCA9536", 999, "2", 0x41, true},
    {"1.11.0.3", "EE24LC32", 0, "2.2", 0x52, true},
    {"1.11.12.1", "AD7998", 0, "2.2", 0x23, true},
    {"1.11.12.2", "AD7998", 5, "2.2", 0x23, false},
    {"1.11.13.1", "DAC8571", 999, "2.2", 0x4C, true},
    {"1.11.5.1", "SC18IS602B", 999, "2.2", 0x28, true},
    {"1.12.0.4", "EE24LC32", 0, "2.x", 0x53, true},
    {"1.12.12.3", "AD7998", 0, "2.x", 0x24, false},
    {"1.12.12.4", "AD7998", 5, "2.x", 0x24, false},
    {"1.12.13.2", "DAC8571", 999, "2.x", 0x4E, true},
    {"1.12.5.2", "SC18IS602B", 999, "2.x", 0x29, true},
};

std::string PathOf(const Wired& wired, int channel2) {
  const std::string path = wired.path;
  return path == "2.x" ? "2." + std::to_string(channel2) : path;
}

TEST(DeviceTable, IsTheBoardsOwn) {
  std::map<int, int> rows;
  std::size_t meas = 0;
  for (const Dev::DeviceRow& row : Dev::kDeviceRows) {
    for (int mid = 0; mid < 4; ++mid) rows[mid] += row.modules.Has(mid) ? 1 : 0;
    if (!row.modules.Has(Msg::MEAS_MODULE)) continue;
    ASSERT_LT(meas, std::size(kMeasBoard));
    const Wired& wired = kMeasBoard[meas++];
    EXPECT_EQ(Dev::DeviceKey(1, row.aid, row.type, row.num), wired.key);
    EXPECT_STREQ(row.id, wired.id) << wired.key;
    EXPECT_EQ(row.rate, wired.rate) << wired.key;
    EXPECT_EQ(row.addr, wired.addr) << wired.key;
    EXPECT_EQ(row.scan, wired.scan) << wired.key;
    const int hmux = row.hmux == Dev::kSwitched ? 3 : row.hmux;
    EXPECT_EQ(Dev::I2cChId({row.bus, hmux, row.lmux}).ToString(), PathOf(wired, 3)) << wired.key;
  }
  EXPECT_EQ(rows, (std::map<int, int>{{0, 35}, {1, 20}, {2, 23}, {3, 0}}));
}

// Every chip that this program drives stands where it is wired.
void ExpectLoaded(int i2cswitch, int channel2) {
  const Board board;
  Msg::ghmp->i2cswitch = i2cswitch;
  Dev::RegisterDrivers();
  I2cDev::LoadI2cDevices(Msg::MEAS_MODULE, 3, *Msg::ghmp);
  const std::size_t count = I2cDev::GetDevices().size();
  EXPECT_GE(count, 1u);
  for (const auto& entry : I2cDev::GetDevices()) {
    const std::string& key = entry.first;
    const auto& device = entry.second;
    const auto* wired =
        std::ranges::find_if(kMeasBoard, [&](const Wired& w) { return key == w.key; });
    ASSERT_NE(wired, std::end(kMeasBoard)) << key;
    EXPECT_EQ(device->GetKey(), key);
    EXPECT_EQ(device->GetId(), wired->id) << key;
    EXPECT_EQ(device->GetRate(), wired->rate) << key;
    EXPECT_EQ(device->GetInfo()._addr, wired->addr) << key;
    EXPECT_EQ(device->GetScanReq(), wired->scan) << key;
    EXPECT_EQ(device->GetRevision(), 3) << key;
    EXPECT_EQ(device->Path().ToString(), PathOf(*wired, channel2)) << key;
  }
  Dev::RegisterDrivers();
  I2cDev::LoadI2cDevices(Msg::SOURCE_MODULE, 3, *Msg::ghmp);
  EXPECT_EQ(I2cDev::GetDevices().size(), count) << "the second load adds nothing";
  EXPECT_EQ(I2cDev::GetDevice("0.5.8.1"), nullptr);
  EXPECT_FALSE(I2cDev::GetDevice("1.0.17.1")->IsFPFPGA());
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
TEST(Transfers, TellWhichStepFailed) {
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

TEST(Transfers, CarryTheirBytes) {
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
