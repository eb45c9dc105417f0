#include "simulator/fpga_model.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/thread_safety.h"
#include "simulator/fpga/registers.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

using namespace fpga;

constexpr std::uint16_t kMainIdentity = 0x980;
constexpr std::uint16_t kOtherIdentity = 0x984;
constexpr std::uint16_t kMeasStrap = 1U << 15;

struct AllokBits {
  std::uint16_t output_offset;
  std::uint16_t output_mask;
  std::uint16_t input_offset;
  std::uint16_t input_mask;
};
constexpr AllokBits kMainAllok = {kClkSel, 1U << 4, kDdsFreqLow, 1U << 1};
constexpr AllokBits kOtherAllok = {kMiscCtrl, 1U << 1, kMiscCtrl, 1U << 14};

// SwitchWaveformMode
constexpr std::int32_t kModeOffset = 2;
constexpr std::uint32_t kModeFast = 8;

// The display's controller
constexpr std::int32_t kOledCommand = 0;
constexpr std::int32_t kOledCharacter = 2;

std::string Hex(std::uint16_t value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", value);
  return text;
}

std::string ShowClock(const std::optional<Fraction>& clock) {
  return clock ? HertzText(*clock) : "off";
}

double Hertz(const std::optional<Fraction>& clock) { return clock ? clock->Value() : 0; }

}  // namespace

class FpgaModel::File final : public platform::DeviceFile {
 public:
  explicit File(FpgaModel& fpga) : fpga_(fpga) {}

  int Ioctl(unsigned long request, void* argument) override {
    Dev::FpgaCmd command;
    std::memcpy(&command, argument, sizeof command);
    const int result = fpga_.Request(request, command);
    std::memcpy(argument, &command, sizeof command);
    return result;
  }
  ssize_t Read(void* data, size_t size) override {
    Dev::FpgaCmd command;
    if (size < sizeof command) return -EINVAL;
    std::memcpy(&command, data, sizeof command);
    const platform::Lock lock(reading_mutex_);
    const ssize_t result = fpga_.AwaitBlock(command, reader_);
    std::memcpy(data, &command, sizeof command);
    return result;
  }
  ssize_t Write(const void* data, size_t size) override {
    Dev::FpgaCmd command;
    if (size < sizeof command) return -EINVAL;
    std::memcpy(&command, data, sizeof command);
    return fpga_.AnnounceBlock(command);
  }
  int Map(size_t length, off_t offset) override { return fpga_.Map(length, offset); }

 private:
  FpgaModel& fpga_;
  platform::Mutex reading_mutex_;
  SampleReader reader_ Q5_GUARDED_BY(reading_mutex_);
};

FpgaModel::FpgaModel(const Config& config, platform::Clock& clock, Si5338* clock_chip,
                     SampleSource& source, DriverCounters& counters, Units& units)
    : config_(config),
      clock_(clock),
      clock_chip_(clock_chip),
      faults_({Fault::kOff, Fault::kStuck, Fault::kGarbage, Fault::kWrong, Fault::kSlow,
               Fault::kHang, Fault::kIntermittent},
              config.seed),
      registers_(kRegisters),
      clock_tree_(clock_chip, units),
      generator_(registers_),
      memory_(config.driver_version, units),
      line_sync_(registers_, config.line_frequency),
      allok_(config.module, units),
      sampler_(source, counters, config.speed, config.seed, units) {
  registers_.Drive(kDeviceId, Identity(false));
  registers_.Drive(kVersion, static_cast<std::uint16_t>(config_.fpga_version));
  if (config_.module == Module::kMeas) registers_.Drive(kMiscCtrl, kMeasStrap, kMeasStrap);
  units.AddFaults("fpga", faults_);
  AddRegisterValues(units);
  AddLineValues(units);
  AddSignalValues(units);
  AddSampleValues(units);
  if (config_.module == Module::kMain) AddOledValues(units);
}

// --- The control socket ---

void FpgaModel::AddRegisterValues(Units& units) {
  for (const RegisterInfo& info : registers_.Table()) {
    const std::uint16_t offset = info.offset;
    Units::Setter set;
    if (std::ranges::find(kMeasured, offset) == std::end(kMeasured)) {
      set = [this, offset](std::string_view text) {
        const auto value = ParseHexOrDecimal(text, 0xFFFF);
        if (!value) return false;
        const platform::Lock lock(mutex_);
        Change(offset, static_cast<std::uint16_t>(*value), kAll);
        return true;
      };
    }
    units.AddValue(
        std::string("fpga.") + info.name,
        [this, offset] {
          const platform::Lock lock(mutex_);
          Refresh();
          return Hex(*registers_.Read(offset));
        },
        std::move(set));
  }
}

