// Chips of the board as the scanner and requests work them.
#include <cerrno>
#include <map>
#include <tuple>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/ee24lc32_dev.h"
#include "tests/common/dev/i2c/board_machine.h"

namespace {

using Dev::I2cDev;
using Dev::I2cReq;

class Chips : public BoardMachine, public testing::Test {
 protected:
  Chips() {
    Dev::SetSendTempLink([this](int, int assembly, int address, int type, float celsius) {
      published[{assembly, address, type}].push_back(celsius);
    });
    StartBoard();
  }
  ~Chips() override { Dev::SetSendTempLink({}); }

  // As the scanner would; its thread has nothing to do meanwhile.
  static int Scan(const std::string& key) { return I2cDev::GetDevice(key)->Read(); }

  // Bytes of an EEPROM, by the read plan; empty on failure.
  std::vector<unsigned char> ReadEeprom(const std::string& key, int len, int len2, I2cDev::Act act,
                                        std::size_t count) {
    I2cReq request;
    request._dev_info = I2cDev::GetDevice(key)->GetInfo();
    request._len = len;
    request._len2 = len2;
    request._act = act;
    if (i2c.I2cWkrExecReq(&request) != 0) return {};
    const auto& data = Dev::EE24LC32Dev::GetData();
    return {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(count)};
  }

  std::map<std::tuple<int, int, int>, std::vector<float>> published;
};

constexpr char kCoreEeprom[] = "1.0.0.1";
constexpr char kChannelEeprom[] = "1.11.0.3";
constexpr char kCoreSensor[] = "1.0.2.2";
constexpr char kChannelSensor[] = "1.12.2.2";
constexpr char kRails[] = "1.11.12.2";

TEST_F(Chips, TemperaturesArePublishedEvery13thScan) {
  for (int scan = 1; scan <= 27; ++scan) {
    const double celsius = scan - 5.25;
    EXPECT_EQ(Control("set i2c.CORE.TMP112.2.temperature " + std::to_string(celsius)), "ok");
    EXPECT_EQ(Control("set i2c.MEAS_CH2.DS75.temperature " + std::to_string(scan)), "ok");
    EXPECT_EQ(Scan(kCoreSensor), 0);
    EXPECT_EQ(Scan(kChannelSensor), 0);
  }
  EXPECT_EQ((published[{0, 0x49, 0}]), (std::vector<float>{-4.25F, 8.75F, 21.75F}));
  EXPECT_EQ((published[{12, 0x4B, 2}]), (std::vector<float>{1, 14, 27}));
  EXPECT_EQ(Errors(), std::vector<int>{});
}

TEST_F(Chips, RailsBecomeTheReferenceTemperature) {
  EXPECT_EQ(Control("set i2c.MEAS_CH1.AD7998.rail5 41.5"), "ok");
  EXPECT_EQ(Scan("1.11.12.1"), 0);  // the chip's set-up
  EXPECT_EQ(Scan(kRails), 0);
  ASSERT_EQ((published[{11, 0x23, 3}]).size(), 1u);
  EXPECT_NEAR((published[{11, 0x23, 3}][0]), 41.5, 0.5 / 3.6 + 1e-4);  // half a code
  EXPECT_EQ(Errors(), std::vector<int>{});

  EXPECT_EQ(Control("set fpga.Q5FPGA_MISC_STATCTL2_REG 0x0800"), "ok");
  EXPECT_EQ(Scan(kRails), 0);
  EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | 718, 0x0800}));
}

