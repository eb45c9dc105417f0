// Whatever the hardware answers, its operations end, and their results are what they may be.
#include <fcntl.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <libconfig.h++>
#include <limits>

#include "common/dev/fpga/driver_version.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/fpga/waveform_source.h"
#include "common/dev/i2c/bus/sensor_publisher.h"
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/dev/i2c/chips/register_drivers.h"
#include "common/dev/sclk/spclk_dev.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/signal_common.h"
#include "common/signalh/signal_shared.h"
#include "fuzz/common/dev/answering_devices.h"
#include "simulator/root_dir.h"

namespace {

constexpr int kRevision = 4;
constexpr int kMostOperations = 8;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}
#define EXPECT(holds) Expect(holds, #holds)

bool Within(double value, double least, double most) { return value >= least && value <= most; }

/// The daemon's devices and their worker, made once.
class Board {
 public:
  Board() {
    clock_.SetAutoAdvance(true);
    devices.SetClock(clock_);
    Msg::HMPData& data = Msg::HMPData::GetHMPData(settings_, Msg::MEAS_MODULE);
    Dev::FpgaDev::Share(
        {.config = data, .test = data, .output = data, .channels = data, .errors = data});
    signalh::Share(
        {.config = data, .test = data, .measurement = data, .output = data, .errors = data});
    EXPECT(files_.Claim(machine_.root.Path()).empty() && files_.WriteFiles({}).empty());
    Dev::RegisterDrivers();
    EXPECT(i2c.Init(Msg::MEAS_MODULE, kRevision, *Msg::ghmp) == 0);
    for (const int channel : {0, 1}) Msg::ghmp->SetCPLDRevInfo(channel, 0x1093, 0);
    i2c.appndDevTbl(Msg::MEAS_MODULE, kRevision);
    i2c.appndPerScanList();
    Dev::I2cReq none;
    i2c.I2cWkrExecReq(&none);  // behind what is read once
    i2c.StopScanner();
    Dev::SetSendTempLink([](int, int, int, int type, float celsius) {
      // the reference sensor of a converter is one of its eight inputs
      const bool of_converter = type == Dev::kSensorAd7998;
      EXPECT(of_converter ? Within(celsius, -194, 945) : Within(celsius, -128, 128));
    });
  }

 private:
  platform::MachineInPlace<fuzz::AnsweringDevices> machine_;
  platform::FakeClock& clock_ = machine_.clock;
  libconfig::Config settings_;
  simulator::RootDir files_;

 public:
  fuzz::AnsweringDevices& devices = machine_.instrument;
  Dev::I2cMgr i2c{"Fuzz.Answers", 0};
};

/// What an operation works on, made for each input.
struct Bench {
  explicit Bench(Board& its_board) : board(its_board) {
    fpga.Init();
    fpga.SetLinks({.fast_filter = [this](Dev::FastReading, int) -> std::optional<double> {
                     constexpr double kReadings[] = {0,
                                                     1e-6,
                                                     -3,
                                                     1e9,
                                                     std::numeric_limits<double>::quiet_NaN(),
                                                     std::numeric_limits<double>::infinity()};
                     return kReadings[board.devices.Byte() % std::size(kReadings)];
                   },
                   .fast_results = [this](Dev::FastReading) { return ++results; }});
  }
  Dev::MeasChannel& Channel(int number) { return signals.Channel(number & 1); }

  Board& board;
  std::int64_t results = 0;
  SignalCommon signals{Msg::MEAS_MODULE, board.i2c};
  Dev::FpgaDev fpga{platform::Machine().Open(Dev::kFpgaDevicePath, O_RDWR)};
};

using Operation = void (*)(Bench& bench, int argument);

// --- Chips ---

void ScanAll(Bench&, int) {
  for (const auto& [key, device] : Dev::I2cDev::GetDevices()) {
    EXPECT(Within(device->Read(), -1, 0));
  }
}

void ReadIdentity(Bench& bench, int channel) {
  Dev::MeasChCpldIdRev version;
  bench.signals.GetMeasChVersion(channel & 1, version);
  Dev::MeasChStaReg status{};
  bench.signals.GetMeasChStaReg(channel & 1, status);
  for (const int id : {0x0985, 0x1093, 0}) EXPECT(Within(status.RangeEcho(id), -1, 255));
}

void ReadStatus(Bench& bench, int channel) {
  Dev::MeasChStaReg status{};
  bench.Channel(channel).GetMeasChStaReg(status);
  const int first = bench.Channel(channel).Meas1093ReadMeasStatus();
  EXPECT(first == Dev::kStatusReadFailed || Within(first, 0, 255));
}

void Configure(Bench& bench, int channel) {
  EXPECT(Within(bench.signals.SetMeasChCfgReg(channel & 1, Dev::cfg03_filter, false), -10, 0));
  std::uint8_t status = 0;
  bench.Channel(channel).set_range_register(static_cast<std::uint8_t>(channel), status);
}

