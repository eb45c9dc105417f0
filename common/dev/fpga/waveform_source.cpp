#include "common/dev/fpga/waveform_source.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <span>

#include "common/dev/fpga/counts.h"
#include "common/dev/fpga/driver_version.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/fpga/fpga_request.h"
#include "common/dev/fpga/waveform_memory.h"
#include "common/dev/fpga/waveform_samples.h"
#include "common/log/log_line.h"

namespace Dev {

using Logger::kError;
using Logger::kInfo;

namespace {

using Samples = std::span<std::int16_t>;

constexpr std::int16_t kPositivePeak = 0x7FFF;
constexpr std::int16_t kNegativePeak = -0x7FFF;
constexpr std::size_t kBufferSamples = kMaxWaveformSamples;  // of one of the two normal buffers
constexpr std::size_t kClearedSamples = 4097;
constexpr unsigned kPreCycleVersion = 90;  // of the driver, in hundredths
constexpr int kHighSpeedDma = 2;           // offset of the request
constexpr unsigned kHighSpeedOn = 8;
constexpr unsigned kHighSpeedOff = 0;

constexpr unsigned kGeneratorOn = kWformEnable;
constexpr unsigned kStopped = 12;
constexpr unsigned kStoppedStep = 32768;
constexpr unsigned kMaxInitialAmplitude = 4096;
constexpr unsigned kMaxInitialStep = 2048;
constexpr int kMinUpdateRate = 6;

char wf_fill_type = 's';
int wf_srcmem_init = 0;  // 1: the high-speed memory holds the sine

char FillType(int signal_type) {
  if (signal_type == kPositiveDcSignal) return 'p';
  return signal_type == kNegativeDcSignal ? 'n' : 's';
}

int RequestHighSpeed(const FpgaDev& fpga, unsigned value) {
  FpgaCmd command{};
  command.devtype = FPGA_REG;
  command.offset = kHighSpeedDma;
  command.val = value;
  return FpgaRequest(fpga.GetDeviceFd(), Q5FPGA_CMD_START_SRC_BUFFER_DMA, command);
}

/// The result of a change of the control word. The caller has a different text for each failure.
enum class Change { kDone, kReadFailed, kWriteFailed };

Change ChangeControl(FpgaDev& fpga, unsigned clear, unsigned set) {
  unsigned before = 0;
  if (fpga.ReadReg(Q5FPGA_WFORM_CTRL, before) < 0) return Change::kReadFailed;
  const bool written = fpga.ChangeReg(Q5FPGA_WFORM_CTRL, clear, set, __LINE__) == 0;
  return written ? Change::kDone : Change::kWriteFailed;
}

bool UnlockBuffers(FpgaDev& fpga, const char* func) {
  switch (ChangeControl(fpga, kWformHighSpeed, kWformBufferWrite)) {
    case Change::kDone:
      return true;
    case Change::kReadFailed:
      Q5_LOG_ERROR(fpgaL, "%s.%d: failed reading Waveform Control and Status Register\n", func,
                   __LINE__);
      return false;
    case Change::kWriteFailed:
      Q5_LOG_ERROR(fpgaL, "%s.%d: failed to enable writing the Waveform Generator buffer\n", func,
                   __LINE__);
  }
  return false;
}

bool LockBuffers(FpgaDev& fpga, const char* func) {
  if (ChangeControl(fpga, kWformBufferWrite, 0) == Change::kDone) return true;
  Q5_LOG_ERROR(fpgaL, "%s.%d: failed to write protect the sample buffer\n", func, __LINE__);
  return false;
}

void FillBuffersWithDc(Samples first, Samples second, std::int16_t value) {
  const auto opposite = static_cast<std::int16_t>(-value);
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: filling buffer 0 with 0x%04X | buffer 1 with 0x%04X\n",
                   static_cast<unsigned>(static_cast<std::uint16_t>(value)),
                   static_cast<unsigned>(static_cast<std::uint16_t>(opposite)));
  std::ranges::fill(first, value);
  std::ranges::fill(second, opposite);
}

void FillBuffersWithSine(Samples first, Samples second) {
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: filling buffer with sine wave\n");
  FillSine(first);
  std::ranges::transform(first, second.begin(),
                         [](std::int16_t sample) { return static_cast<std::int16_t>(-sample); });
}

void FillNormal(FpgaDev& fpga, std::size_t samples_per_cycle) {
  const WaveformMemory memory(fpga.GetDeviceFd(), kWaveformBytes);
  if (!memory || !UnlockBuffers(fpga, __func__)) return;
  const Samples first = memory.Samples().first(kBufferSamples);
  const Samples second = memory.Samples().subspan(kBufferSamples, kBufferSamples);
  if (wf_fill_type == 's') {
    FillBuffersWithSine(first.first(samples_per_cycle), second.first(samples_per_cycle));
  } else {
    FillBuffersWithDc(first, second, wf_fill_type == 'p' ? kPositivePeak : kNegativePeak);
  }
  LockBuffers(fpga, __func__);
}

// The normal buffers contain silence while the high-speed memory is in use.
bool PrepareHighSpeed(FpgaDev& fpga) {
  const WaveformMemory memory(fpga.GetDeviceFd(), kWaveformBytes);
  if (!memory) return false;
  switch (ChangeControl(fpga, kWformRampOn, kWformHighSpeed | kWformBufferWrite)) {
    case Change::kDone:
      std::ranges::fill(memory.Samples(), std::int16_t{0});
      return true;
    case Change::kReadFailed:
      Q5_LOG_ERROR_HERE(fpgaL, "%s.%d:Failed reading Waveform Control and Status Register\n");
      return false;
    case Change::kWriteFailed:
      Q5_LOG_ERROR_HERE(fpgaL, "%s.%d:Failed to enable writing the Waveform Generator buffer\n");
  }
  return false;
}

bool FillHighSpeedChirp(const FpgaDev& fpga) {
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: filling buffer with CHIRP\n");
  const WaveformMemory memory(fpga.GetDeviceFd(), kFastWaveformBytes);
  if (!memory) return false;
  FillChirp(memory.Samples());
  return true;
}

bool FillHighSpeedSweep(const FpgaDev& fpga) {
  const WaveformMemory memory(fpga.GetDeviceFd(), kFastWaveformBytes);
  if (!memory) return false;
  FillSweep(memory.Samples());
  wf_srcmem_init = 0;
  return true;
}

bool FillHighSpeedSine(const FpgaDev& fpga, bool pre_cycle) {
  if (wf_srcmem_init != 0) return true;
  const WaveformMemory memory(fpga.GetDeviceFd(),
                              pre_cycle ? kFastWaveformBytesLarge : kFastWaveformBytes);
  if (!memory) return false;
  Samples cycle = memory.Samples();
  if (pre_cycle) {
    const PreCycleParams params = MakePreCycleParams();
    Q5_LOG_INFO(fpgaL, "PreCycle params: T = %f\nk = %f\nlog(k) = %f\nph[0] = %f\n",
                kPreCycleLength, params.ratio, params.log_ratio, params.start_phase);
    FillPreCycle(cycle.first(kPreCycleSamples), params);
    cycle = cycle.subspan(kPreCycleOffset);
  }
  FillSine(cycle);
  wf_srcmem_init = 1;
  return true;
}

void FillHighSpeed(FpgaDev& fpga, int signal_type) {
  const unsigned version = DriverVersionNumber();
  const bool pre_cycle = version >= kPreCycleVersion && signal_type != kNegativeDcSignal;
  const std::size_t bytes = pre_cycle ? kFastWaveformBytesLarge : kFastWaveformBytes;
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: FPGA driver version = %u support = %u buffersize = %u\n", version,
                   kPreCycleVersion, static_cast<unsigned>(bytes));
  if (!PrepareHighSpeed(fpga)) return;
  const bool filled = signal_type == kNegativeDcSignal ? FillHighSpeedChirp(fpga)
                      : signal_type == kSweepSignal    ? FillHighSpeedSweep(fpga)
                                                       : FillHighSpeedSine(fpga, pre_cycle);
  if (!filled) return;
  const int result = RequestHighSpeed(fpga, kHighSpeedOn);
  Q5_LOG_AT_HERE(result < 0 ? kError : kInfo, fpgaL,
                 "%s.%d: send HSVLF command to FPGA kernel driver ret=%d\n", result);
}

