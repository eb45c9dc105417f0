#include "common/dev/sclk/spclk_dev.h"

#include <bit>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <mutex>

#include "common/dev/fpga/waveform_source.h"
#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/sclk/clock_plan.h"
#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Dev {

namespace {

constexpr float kLeastFrequency = 0.0001F;  // Hz
constexpr float kMostFrequency = 7000.0F;
constexpr unsigned kLeastSamples = 8;
constexpr unsigned kMostSamples = 0x40000000;
constexpr unsigned kLeastClocks = 32;
constexpr unsigned kMostClocks = 256;
constexpr unsigned kLeastWaveformSamples = 256;
constexpr unsigned kMostWaveformSamples = 4096;
constexpr unsigned kHighSpeedCycleWord = 4095;
constexpr int kMostStep = 566667;
constexpr std::chrono::milliseconds kVerboseWait(15);

// wf_option_found
constexpr int kNormalWaveform = 1;
constexpr int kHighSpeedWaveform = 2;

// bits of Q5FPGA_MISC_CTRL
constexpr unsigned kStepUp = 1U << 6;
constexpr unsigned kStepDown = 1U << 7;

constexpr MCLK_SRC_SEL kMeasSources[] = {MCLK_SRC_SEL_LOCAL, MCLK_SRC_SEL_REMOTE};
constexpr SCLK_SRC_SEL kSystemSources[] = {SCLK_SRC_SEL_OSC, SCLK_SRC_SEL_CLK0};
constexpr Si5338_CLK_IN_SOURCE kReferences[] = {Si5338_CLK_IN_SOURCE_XTAL, Si5338_CLK_IN_SOURCE_PHY,
                                                Si5338_CLK_IN_SOURCE_SYS};

bool IsPowerOfTwo(unsigned value, unsigned min, unsigned max) {
  return std::has_single_bit(value) && value >= min && value <= max;
}

/// The clock chip of the table of devices; null on a module that has none.
std::unique_ptr<SI5338Dev> MakeChip(int mid) {
  for (const DeviceRow& row : kDeviceRows) {
    if (row.type != CLK_GEN || !row.modules.Has(mid)) continue;
    const I2cDevInfo info{._mid = mid,
                          ._aid = row.aid,
                          ._type = row.type,
                          ._num = row.num,
                          ._rate = row.rate,
                          ._bus = static_cast<char>(row.bus),
                          ._hmux = row.hmux,
                          ._lmux = row.lmux,
                          ._addr = static_cast<char>(row.addr),
                          ._id = row.id,
                          ._scanreq = row.scan};
    return std::make_unique<SI5338Dev>(info);
  }
  return nullptr;
}

}  // namespace

bool SpclkDev::freq_inc_dec_change_only = false;

SpclkDev* SpclkDev::GetDevice() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR(spclkL, "<panic func=SpclkDev.GetDevice fpgadev=null/>\n");
    return nullptr;
  }
  return GetDevice(fpga->GetHostModuleID());
}

SpclkDev* SpclkDev::GetDevice(int mid) {
  static std::mutex making;
  static std::unique_ptr<SpclkDev> device;
  const std::lock_guard lock(making);
  if (device) return device.get();
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR(spclkL, "<panic func=SpclkDev.GetDevice fpgadev=null/>\n");
    return nullptr;
  }
  std::unique_ptr<SI5338Dev> chip = MakeChip(mid);
  if (chip == nullptr) {
    Q5_LOG_ERROR(spclkL, "<panic func=SpclkDev.GetDevice si5338dev=null/>\n");
    return nullptr;
  }
  device = std::make_unique<SpclkDev>(std::move(chip), *fpga);
  return device.get();
}

SpclkDev::SpclkDev(std::unique_ptr<SI5338Dev> chip, FpgaDevBase& fpga)
    : _si5338(std::move(chip)), _q5fpga(&fpga) {
  get_default_params(_params);
}

// --- Settings ---

int SpclkDev::Refuse(const char* text) const {
  Q5_LOG_WARNING(spclkL, "%s", text);
  return -EINVAL;
}

int SpclkDev::SetTestFrequency(float hertz) {
  if (!(hertz >= kLeastFrequency && hertz <= kMostFrequency)) {
    return Refuse("<warn func=SpclkDev.SetTestFrequency min=0.0001 max=7000/>\n");
  }
  if (float_Hz_to_m3x64_MHz(hertz, _params.op[0].test_freq) < 0) {
    return Refuse("<warn func=SpclkDev.SetTestFrequency freq_conv=failed/>\n");
  }
  return 0;
}

int SpclkDev::SetSamplesPerCyc(unsigned samples) {
  if (!IsPowerOfTwo(samples, kLeastSamples, kMostSamples)) {
    return Refuse("<warn func=SpclkDev.SetSamplesPerCyc samppercyc=invalid/>\n");
  }
  _params.adc_samples_per_cycle = samples;
  return 0;
}

int SpclkDev::SetAdClksPerSample(unsigned clocks) {
  if (!IsPowerOfTwo(clocks, kLeastClocks, kMostClocks)) {
    return Refuse("<warn func=SpclkDev.SetAdClksPerSample adcclkpersamp=invalid/>\n");
  }
  _params.adc_clocks_per_sample = clocks;
  return 0;
}

int SpclkDev::SetWfSamplesPerCyc(unsigned samples) {
  const bool high_speed = samples == kHighSpeedSamples;
  if (!high_speed && !IsPowerOfTwo(samples, kLeastWaveformSamples, kMostWaveformSamples)) {
    return Refuse("<warn func=SpclkDev.SetWvSamplesPerCyc samppercyc=invalid/>\n");
  }
  _params.wf_samples_per_cycle = samples;
  _params.wf_option_found = high_speed ? kHighSpeedWaveform : kNormalWaveform;
  return 0;
}