void WorkOffset(Bench& bench, int channel) {
  const auto dac = static_cast<Dev::DC_OFFSET_DAC_CHAN_NUM>((channel >> 1) % 6 - 1);
  EXPECT(Within(bench.Channel(channel).get_dc_offset_reg_HW(dac), -10, 0xFFFF));
  bench.Channel(channel).set_dc_offset_reg(0x1234, dac);
  bench.Channel(channel).center_dc_offset_reg_bdcst();
}

void ReadEeprom(Bench& bench, int argument) {
  Dev::I2cEepromChips chips(bench.board.i2c);
  const std::size_t place = static_cast<std::size_t>(argument) % chips.List().size();
  constexpr int kLengths[] = {0, 1, 512, 8192, 8193, 65532, 65535, 65536, 65537, -1, 1 << 30};
  for (const int last : kLengths) {
    EXPECT(Within(chips.Read(place, kLengths[argument % 11], last), -1, 0));
  }
  unsigned char bytes[64];
  const int count = chips.Access(place)->readprom(bytes, sizeof bytes, argument * 257);
  EXPECT(count == -1 || count == sizeof bytes);
}

void ReadCalibration(Bench& bench, int) {
  Dev::I2cEepromChips chips(bench.board.i2c);
  Dev::EepromGroup group(Msg::MEAS_MODULE, chips, *Msg::ghmp);
  EXPECT(Within(group.WriteEepromToXml(nullptr), -1, 0));
  int error = 0;
  EXPECT(Within(group.ReadEeDataFromXml(error), -1, 0));
}

std::unique_ptr<Dev::SI5338Dev> MakeClockChip() {
  for (const auto& [key, device] : Dev::I2cDev::GetDevices()) {
    if (device->GetId() == Dev::kClockChipId) {
      return std::make_unique<Dev::SI5338Dev>(device->GetInfo());
    }
  }
  return nullptr;
}

void ReadClockChip(Bench&, int argument) {
  const auto chip = MakeClockChip();
  if (chip->Open() < 0) return;
  std::array<std::uint8_t, kRegisters> registers{};
  EXPECT(chip->ReadRegs(argument * 2, kRegisters - argument, registers.data()) <= 0);
  EXPECT(Within(chip->ReadModifyWrite(argument, 0x5A, 0xFF), -1, 0));
}

void UpdateClock(Bench& bench, int argument) {
  constexpr float kHertz[] = {0.0001F, 0.5F, 2.9F, 16.7F, 50, 60, 1000, 7000};
  Dev::SpclkDev clock(MakeClockChip(), bench.fpga);
  EXPECT(clock.SetTestFrequency(kHertz[argument % 8]) == 0);
  clock.SetWfSamplesPerCyc(kHertz[argument % 8]);
  clock.SetMeasClkSrc(static_cast<short>(argument >> 3 & 1));
  clock.SetRefClkSrc(static_cast<short>(argument >> 4 & 3));
  clock.SetTestWFSignal(argument >> 5 & 3);
  clock.SetFreqJumpSize(1000, argument > 127);
  EXPECT(clock.Update(0) <= 0);
  clock.IncrDecrFrequency(argument % 4, 0);
  EXPECT(Within(clock.FpgaReadVersion(), -1, 0xFFFF));
  EXPECT(Within(clock.FpgaReadDeviceId(), -1, 0xFFFF));
  EXPECT(clock.FpgaReadSclkFreq() >= -1);
}

void Transfer(Bench& bench, int argument) {
  constexpr Dev::I2cDev::Act kActs[] = {Dev::I2cDev::do_read, Dev::I2cDev::do_write,
                                        Dev::I2cDev::do_wread, Dev::I2cDev::do_psocwread,
                                        Dev::I2cDev::do_rawread};
  char bytes[Dev::I2cReq::kBytes] = {};
  for (const auto& [key, device] : Dev::I2cDev::GetDevices()) {
    const Dev::I2cDevInfo& info = device->GetInfo();
    const int result = bench.board.i2c.I2cWkrWrapper(
        info._mid, info._aid, info._type, info._num, bytes, bench.board.devices.Byte() * 2 - 1,
        bench.board.devices.Byte() * 2 - 1, kActs[argument % 5]);
    EXPECT(Within(result, -10, Dev::I2cReq::kBytes));
  }
}

// --- FPGA ---

void Identify(Bench& bench, int) {
  EXPECT(Within(bench.fpga.GetHostModuleID(), -1, 3));
  EXPECT(Within(bench.fpga.GetRevision(), -1, 15));
  EXPECT(Within(bench.fpga.GetMiscContStat2(), -1, 0xFFFF));
  const float version = Dev::GetQ5FPGADriverVersion();
  EXPECT(version == -1 || Within(double{version}, 0, 10000));
}