int SetControlBit(unsigned mask, bool on, const char* func) {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR(fpgaL, "%s.%d: failed to open the FPGA driver\n", func, __LINE__);
    return -1;
  }
  unsigned before = 0;
  if (const int result = fpga->ReadReg(Q5FPGA_WFORM_CTRL, before); result < 0) {
    Q5_LOG_ERROR(fpgaL,
                 "%s.%d: failed reading Waveform Control and Status Register ret:%d errno:%s\n",
                 func, __LINE__, result, std::strerror(errno));
    return result;
  }
  unsigned after = 0;
  if (const int result =
          fpga->ChangeReg(Q5FPGA_WFORM_CTRL, on ? 0 : mask, on ? mask : 0, __LINE__, after);
      result < 0) {
    Q5_LOG_ERROR(fpgaL, "%s.%d: failed writing the Waveform Generator buffer ret:%d errno:%s\n",
                 func, __LINE__, result, std::strerror(errno));
    return result;
  }
  Q5_LOG_INFO(fpgaL, "%s.%d: LSYN changed Q5FPGA_WFORM_CTRL from 0x%04X to 0x%04X\n", func,
              __LINE__, before, after);
  return 0;
}

/// Amplitude and step of a stopped generator.
int ZeroAmplitude(FpgaDev& fpga) {
  const int result = fpga.WriteReg(Q5FPGA_AMP_TARGET, 0, __LINE__);
  return fpga.WriteReg(Q5FPGA_AMP_STEP_UP_VALUE, kStoppedStep, __LINE__) | result;
}