int SpclkDev::SetWfSamplesPerCyc(float hertz) {
  const unsigned samples = calculate_wf_samples_per_cyc(hertz);
  const int error = SetWfSamplesPerCyc(samples);
  return error < 0 ? error : static_cast<int>(samples);
}

int SpclkDev::SetFreqJumpSize(int size, bool only_steps) {
  if (size < 0 || size > kMostStep) {
    return Refuse("<warn func=SpclkDev.SetFreqJumpSize size=invalid/>\n");
  }
  _params.op[0].fidppm = static_cast<unsigned>(size);
  freq_inc_dec_change_only = only_steps;
  return 0;
}

int SpclkDev::SetMeasClkSrc(short source) {
  if (source < 0 || source >= static_cast<short>(std::size(kMeasSources))) {
    return Refuse("<warn func=SpclkDev.SetMeasClkSrc mclksrc=invalid/>\n");
  }
  _params.mclk_src_sel = kMeasSources[source];
  return 0;
}

int SpclkDev::SetSysClkSrc(short source) {
  if (source < 0 || source >= static_cast<short>(std::size(kSystemSources))) {
    return Refuse("<warn func=SpclkDev.SetSysClkSrc sclksrc=invalid/>\n");
  }
  _params.sclk_src_sel = kSystemSources[source];
  return 0;
}

int SpclkDev::SetRefClkSrc(short source) {
  if (source < 1 || source > static_cast<short>(std::size(kReferences))) {
    return Refuse("<warn func=SpclkDev.SetRefClkSrc refclksrc=invalid/>\n");
  }
  _params.clk_in_src = kReferences[source - 1];
  return 0;
}

int SpclkDev::EnableOutputClk0(bool enable) {
  _params.mclk_out_to_other = enable ? MCLK_OUT_TO_OTHER_ENABLE : MCLK_OUT_TO_OTHER_DISABLE;
  return 0;
}

int SpclkDev::EnableDdsClkIn(bool enable) {
  _params.dds_clkin = enable ? DDS_CLKIN_ENABLED : DDS_CLKIN_DISABLED;
  return 0;
}

int SpclkDev::SetTestWFSignal(int signal) {
  if (signal < kSineSignal || signal > kNegativeDcSignal) {
    return Refuse("<warn func=SpclkDev.SetWFSignal acdc_waveform=invalid/>\n");
  }
  _params.wf_signal_type = signal;
  _params.wf_option_found = kNormalWaveform;
  return 0;
}

int SpclkDev::SetWFPolarity(int polarity) {
  if (polarity != 0 && polarity != 1) {
    return Refuse("<warn func=SpclkDev.SetWFPolarity waveformpolarity=invalid/>\n");
  }
  _params.wf_polarity = polarity;
  _params.wf_option_found = kNormalWaveform;
  return 0;
}

int SpclkDev::SetDefaultParamters() {
  get_default_params(_params);
  return 0;
}

// --- The FPGA ---

int SpclkDev::ActivateWFPolarity() { return wf_set_polarity(_params.wf_polarity); }

int SpclkDev::PulseStep(unsigned bit) {
  // two changes, not one value written back: ALLOK may drop in between
  if (_q5fpga->ChangeReg(Q5FPGA_MISC_CTRL, 0, bit, __LINE__) < 0) return -1;
  return _q5fpga->ChangeReg(Q5FPGA_MISC_CTRL, bit, 0, __LINE__);
}

int SpclkDev::IncrementFrequency(int output) {
  if (output == 0) return PulseStep(kStepUp);
  Q5_LOG_ERROR(spclkL, "Increment not implemented for CLK%d\n", output);
  return -1;
}

int SpclkDev::DecrementFrequency(int output) {
  if (output == 0) return PulseStep(kStepDown);
  Q5_LOG_ERROR(spclkL, "Dncrement not implemented for CLK%d\n", output);
  return -1;
}

int SpclkDev::IncrDecrFrequency(int direction, int output) {
  if (direction == 1) return IncrementFrequency(output);
  return direction == 2 ? DecrementFrequency(output) : -1;
}

int SpclkDev::FpgaConfigureClocks(const Param_Values& params) {
  // The samples decide the high-speed mode even if a later setter has noted a normal waveform.
  const bool high_speed = params.wf_option_found == kHighSpeedWaveform ||
                          params.wf_samples_per_cycle == kHighSpeedSamples;
  const unsigned length = high_speed ? kHighSpeedCycleWord : params.wf_samples_per_cycle - 1;
  const auto select = static_cast<unsigned>(ClockSelectWord(params));
  if (_verbose) {
    Q5_LOG_INFO(spclkL, "Writing FPGA Cycle Length Register: 0x%04X\n", length);
    Q5_LOG_INFO(spclkL, "Writing FPGA Clock Select Register: 0x%04X\n", select);
    platform::Machine().Clock().SleepFor(kVerboseWait);
  }
  return _q5fpga->ConfigureClocks(length, select);
}

int SpclkDev::ReadFpga(int offset) {
  unsigned value = 0;
  return _q5fpga->ReadReg(offset, value) < 0 ? -1 : static_cast<int>(value);
}

int SpclkDev::FpgaReadSclkFreq() { return _q5fpga->ReadSclkFreq(); }

int SpclkDev::FpgaReadVersion() { return ReadFpga(Q5FPGA_VERSION); }

int SpclkDev::FpgaReadDeviceId() { return ReadFpga(Q5FPGA_DEVICE_ID); }

}  // namespace Dev