// Every chip: off at its own address, and one transfer after the other failing. A fault is -1 and
// the word of the step that failed; afterwards the chip reads again and the multiplexer is off.
TEST_F(Chips, EveryFaultHasItsWordAndEnds) {
  const struct {
    const char* key;
    const char* unit;
    int write_word;
    int read_word;
    const char* transfers;  // of one scan, the chip's own: writes and reads
  } cases[] = {
      {kCoreSensor, "i2c.CORE.TMP112.2", 558, 562, "wr"},
      {kChannelSensor, "i2c.MEAS_CH2.DS75", 532, 536, "wr"},
      {kRails, "i2c.MEAS_CH1.AD7998", 519, 525, "wwrwrwrwrwrwrwrwrw"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.unit);
    const std::string unit(c.unit);
    EXPECT_EQ(Control("fault " + unit + " off"), "ok");
    EXPECT_EQ(Scan(c.key), -1);
    EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | c.write_word, ENXIO}));
    EXPECT_EQ(Control("fault " + unit + " ok"), "ok");
    int n = 0;
    for (const char transfer : std::string(c.transfers)) {
      Msg::ghmp->ClearErrorCodes();
      EXPECT_EQ(Control("set " + unit + ".fail_transfer " + std::to_string(++n)), "ok");
      EXPECT_EQ(Scan(c.key), -1) << n;
      const int word = transfer == 'w' ? c.write_word : c.read_word;
      EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | word, EIO})) << n;
      EXPECT_EQ(Scan(c.key), 0) << n;
    }
    Msg::ghmp->ClearErrorCodes();
    EXPECT_NE(Control("get i2c.SIGNAL_HOST.PCA9544A.last").find("no channel on"),
              std::string::npos);
  }
}

TEST_F(Chips, EepromsAreReadByPlan) {
  constexpr auto kRead = I2cDev::do_read;
  constexpr auto kRaw = I2cDev::do_rawread;
  const auto whole = ReadEeprom(kChannelEeprom, 0, 20000, kRaw, 20000);
  ASSERT_EQ(whole.size(), 20000u);
  EXPECT_EQ(whole[0], 0xDB);
  EXPECT_EQ(whole[1], 0x1E);
  EXPECT_EQ(ReadEeprom(kChannelEeprom, 64, 0, kRead, 65), [&] {
    auto first = std::vector(whole.begin(), whole.begin() + 64);
    first.push_back(0xFF);  // nothing behind what was asked for
    return first;
  }());
  EXPECT_EQ(ReadEeprom(kChannelEeprom, 300, 40, kRaw, 40),
            std::vector(whole.begin() + 300, whole.begin() + 340));

  // The length of the last block follows from the chip: low byte first, at the block's byte 3. Any
  // place of the record will do, those where the address carries into its high byte among them.
  int followed = 0;
  for (std::size_t block = 200; block < 300; ++block) {
    const std::size_t end = block + (whole[block + 3] | whole[block + 4] << 8);
    if (end >= whole.size()) continue;
    ++followed;
    const auto planned =
        ReadEeprom(kChannelEeprom, 0, static_cast<int>(block), kRead, whole.size());
    ASSERT_EQ(planned.size(), whole.size());
    EXPECT_TRUE(std::equal(planned.begin(), planned.begin() + static_cast<std::ptrdiff_t>(end),
                           whole.begin()));
    EXPECT_EQ(planned[end], 0xFF) << block;
  }
  EXPECT_GT(followed, 0);
  for (const auto& [len, len2] : {std::pair{70000, 0}, {-1, 0}, {0, 70000}, {0, -1}}) {
    EXPECT_TRUE(ReadEeprom(kCoreEeprom, len, len2, kRead, 1).empty());
  }
}

TEST_F(Chips, AnEepromThatFailsInTheMiddleLeavesFf) {
  const auto whole = ReadEeprom(kChannelEeprom, 0, 12000, I2cDev::do_rawread, 12000);
  ASSERT_EQ(whole.size(), 12000u);
  EXPECT_EQ(Control("set i2c.MEAS_CH1.EE24LC32.fail_transfer 3"), "ok");  // address, chunk, chunk
  EXPECT_TRUE(ReadEeprom(kChannelEeprom, 0, 12000, I2cDev::do_rawread, 1).empty());
  EXPECT_EQ(Errors(), (std::vector<int>{2, 0x1000 | 545, EIO}));
  const auto& data = Dev::EE24LC32Dev::GetData();
  EXPECT_TRUE(std::equal(data.begin(), data.begin() + 8192, whole.begin()));
  EXPECT_EQ(data[8192], 0xFF);
  EXPECT_EQ(ReadEeprom(kChannelEeprom, 0, 12000, I2cDev::do_rawread, 12000), whole);
}

}  // namespace
