#include "simulator/fpga_model.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::uint16_t kAll = 0xFFFF;
constexpr std::uint16_t kNone = 0;

enum Offset : std::uint16_t {
  kDeviceId = 0,
  kVersion = 2,
  kClkSel = 6,
  kDdsFreqLow = 8,
  kMiscCtrl = 22,
};

constexpr RegisterInfo kRegisters[] = {
    {kDeviceId, "Q5FPGA_DEVICE_ID", kNone},
    {kVersion, "Q5FPGA_VERSION", kNone},
    {4, "Q5FPGA_SCRATCH", kAll},
    {kClkSel, "Q5FPGA_CLK_SEL", kAll},
    {kDdsFreqLow, "REG_DDS_FREQ_LSHW", kAll},
    {10, "REG_DDS_FREQ_MSHW", kAll},
    {14, "Q5FPGA_A2D_CTRL", kAll, 0x1040},
    {16, "Q5FPGA_A2D_SAMPLE_WR", kAll},
    {18, "Q5FPGA_A2D_STATUS", kNone},
    {20, "Q5FPGA_WFORM_CTRL", 0x7FFF},        // bit 15: polarity status
    {kMiscCtrl, "Q5FPGA_MISC_CTRL", 0x3FFF},  // bits 14, 15: ALLOK input, module strap
    {24, "REG_WAVEFORM_CYC_LEN", kAll},
    {26, "REG_WAVEFORM_SAMPLE_CT", kAll},
    {28, "REG_WAVEFORM_CYC_CT", kAll},
    {30, "Q5FPGA_AMP_TARGET", kAll},
    {32, "Q5FPGA_AMP_STEP_UP_VALUE", kAll},
    {34, "Q5FPGA_WFORM_UPD_RATE", kAll},
    {36, "Q5FPGA_WFORM_AMP_VALUE", kNone},
    {38, "Q5FPGA_WFORM_AMP_MANUAL", kAll},
    {40, "Q5FPGA_WFORM_AMP_TIMER", kAll},
    {42, "Q5FPGA_SYSTEM_ID_WORD1", kAll},
    {44, "Q5FPGA_SYSTEM_ID_WORD2", kAll},
    {46, "Q5FPGA_SYSTEM_ID_WORD3", kAll},
    {48, "Q5FPGA_WFORM_RAMP_CTL", 0x1FFF, 0x2000},  // bits 13..15: at zero, at target, busy
    {50, "Q5FPGA_WFORM_STEP_DOWN", kAll},
    {52, "Q5FPGA_FREQ_EST_LSW", kNone},
    {54, "Q5FPGA_FREQ_EST_MSW", kNone},
    {60, "Q5FPGA_PSOC_CTRL_STAT", kAll},
    {62, "Q5FPGA_PSOC_COMMAND", kAll},
    {64, "Q5FPGA_WFORM_HARD_LIMIT", kAll},
    {66, "Q5FPGA_PSOC_NUMBITS", kAll},
    {68, "Q5FPGA_ALLOK_STATUS_CONTROL", kAll},
    {70, "Q5FPGA_ALLNOTOK_EVENT", kAll},
    {72, "Q5FPGA_ALLOK_WATCHDOG_TICKLE", kAll},
    {74, "Q5FPGA_LNSYNC_CTL_STAT_REG", 0x3FFF},  // bits 14, 15: locked, estimate complete
    {76, "Q5FPGA_LNSYNC_EST_HI_REG", kNone},
    {78, "Q5FPGA_LNSYNC_EST_LO_REG", kNone},
    {80, "Q5FPGA_LNSYNC_SIM_FREQ_REG", kAll},
    {82, "Q5FPGA_MISC_STATCTL2_REG", 0xE7FF, 0x1800},  // bits 11, 12: both fans turn
    {84, "Q5FPGA_MISC_STATCTL3_REG", kAll},
    {86, "Q5FPGA_MCLK_CNT_STARTVAL_REG", kAll},
    {88, "Q5FPGA_WCLK_CNT_STARTVAL_REG", kAll},
    {90, "Q5FPGA_LNSYNC_TRKR_OFF_THRESH_REG", kAll},
    {92, "Q5FPGA_LNSYNC_CUR_OFF_REG", kNone},
    {94, "Q5FPGA_LNSYNC_CUR_OFF_DELTA_REG", kNone},
    {96, "Q5FPGA_LNSYNC_CORR_PULSE_LIM_REG", kAll},
    {98, "Q5FPGA_LNSYNC_CORR_PULSE_STAT_REG", kNone},
};

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

std::string Hex(std::uint16_t value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", value);
  return text;
}

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

 private:
  FpgaModel& fpga_;
};

FpgaModel::FpgaModel(const Config& config, platform::Clock& clock, Units& units)
    : config_(config),
      clock_(clock),
      registers_(kRegisters),
      faults_({Fault::kOff, Fault::kStuck, Fault::kGarbage, Fault::kWrong, Fault::kSlow,
               Fault::kIntermittent},
              config.seed) {
  registers_.Drive(kDeviceId, Identity(false));
  registers_.Drive(kVersion, static_cast<std::uint16_t>(config_.fpga_version));
  if (config_.module == Module::kMeas) registers_.Drive(kMiscCtrl, kMeasStrap, kMeasStrap);
  units.AddFaults("fpga", faults_);
  for (const RegisterInfo& info : registers_.Table()) {
    const std::uint16_t offset = info.offset;
    units.AddValue(
        std::string("fpga.") + info.name, [this, offset] { return Hex(*registers_.Read(offset)); },
        [this, offset](std::string_view text) {
          const auto value = ParseHexOrDecimal(text, 0xFFFF);
          return value && registers_.Drive(offset, static_cast<std::uint16_t>(*value));
        });
  }
}

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

int FpgaModel::Request(unsigned long request, Dev::FpgaCmd& command) {
  const Fault fault = faults_.Now();
  if (fault == Fault::kOff) return -EIO;
  if (fault == Fault::kSlow) clock_.SleepFor(faults_.Delay());
  switch (request) {
    case Dev::Q5FPGA_CMD_RD:
      return ReadRegister(command, fault);
    case Dev::Q5FPGA_CMD_WR:
      return WriteRegister(command, fault);
    default:
      return -ENOTTY;
  }
}

int FpgaModel::ReadRegister(Dev::FpgaCmd& command, Fault fault) {
  if (command.devtype != Dev::FPGA_REG) return -EINVAL;
  const auto value = registers_.Read(static_cast<std::uint32_t>(command.offset));
  if (!value) return -EINVAL;
  command.val = *value;
  if (fault == Fault::kGarbage) command.val = faults_.Noise();
  if (fault == Fault::kWrong && command.offset == kDeviceId) command.val = Identity(true);
  return 0;
}

int FpgaModel::WriteRegister(const Dev::FpgaCmd& command, Fault fault) {
  if (command.devtype != Dev::FPGA_REG) return -EINVAL;
  const auto offset = static_cast<std::uint32_t>(command.offset);
  if (!registers_.Read(offset)) return -EINVAL;
  if (fault == Fault::kStuck) return 0;
  registers_.Write(offset, static_cast<std::uint16_t>(command.val));
  FollowAllok();
  return 0;
}

void FpgaModel::FollowAllok() {
  const AllokBits& bits = config_.module == Module::kMain ? kMainAllok : kOtherAllok;
  const bool ok = (*registers_.Read(bits.output_offset) & bits.output_mask) != 0;
  registers_.Drive(bits.input_offset, ok ? bits.input_mask : 0, bits.input_mask);
}

}  // namespace simulator
