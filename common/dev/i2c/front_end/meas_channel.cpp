#include "common/dev/i2c/front_end/meas_channel.h"

#include <algorithm>

#include "common/dev/i2c/chips/front_end_chips.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {
namespace {

// First bytes of the bridge's frames.
constexpr std::uint8_t kIdentity = 0x01;
constexpr std::uint8_t kStatus = 0x04;
constexpr std::uint8_t kRange = 0x08;
constexpr std::uint8_t kDcTestMode = 0x55;  // second byte of a range frame
constexpr std::uint8_t kConfigureSpi = 0xF0;

// The mode of the DC test as the long status echoes it.
constexpr std::size_t kTestModeEcho = 9;
constexpr int kFirstTestMode = 7;
constexpr int kLastTestMode = 10;

constexpr std::uint8_t kAllDacs = 0x34;
constexpr int kDacWriteBytes = 3;
constexpr int kUnknown = -1;

constexpr std::uint8_t DacControl(int dac) {
  return static_cast<std::uint8_t>((dac & 0x7F) << 1 | 0x10);
}

constexpr bool IsDac(int dac) { return dac >= 0 && dac < DC_OFFSET_DAC_CHAN_COUNT; }

constexpr std::uint8_t High(std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); }
constexpr std::uint8_t Low(std::uint16_t value) { return static_cast<std::uint8_t>(value); }

}  // namespace

MeasChannel::MeasChannel(I2cMgr& i2c, int module, int channel)
    : i2c_(i2c), module_(module), channel_(channel) {
  for (auto& value : shadow_) value = kUnknown;
}

int MeasChannel::Request(DEV_TYPE chip, std::span<std::uint8_t> frame, int out, int in) {
  const int result = i2c_.I2cWkrWrapper(module_, Assembly(), chip, channel_ + 1,
                                        reinterpret_cast<char*>(frame.data()), out, in,
                                        in == 0 ? I2cDev::do_write : I2cDev::do_wread);
  return in != 0 && result >= 0 && result != in ? -1 : result;
}

template <class Chip>
Chip* MeasChannel::Device(DEV_TYPE chip) const {
  return dynamic_cast<Chip*>(I2cDev::GetDevice(DeviceKey(module_, Assembly(), chip, channel_ + 1)));
}

int MeasChannel::InitBridge() {
  std::array<std::uint8_t, 2> frame{kConfigureSpi, 0};
  return Request(SPI_BRIDGE, frame, 2, 0);
}

int MeasChannel::ReadVersion(MeasChCpldIdRev& version) {
  std::array<std::uint8_t, 1 + MeasChCpldIdRev::kBytes> frame{kIdentity};
  const int result = Request(SPI_BRIDGE, frame, frame.size(), MeasChCpldIdRev::kBytes);
  if (result >= 0) {
    version = MeasChCpldIdRev::ToStruct(std::span(frame).first<MeasChCpldIdRev::kBytes>());
  }
  return result;
}

int MeasChannel::ReadStatus(std::array<std::uint8_t, kStatusBytes>& status) {
  std::array<std::uint8_t, 1 + kStatusBytes> frame{kStatus};
  const int result = Request(SPI_BRIDGE, frame, frame.size(), kStatusBytes);
  if (result < 0) return kStatusReadFailed;
  std::copy_n(frame.begin(), status.size(), status.begin());
  return result;
}

int MeasChannel::ReadShortStatus(std::uint8_t& status) {
  std::array<std::uint8_t, 2> frame{kStatus};
  const int result = Request(SPI_BRIDGE, frame, 2, 1);
  if (result >= 0) status = frame[0];
  return result;
}

int MeasChannel::WriteConfig(const MeasChCfgReg& config, std::uint8_t& status) {
  auto frame = config.ToBytes();
  const int result = Request(SPI_BRIDGE, frame, frame.size(), 1);
  if (result >= 0) status = frame[0];
  return result;
}

int MeasChannel::WriteRange(std::uint8_t code, std::uint8_t& status) {
  std::array<std::uint8_t, 2> frame{kRange, code};
  const int result = Request(SPI_BRIDGE, frame, 2, 1);
  if (result >= 0) status = frame[0];
  return result;
}

