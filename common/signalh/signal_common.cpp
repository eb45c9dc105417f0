#include "common/signalh/signal_common.h"

#include <chrono>
#include <span>

#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"
#include "common/signalh/signal_shared.h"
#include "platform/backend.h"

using Dev::MeasChannel;
using Dev::MeasChCfgReg;
using Dev::MeasChStaReg;
using Logger::Capture;
using signalh::Shared;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds kBridgeSetUp(200);
constexpr milliseconds kBusyPoll(200);
constexpr int kBusyPolls = 11;
constexpr int kConfigAttempts = 5;
constexpr unsigned kRestartConverters = 0x0800;

}  // namespace

SignalCommon::SignalCommon(int module, Dev::I2cMgr& i2c)
    : _module(module),
      _i2cMgr(i2c),
      i2cmodule(module == Msg::MEAS_MODULE ? Msg::MEAS_MODULE : Msg::SOURCE_MODULE),
      _channels{MeasChannel(i2c, i2cmodule, 0), MeasChannel(i2c, i2cmodule, 1)} {}

bool SignalCommon::IsChannel(int channel, const char* func, int line) const {
  if (channel == 0 || channel == 1) return true;
  Q5_LOG_ERROR(signalhL, "%s.%d:UNEXPECTED CHANNEL %d\n", func, line, channel);
  return false;
}

int SignalCommon::IniMeasChI2cSpiBridge(int channel) {
  if (!IsChannel(channel, __func__, __LINE__)) {
    Shared().errors.SetErrorCode(_module == Msg::MEAS_MODULE ? Msg::NAK_MCODE_MOS_UNKNOWNCHAN
                                                             : Msg::NAK_MCODE_SOS_UNKNOWNCHAN);
    return -1;
  }
  const int result = Channel(channel).InitBridge();
  Q5_LOG_INFO(signalhL, "Init I2C SPI bridge Meas Ch %d\n", channel);
  platform::Machine().Clock().SleepFor(kBridgeSetUp);
  return result;
}

int SignalCommon::GetMeasChVersion(int channel, Dev::MeasChCpldIdRev& version) {
  if (!IsChannel(channel, __func__, __LINE__)) return -1;
  return Channel(channel).ReadVersion(version);
}

int SignalCommon::GetMeasChStaReg(int channel, MeasChStaReg& status) {
  if (!IsChannel(channel, __func__, __LINE__)) return -1;
  std::array<std::uint8_t, Dev::kStatusBytes> bytes{};
  const int result = Channel(channel).ReadStatus(bytes);
  if (result < 0) return result;
  status = MeasChStaReg::ToStruct(std::span(bytes).first<MeasChStaReg::kBytes>());
  const std::string text = Dev::ConvertCPLDStatusToInt(bytes);
  const Logger::evchannel_t event{channel + 1, text.c_str()};
  Logger::CaptureData(Logger::MEASCHANNEL_STATUS, &event);
  return result;
}

int SignalCommon::ReadChStatus(int channel, unsigned char* status) {
  if (!IsChannel(channel, __func__, __LINE__)) return -1;
  const int result = Channel(channel).ReadShortStatus(*status);
  Q5_LOG_INFO(signalhL, "%s:chn %d len2: %d status: 0x%X\n", __func__, channel, result,
              static_cast<unsigned>(*status));
  return result;
}

bool SignalCommon::NotBusyMeasFPGAStatus(unsigned char status) {
  return Dev::NotBusyMeasFPGAStatus(status);
}

int SignalCommon::SetMeasChCfgReg(int channel, const MeasChCfgReg& config, bool) {
  if (!IsChannel(channel, __func__, __LINE__)) return -1;
  MeasChStaReg before{};
  GetMeasChStaReg(channel, before);  // records its event
  unsigned char status = 0;
  if (const int result = WriteConfig(channel, config, status); result < 0) return result;
  if (!MeasChCfgReg::IsSuccessfulTransaction(status, *Msg::ghmp)) {
    Q5_LOG_ERROR_HERE(signalhL, "%s.%d IsSuccessfulTransaction(0x%02X) failed\n",
                      static_cast<unsigned>(status));
    GetMeasChStaReg(channel, before);
    return -1;
  }
  GetMeasChStaReg(channel, before);
  RestartConverters();
  return 0;
}

// Repeats the write until it finds the CPLD not busy.
int SignalCommon::WriteConfig(int channel, const MeasChCfgReg& config, unsigned char& status) {
  for (int attempt = 0; attempt < kConfigAttempts; ++attempt) {
    const int result = Channel(channel).WriteConfig(config, status);
    if (result < 0) return result;
    Channel(channel).set_cpld_operation_start_time();
    Capture(Logger::CONFIG_WRITE_STATUS, channel + 1, status, attempt, i2cmodule,
            config.GetFilter());
    if (NotBusyMeasFPGAStatus(status)) break;
    if (!WaitWhileBusy(channel)) return -1;
  }
  return 0;
}

bool SignalCommon::WaitWhileBusy(int channel) {
  unsigned char status = Dev::kMeasChBusy;
  for (int poll = 0; poll < kBusyPolls; ++poll) {
    if (poll > 0) platform::Machine().Clock().SleepFor(kBusyPoll);
    ReadChStatus(channel, &status);
    if (NotBusyMeasFPGAStatus(status)) return true;
  }
  Q5_LOG_ERROR(signalhL, "MEAS FPGA CONFIG STATUS FAIL %x \n", static_cast<unsigned>(status));
  Shared().errors.SetErrorCode(Msg::NAK_MCODE_CPLD_CONFIG, 1, channel);
  Capture(Logger::CONFIG_WRITE_FAIL, channel + 1, status);
  return false;
}

void SignalCommon::RestartConverters() {
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  unsigned value = 0;
  if (fpga == nullptr) return;
  fpga->ChangeReg(Dev::Q5FPGA_A2D_CTRL, 0, kRestartConverters, __LINE__);
  fpga->ChangeReg(Dev::Q5FPGA_A2D_CTRL, kRestartConverters, 0, __LINE__);
  if (fpga->ReadReg(Dev::Q5FPGA_A2D_CTRL, value) < 0) return;
  Capture(Logger::A2DCTRL, value);
}

void SignalCommon::StartI2cScanner() { _i2cMgr.StartScanner(); }
void SignalCommon::StopI2cScanner() { _i2cMgr.StopScanner(); }