void FpgaModel::AddLineValues(Units& units) {
  units.AddValue(
      "line.frequency",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(line_sync_.Line().Hertz(clock_.Monotonic()));
      },
      [this](std::string_view text) {
        const auto hertz = ParseReal(text, 0, PowerLine::kMostHertz);
        if (!hertz) return false;
        const platform::Lock lock(mutex_);
        SetLine(*hertz, line_sync_.Line().Drift());
        return true;
      });
  units.AddValue(
      "line.drift",
      [this] {
        const platform::Lock lock(mutex_);
        return std::to_string(line_sync_.Line().Drift());
      },
      [this](std::string_view text) {
        const auto drift = ParseReal(text, -PowerLine::kMostDrift, PowerLine::kMostDrift);
        if (!drift) return false;
        const platform::Lock lock(mutex_);
        SetLine(line_sync_.Line().Hertz(clock_.Monotonic()), *drift);
        return true;
      });
}

double FpgaModel::LineHertz() {
  const platform::Lock lock(mutex_);
  return line_sync_.Line().Hertz(clock_.Monotonic());
}

void FpgaModel::SetLine(double hertz, double drift) {
  Refresh();
  line_sync_.SetLine(clock_.Monotonic(), hertz, drift);
  FollowClocks();
}

void FpgaModel::AddSignalValues(Units& units) {
  units.AddValue("clock.source", [this] { return ShowClock(Signals().clocks.source); });
  units.AddValue("clock.converter", [this] { return ShowClock(Signals().clocks.converter); });
  units.AddValue("clock.waveform", [this] { return ShowClock(Signals().clocks.waveform); });
  units.AddValue("fpga.waveform.frequency",
                 [this] { return std::to_string(Signals().waveform_hertz) + " Hz"; });
  units.AddValue("fpga.waveform.mode", [this] { return Signals().fast ? "high-speed" : "normal"; });
  units.AddValue("fpga.waveform.loaded", [this] {
    const platform::Lock lock(mutex_);
    return memory_.Describe();
  });
}

void FpgaModel::AddOledValues(Units& units) {
  for (std::size_t line = 0; line < Oled::kLines; ++line) {
    units.AddValue(
        "fpga.oled.line" + std::to_string(line + 1),
        [this, line] {
          const platform::Lock lock(mutex_);
          return oled_.Line(line);
        },
        [this, line](std::string_view text) {
          const platform::Lock lock(mutex_);
          return oled_.SetLine(line, text);
        });
  }
}

// --- The driver ---

std::uint16_t FpgaModel::Identity(bool wrong) const {
  const bool main = (config_.module == Module::kMain) != wrong;
  return static_cast<std::uint16_t>((main ? kMainIdentity : kOtherIdentity) |
                                    (config_.board_revision << 12));
}

std::unique_ptr<platform::DeviceFile> FpgaModel::Open(int& error) {
  if (faults_.Now() == Fault::kOff) {
    error = ENXIO;
    return nullptr;
  }
  return std::make_unique<File>(*this);
}

int FpgaModel::Map(std::size_t length, off_t offset) {
  if (faults_.Now() == Fault::kOff) return -EIO;
  if (length != Dev::kSampleRingBytes || offset != 0) return memory_.Map(length, offset);
  return sampler_.Descriptor() < 0 ? -ENOMEM : sampler_.Descriptor();
}

int FpgaModel::Request(unsigned long request, Dev::FpgaCmd& command) {
  const Fault fault = faults_.Now();
  if (fault == Fault::kOff) return -EIO;
  faults_.Hold(clock_);
  const bool oled = command.devtype == Dev::FPGA_OLED_REG && config_.module == Module::kMain;
  const platform::Lock lock(mutex_);
  switch (request) {
    case Dev::Q5FPGA_CMD_RD:
      return oled ? ReadOled(command) : ReadRegister(command, fault);
    case Dev::Q5FPGA_CMD_WR:
      return oled ? WriteOled(command, fault) : WriteRegister(command, fault);
    case Dev::Q5FPGA_CMD_START_SRC_BUFFER_DMA:
      return SwitchWaveformMode(command, fault);
    case Dev::Q5FPGA_CMD_START_SAMPLE_CONTINUOUS:
      return StartSampling(command);
    case Dev::Q5FPGA_CMD_STOP_ACQUISITION:
      return StopSampling(command);
    default:
      return -ENOTTY;
  }
}

int FpgaModel::ReadRegister(Dev::FpgaCmd& command, Fault fault) {
  if (command.devtype != Dev::FPGA_REG) return -EINVAL;
  if (fault != Fault::kStuck) Refresh();
  const auto value = registers_.Read(static_cast<std::uint32_t>(command.offset));
  if (!value) return -EINVAL;
  command.val = *value;
  if (fault == Fault::kGarbage) command.val = faults_.Noise();
  if (fault == Fault::kWrong && command.offset == kDeviceId) command.val = Identity(true);
  return 0;
}