void SwitchLines(Bench& bench, int argument) {
  EXPECT(Within(bench.fpga.SetALLOK(), -1, 0));
  EXPECT(Within(bench.fpga.ClearALLOK(), -1, 0));
  EXPECT(Within(bench.fpga.GetALLOK(), -1, 0xFFFF));
  EXPECT(Within(bench.fpga.GetALLOKOut(), -1, 0xFFFF));
  EXPECT(Within(bench.fpga.FpgaReset() | bench.fpga.RunConverters(), -1, 0));
  EXPECT(Within(bench.fpga.IsChannelInverted(argument % 3), -1, 1));
  EXPECT(Within(bench.fpga.InvertCurrentChannel(argument % 3), -1, 0));
  EXPECT(Within(bench.fpga.ResetOled(), -2, 0));
  EXPECT(Within(bench.fpga.EnableDACForLinearAmplifier(), -1, 0));
}

void Ramp(Bench& bench, int argument) {
  Dev::rampdata.highlimit = argument * 200;
  EXPECT(Within(bench.fpga.SetFPGAHardLimit(argument * 100, 10), -1, 0));
  EXPECT(Within(bench.fpga.SetFPGAStartRamp(Dev::eRAMP_PHASE_ALL), -1, 0));
  EXPECT(Within(bench.fpga.RampToTarget(static_cast<unsigned short>(argument * 257)), -1, 0));
  bench.fpga.FixedDurationRampToTarget(100, static_cast<float>(argument));
  EXPECT(Within(bench.fpga.IsRampDone(), -1, 1));
  EXPECT(Within(bench.fpga.WRDischargeRamp(static_cast<float>(argument)), -1, 0));
  bench.fpga.CalculateRampDownParams(static_cast<float>(argument), argument % 4);
  EXPECT(Within(bench.fpga.SetFPGAStopRamp(), -1, 0));
  EXPECT(Within(bench.fpga.SourceRampToZero(), 0, 1));
}

void Discharge(Bench& bench, int argument) {
  const auto result = bench.fpga.AwaitRampDown(argument & 1, [] { return true; });
  const bool gone = result.outcome == Dev::FpgaRampControl::RampDown::kGone;
  EXPECT(bench.fpga.EndRampDown(result, 0) == gone);
  bench.fpga.MonitorDischargeFlag();
  EXPECT((bench.fpga.GetDischargeStatus(1, argument & 1) & ~0x700) == 0);
}

void FollowLine(Bench& bench, int argument) {
  const Dev::lineSyncTrackerParams params{16, 10, 10};
  EXPECT(Within(bench.fpga.ConfigureLineSyncTracker(params, argument & 1), -8, 0));
  EXPECT(Within(bench.fpga.FpgaLineSyncInit(), -8, 0));
  EXPECT(Within(bench.fpga.SourceInLineSync(), -8, 1));
  EXPECT(Within(bench.fpga.CheckWFPolarityCorrect(argument & 1), -8, 1));
  EXPECT(Within(bench.fpga.StartLineFreqEstimator(static_cast<unsigned>(argument % 40)), -8, 0));
  m3x64_num hertz{7, 7, 7};
  if (bench.fpga.ReadLineFreqEstimate(&hertz) == Dev::LF_EST_COMPLETE) {
    EXPECT(hertz.c > 0 && hertz.b < hertz.c);
  } else {
    EXPECT((hertz == m3x64_num{7, 7, 7}));
  }
}

void FillWaveform(Bench&, int argument) {
  constexpr int kSamples[] = {0, 4, 256, 4096, 8192, Dev::kHighSpeedSamples};
  EXPECT(Dev::wf_fill_source_buffer(kSamples[argument % 6], argument / 6 % 4) <= 0);
  EXPECT(Within(Dev::wf_clear_source_buffer(), -1, 0));
  EXPECT(Within(Dev::wf_set_polarity(argument & 1), -1, 0));
  EXPECT(Dev::wf_initiate(256, 100, 10, 10, argument) <= 0);
}

constexpr Operation kOperations[] = {ScanAll,     ReadIdentity, ReadStatus,      Configure,
                                     WorkOffset,  ReadEeprom,   ReadCalibration, ReadClockChip,
                                     UpdateClock, Identify,     SwitchLines,     Ramp,
                                     Discharge,   FollowLine,   FillWaveform,    Transfer};

void SetTest(int kind) {
  Msg::ghmp->ClearErrorCodes();
  Msg::ghmp->testype = static_cast<short>(kind % 21);
  Msg::ghmp->sourcemode = static_cast<short>(kind / 21 % 7);
  Msg::ghmp->frequency = kind % 2 == 0 ? 60.0F : 0.1F;
}

}  // namespace

// The failing use, the kind of test, a count of operations; each with its argument; then the
// answers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Board board;
  if (size < 4) return -1;
  const auto count = static_cast<std::size_t>(data[2] % kMostOperations + 1);
  if (size < 3 + 2 * count) return -1;
  board.devices.Answer({data + 3 + 2 * count, size - 3 - 2 * count}, 0);
  SetTest(data[1]);
  Bench bench(board);
  board.devices.Answer({data + 3 + 2 * count, size - 3 - 2 * count}, data[0]);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* step = data + 3 + 2 * i;
    kOperations[step[0] % std::size(kOperations)](bench, step[1]);
  }
  return 0;
}