int MeasChannel::Meas1093SetDCTestModeRegister(std::uint8_t mode) {
  std::array<std::uint8_t, 4> frame{kRange, kDcTestMode, 0, mode};
  return Request(SPI_BRIDGE, frame, 4, 0);
}

int MeasChannel::Meas1093ReadMeasStatus() {
  std::array<std::uint8_t, kStatusBytes> status{};
  const int result = ReadStatus(status);
  if (result < 0) return result;
  const int mode = status[kTestModeEcho];
  if (mode < kFirstTestMode || mode > kLastTestMode) {
    Q5_LOG_ERROR(spibridgeL, "%s MeasStatus ERROR test_mode: %d\n", Name(), mode);
  }
  return status[0];
}

int MeasChannel::Meas1093SetDAC(int dac, std::uint16_t value) {
  if (!IsDac(dac)) return -1;
  std::array<std::uint8_t, kDacWriteBytes> frame{DacControl(dac), High(value), Low(value)};
  return Request(DAC_DCOFF, frame, kDacWriteBytes, 0);
}

int MeasChannel::Meas1093GetDAC(int dac, std::uint16_t& value) {
  if (!IsDac(dac)) return -1;
  std::array<std::uint8_t, 2> frame{DacControl(dac)};
  const int result = Request(DAC_DCOFF, frame, 1, 2);
  if (result >= 0) value = static_cast<std::uint16_t>(frame[0] << 8 | frame[1]);
  return result;
}

int MeasChannel::Meas1093SetAllDACs(std::uint16_t value) {
  std::array<std::uint8_t, kDacWriteBytes> frame{kAllDacs, High(value), Low(value)};
  return Request(DAC_DCOFF, frame, kDacWriteBytes, 0);
}

int MeasChannel::GetMeasChStaReg(MeasChStaReg& status) {
  const autoimpvar guard(Device<SC18IS602BDev>(SPI_BRIDGE));
  std::array<std::uint8_t, kStatusBytes> bytes{};
  const int result = ReadStatus(bytes);
  if (result >= 0) status = MeasChStaReg::ToStruct(std::span(bytes).first<MeasChStaReg::kBytes>());
  return result;
}

int MeasChannel::set_range_register(std::uint8_t code, std::uint8_t& status) {
  const autoimpvar guard(Device<SC18IS602BDev>(SPI_BRIDGE));
  const int result = WriteRange(code, status);
  set_cpld_operation_start_time();
  return result;
}

int MeasChannel::set_dc_offset_reg(std::uint16_t value, DC_OFFSET_DAC_CHAN_NUM dacchan) {
  if (!IsDac(dacchan)) return -1;
  std::atomic<int>& shadow = shadow_[static_cast<std::size_t>(dacchan)];
  if (shadow == value) {
    Q5_LOG_DEBUG(dacdcoffsetL,
                 "%s %s.%d dcch:%d avoided set_dc_offset_reg(0x%04X) reg contents:0x%04X\n", Name(),
                 __func__, __LINE__, dacchan, static_cast<unsigned>(value),
                 static_cast<unsigned>(shadow));
    return kDacWriteBytes;
  }
  const autoimpvar guard(Device<DAC8571Dev>(DAC_DCOFF));
  const int result = Meas1093SetDAC(dacchan, value);
  shadow = result < 0 ? kUnknown : value;
  if (result < 0) return result;
  Logger::Capture(Logger::SET_DC_OFFSET, channel_ + 1, dacchan, value);
  return result;
}

int MeasChannel::get_dc_offset_reg_HW(DC_OFFSET_DAC_CHAN_NUM dacchan) {
  const autoimpvar guard(Device<DAC8571Dev>(DAC_DCOFF));
  std::uint16_t value = 0;
  const int result = Meas1093GetDAC(dacchan, value);
  if (result < 0) return result;
  shadow_[static_cast<std::size_t>(dacchan)] = value;
  return value;
}

int MeasChannel::center_dc_offset_reg_bdcst() {
  const autoimpvar guard(Device<DAC8571Dev>(DAC_DCOFF));
  const int result = Meas1093SetAllDACs(kDacCentre);
  for (auto& shadow : shadow_) shadow = result < 0 ? kUnknown : kDacCentre;
  return result;
}

void MeasChannel::set_cpld_operation_start_time() {
  start_time_ = platform::Machine().Clock().Monotonic();
}

}  // namespace Dev