int FpgaModel::WriteRegister(const Dev::FpgaCmd& command, Fault fault) {
  if (command.devtype != Dev::FPGA_REG) return -EINVAL;
  const auto& table = registers_.Table();
  const auto found = std::ranges::find(table, command.offset, &RegisterInfo::offset);
  if (found == table.end()) return -EINVAL;
  if (fault == Fault::kStuck) return 0;
  Change(found->offset, static_cast<std::uint16_t>(command.val), found->writable);
  return 0;
}

int FpgaModel::ReadOled(Dev::FpgaCmd& command) {
  if (command.offset != kOledCharacter) return -EINVAL;
  command.val = oled_.ReadCharacter();
  return 0;
}

int FpgaModel::WriteOled(const Dev::FpgaCmd& command, Fault fault) {
  if (command.offset != kOledCommand) return -EINVAL;
  if (fault != Fault::kStuck) oled_.Command(static_cast<std::uint8_t>(command.val));
  return 0;
}

int FpgaModel::SwitchWaveformMode(const Dev::FpgaCmd& command, Fault fault) {
  if (command.devtype != Dev::FPGA_REG || command.offset != kModeOffset) return -EINVAL;
  if (command.val != 0 && command.val != kModeFast) return -EINVAL;
  if (fault == Fault::kStuck) return 0;
  Refresh();
  memory_.SetFast(command.val == kModeFast);
  FollowClocks();
  return 0;
}

// --- Behaviour ---

void FpgaModel::Refresh() {
  const platform::Nanoseconds now = clock_.Monotonic();
  sampler_.Advance(now);
  generator_.Advance(now);
  line_sync_.Advance(now);
  FollowClocks();
  FollowAllok();
}

/// Takes the registers and clocks as they are now into the behaviours.
void FpgaModel::FollowClocks() {
  const platform::Nanoseconds now = clock_.Monotonic();
  const Clocks clocks = clock_tree_.Make(*registers_.Read(kClkSel));
  generator_.Configure(now, Hertz(clocks.waveform) / ClockTree::kClocksPerWaveformSample);
  line_sync_.Configure(now, generator_.CycleHertz());
  const auto estimate = static_cast<std::uint32_t>(std::llround(Hertz(clocks.converter)));
  registers_.Drive(kFreqEstLow, static_cast<std::uint16_t>(estimate));
  registers_.Drive(kFreqEstHigh, static_cast<std::uint16_t>(estimate >> 16));
  FollowSamples(clocks);
}

void FpgaModel::FollowAllok() {
  const AllokBits& bits = config_.module == Module::kMain ? kMainAllok : kOtherAllok;
  allok_.SetOwn((*registers_.Read(bits.output_offset) & bits.output_mask) != 0);
  registers_.Drive(bits.input_offset, allok_.IsUp() ? bits.input_mask : 0, bits.input_mask);
}

void FpgaModel::Change(std::uint16_t offset, std::uint16_t value, std::uint16_t mask) {
  Refresh();
  const unsigned before = *registers_.Read(offset);
  registers_.Drive(offset, value, mask);
  ActOnEdges(offset, before, *registers_.Read(offset));
  FollowClocks();
  FollowAllok();
}

void FpgaModel::ActOnEdges(std::uint16_t offset, unsigned before, unsigned after) {
  const unsigned rising = after & ~before;
  const unsigned falling = before & ~after;
  if (offset == kMiscCtrl && clock_chip_ != nullptr) {
    if ((rising & kStepPulseUp) != 0) clock_chip_->PulsePin(Si5338::Step::kUp);
    if ((rising & kStepPulseDown) != 0) clock_chip_->PulsePin(Si5338::Step::kDown);
  }
  if (offset == kWformCtrl && (falling & kBufferWrite) != 0) memory_.Load();
  if (offset == kClkSel && (falling & kOledRun) != 0) oled_.Reset();
}

void FpgaModel::Update() {
  const platform::Lock lock(mutex_);
  Refresh();
}

FpgaSignals FpgaModel::Signals() {
  const platform::Lock lock(mutex_);
  Refresh();
  return SignalsLocked();
}

FpgaSignals FpgaModel::SignalsLocked() const {
  const unsigned waveform = *registers_.Read(kWformCtrl);
  const unsigned converter = *registers_.Read(kA2dCtrl);
  FpgaSignals signals;
  signals.clocks = clock_tree_.Make(*registers_.Read(kClkSel));
  signals.multiplier = generator_.Multiplier();
  signals.negative = generator_.IsNegative();
  signals.fast = memory_.IsFast();
  signals.primary_on = (waveform & kPrimaryOn) != 0;
  signals.dac_on = (waveform & kDacOn) != 0;
  for (unsigned channel = 0; channel < signals.inverted.size(); ++channel) {
    signals.inverted[channel] = (converter >> channel & 1U) != 0;
  }
  const double cycle = *registers_.Read(kCycleLength) + 1.0;
  signals.waveform_hertz =
      generator_.CycleHertz() * (signals.fast ? cycle / WaveformMemory::kFastSamples : 1);
  return signals;
}

}  // namespace simulator