int StopGenerator() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR(fpgaL, "%s.%d: failed to open the FPGA to stop generating the waveform - %s\n",
                 "wf_initiate", __LINE__, std::strerror(errno));
    return -1;
  }
  const int result = fpga->WriteReg(Q5FPGA_WFORM_CTRL, kStopped, __LINE__);
  return ZeroAmplitude(*fpga) | result;
}

bool IsNormalSize(int samples_per_cycle) {
  return wf_check_power_of_two(static_cast<unsigned>(samples_per_cycle), kMinWaveformSamples,
                               kMaxWaveformSamples) == 0;
}

int CheckGenerator(int samples_per_cycle, int amplitude, int step, int rate) {
  constexpr char kFunc[] = "wf_initiate";
  if (!IsNormalSize(samples_per_cycle)) {
    Q5_LOG_ERROR(fpgaL,
                 "%s.%d: waveform Generator limits samples per cycle to the range %u to %d\n",
                 kFunc, __LINE__, kMinWaveformSamples, kMaxWaveformSamples);
    Q5_LOG_ERROR(fpgaL, "%s.%d: by convention, it must also be a power of 2.\n", kFunc, __LINE__);
    return -ERANGE;
  }
  // a negative value counts as a large one
  if (static_cast<unsigned>(amplitude) > kMaxInitialAmplitude) {
    Q5_LOG_ERROR(fpgaL, "%s.%d: for safety, software limits the initial amplitude to %#x\n", kFunc,
                 __LINE__, kMaxInitialAmplitude);
    return -EINVAL;
  }
  if (static_cast<unsigned>(step) > kMaxInitialStep) {
    Q5_LOG_ERROR(fpgaL, "%s.%d: for safety, software limits the amplitude step value to %#x\n",
                 kFunc, __LINE__, kMaxInitialStep);
    return -EINVAL;
  }
  if (rate < kMinUpdateRate) {
    Q5_LOG_ERROR(
        fpgaL, "%s.%d: for safety, software limits the amplitude update rate to a minimum of %#x\n",
        kFunc, __LINE__, static_cast<unsigned>(kMinUpdateRate));
    return -EINVAL;
  }
  return 0;
}

}  // namespace

int wf_check_power_of_two(unsigned value, unsigned min, unsigned max) {
  return std::has_single_bit(value) && value >= min && value <= max ? 0 : -1;
}

int wf_fill_source_buffer(int samples_per_cycle, int signal_type) {
  FpgaDev* fpga = FpgaDev::GetDevice();
  const int fd = fpga == nullptr ? -1 : fpga->GetDeviceFd();
  if (fd < 0) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d: failed to open the FPGA device\n");
    return fd;
  }
  wf_fill_type = FillType(signal_type);
  if (samples_per_cycle == kHighSpeedSamples) {
    FillHighSpeed(*fpga, signal_type);
    return 0;
  }
  const int result = RequestHighSpeed(*fpga, kHighSpeedOff);
  Q5_LOG_INFO_HERE(fpgaL,
                   "%s.%d: turned off HSVLF mode, even if it was off before. Return Value : %d\n",
                   result);
  if (!IsNormalSize(samples_per_cycle)) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d: Waveform buffer limits samples per cycle to the range %u to %d\n",
                      kMinWaveformSamples, kMaxWaveformSamples);
    Q5_LOG_ERROR(fpgaL, "\t or VLF High Frequency Rate restrictedto %d samples per cycle\n",
                 kHighSpeedSamples);
    return -ERANGE;
  }
  FillNormal(*fpga, static_cast<std::size_t>(samples_per_cycle));
  return 0;
}

int wf_clear_source_buffer() {
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR_HERE(fpgaL, "%s.%d: failed to open the FPGA device\n");
    return -1;
  }
  const WaveformMemory memory(fpga->GetDeviceFd(), kWaveformBytes);
  if (!memory || !UnlockBuffers(*fpga, __func__)) return -1;
  Q5_LOG_INFO_HERE(fpgaL, "%s.%d: filling buffer with 0x%04X\n", 0u);
  std::ranges::fill(memory.Samples().first(kClearedSamples), std::int16_t{0});
  return LockBuffers(*fpga, __func__) ? 0 : -1;
}

int wf_set_polarity(int polarity) { return SetControlBit(kWformPolarity, polarity != 0, __func__); }

int wf_enable_DAC(int enable) { return SetControlBit(kWformDac, enable != 0, __func__); }

int wf_initiate(int samples_per_cycle, int amplitude, int step, int rate, int control) {
  const auto word = static_cast<unsigned>(control);
  if ((word & kGeneratorOn) == 0) return StopGenerator();
  const int refusal = CheckGenerator(samples_per_cycle, amplitude, step, rate);
  if (refusal < 0) return refusal;
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Q5_LOG_ERROR_HERE(fpgaL,
                      "%s.%d: failed to open the FPGA to begin generating the waveform - %s\n",
                      std::strerror(errno));
    return -1;
  }
  const auto length = static_cast<unsigned>(samples_per_cycle) - 1;
  if (fpga->WriteReg(REG_WAVEFORM_CYC_LEN, length, __LINE__) < 0) return -1;
  if (fpga->WriteReg(Q5FPGA_AMP_TARGET, ToRegister(amplitude), __LINE__) < 0 ||
      fpga->WriteReg(Q5FPGA_AMP_STEP_UP_VALUE, ToRegister(step), __LINE__) < 0 ||
      fpga->WriteReg(Q5FPGA_WFORM_UPD_RATE, ToRegister(rate), __LINE__) < 0 ||
      fpga->WriteReg(Q5FPGA_WFORM_CTRL, word & kRegisterMask, __LINE__) < 0) {
    ZeroAmplitude(*fpga);
    return -1;
  }
  return 0;
}

}  // namespace Dev
