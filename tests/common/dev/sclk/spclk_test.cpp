// The settings of the sampling clock, and how they reach a chip that may refuse.
#include "common/dev/sclk/spclk_dev.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/dev/i2c/bus/i2c_mux.h"
#include "common/dev/sclk/clock_registers.h"
#include "tests/common/dev/sclk/chip_clock.h"
#include "tests/common/dev/sclk/fake_board.h"

namespace {

using Dev::SpclkDev;
using sclk_test::Rational;

constexpr int kClockSelect = 6;
constexpr int kCycleLength = 24;
constexpr int kMiscControl = 22;
constexpr unsigned kSlowest = 1152;
constexpr unsigned kDividerBits = 15 << 7;

class Spclk : public testing::Test {
 protected:
  Spclk() { machine.clock.SetAutoAdvance(true); }
  SpclkDev& Device() {
    SpclkDev* device = SpclkDev::GetDevice();
    EXPECT_NE(device, nullptr);
    return *device;
  }
  sclk_test::Registers Registers() const {
    return [this](int address) { return chip.registers.at(static_cast<std::size_t>(address)); };
  }
  /// The converter clock that comes out of the FPGA, in MHz.
  Rational ConverterClock() {
    const unsigned select = board.fpga[kClockSelect];
    return sclk_test::Clk0(Registers(), 25) / (2 << ((select & kDividerBits) >> 7));
  }

  platform::MachineInPlace<sclk_test::FakeBoard> machine;
  sclk_test::FakeBoard& board = machine.instrument;
  sclk_test::FakeChip& chip = board.chip;
};

TEST_F(Spclk, ASettingBeyondALimitChangesNothing) {
  SpclkDev& spclk = Device();
  const Param_Values& params = spclk.GetParams();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInf = std::numeric_limits<float>::infinity();
  ASSERT_EQ(spclk.SetTestFrequency(50.5F), 0);
  const m3x64_num before = params.op[0].test_freq;
  for (const float bad : {0.0F, std::nextafter(0.0001F, 0.0F), std::nextafter(7000.0F, 8000.0F),
                          -50.0F, kNan, kInf, -kInf, 1e-40F}) {
    EXPECT_LT(spclk.SetTestFrequency(bad), 0) << bad;
    EXPECT_EQ(params.op[0].test_freq, before);
  }
  EXPECT_EQ(spclk.SetTestFrequency(0.0001F), 0);
  EXPECT_EQ(sclk_test::ToRational(params.op[0].test_freq), sclk_test::Ratio(1, 10000000000));
  EXPECT_EQ(spclk.SetTestFrequency(7000), 0);

  const struct {
    int (SpclkDev::*set)(unsigned);
    unsigned Param_Values::*field;
    unsigned least, most;
  } powers[] = {
      {&SpclkDev::SetSamplesPerCyc, &Param_Values::adc_samples_per_cycle, 8, 0x40000000},
      {&SpclkDev::SetAdClksPerSample, &Param_Values::adc_clocks_per_sample, 32, 256},
      {&SpclkDev::SetWfSamplesPerCyc, &Param_Values::wf_samples_per_cycle, 256, 4096},
  };
  for (const auto& power : powers) {
    EXPECT_EQ((spclk.*power.set)(power.least), 0);
    EXPECT_EQ((spclk.*power.set)(power.most), 0);
    for (const unsigned bad : {0U, power.least / 2, power.least + 1, power.most * 2, 0xFFFFFFFFU}) {
      EXPECT_LT((spclk.*power.set)(bad), 0) << bad;
      EXPECT_EQ(params.*power.field, power.most);
    }
  }
  for (const float bad : {5000.0F, -1.0F, kNan, kInf}) EXPECT_LT(spclk.SetWfSamplesPerCyc(bad), 0);
  EXPECT_EQ(spclk.GetWfSamplesPerCyc(), 4096U);
  for (const int bad : {-1, 566668}) EXPECT_LT(spclk.SetFreqJumpSize(bad, true), 0);
  EXPECT_TRUE(chip.written.empty() && board.fpga_written.empty());
}

TEST_F(Spclk, UpdateMakesTheClockAndLeavesReservedBits) {
  SpclkDev& spclk = Device();
  chip.locks_at_reset = 4;
  chip.reference_missing = 999;
  const auto start = machine.clock.Monotonic();
  ASSERT_EQ(spclk.Update(0), 0);
  EXPECT_EQ(chip.resets, 4);
  EXPECT_GE(machine.clock.Monotonic() - start, 4 * std::chrono::milliseconds(25));
  EXPECT_EQ(ConverterClock(), sclk_test::Ratio(60 * 64 * 512, 1000000));
  EXPECT_EQ(board.fpga[kCycleLength], 4095U);
  // slow while the chip is being set, and only then
  const std::vector<unsigned> selects = board.WrittenTo(kClockSelect);
  ASSERT_EQ(selects.size(), 2U);
  EXPECT_EQ(selects[0] & kDividerBits, kSlowest);
  EXPECT_NE(selects[1] & kDividerBits, kSlowest);

  EXPECT_FALSE(chip.OutputsOff());
  EXPECT_FALSE(chip.unsafe);
  EXPECT_EQ(chip.registers[49] & 0x80, 0x80);
  EXPECT_EQ(chip.registers[241], 0x65);
  EXPECT_EQ(chip.registers[47], 0x14 | (sclk_test::kPowerUp & 3));
  EXPECT_EQ(chip.registers[45], sclk_test::kPowerUp);  // the calibration that register 235 told
  for (const Reg_Data& row : get_init_reg_struct()) {
    if (row.Reg_Addr >= kRegisters) continue;
    const bool driven = row.Reg_Addr == 230 || row.Reg_Addr == 241 || row.Reg_Addr == 246;
    const unsigned reserved = driven ? 0 : ~row.Reg_Mask & 0xFFU;
    EXPECT_EQ(chip.registers[row.Reg_Addr] & reserved, sclk_test::kPowerUp & reserved)
        << row.Reg_Addr;
  }
}

TEST_F(Spclk, AChipThatNeverLocksFailsAndTheNextUpdateIsWhole) {
  SpclkDev& spclk = Device();
  chip.locks_at_reset = 501;
  EXPECT_EQ(spclk.Update(0), -5);
  EXPECT_EQ(chip.resets, 120);  // 25 ms each, three seconds
  chip.locks_at_reset = 0;
  EXPECT_TRUE(chip.OutputsOff());
  EXPECT_EQ(board.fpga[kClockSelect] & kDividerBits, kSlowest);

  ASSERT_EQ(spclk.Update(0), 0);
  EXPECT_FALSE(chip.OutputsOff());
  EXPECT_EQ(ConverterClock(), sclk_test::Ratio(60 * 64 * 512, 1000000));
  EXPECT_EQ(board.open_buses, 0);
}

TEST_F(Spclk, EachTransferMayFail) {
  Param_Values params;
  get_default_params(params);
  params.op[0].clkx_freq = {100, 0, 1};
  const auto table = generate_reg_struct(params);
  ASSERT_NE(table, nullptr);
  Dev::SI5338Dev dev({._mid = 1, ._bus = 1, ._hmux = 4, ._lmux = 4, ._addr = 0x70});
  ASSERT_EQ(dev.WriteRegStruct(*table), 0);
  const int transfers = chip.transfers;
  const auto good = chip.registers;
  for (int failing = 1; failing <= transfers; ++failing) {
    SCOPED_TRACE(failing);
    chip = {};
    chip.failing = failing;
    ASSERT_EQ(dev.WriteRegStruct(*table), -1);
    ASSERT_FALSE(chip.unsafe);
    // on only as long as nothing has been changed
    ASSERT_TRUE(chip.OutputsOff() || chip.written.empty());
    ASSERT_EQ(board.open_buses, 0);
    if (failing % 50 != 0) continue;
    ASSERT_EQ(dev.WriteRegStruct(*table), 0);
    ASSERT_EQ(chip.registers, good);
  }
  chip.reference_missing = 1001;  // one for the reading of all registers
  EXPECT_EQ(dev.WriteRegStruct(*table), -1);
  EXPECT_TRUE(chip.OutputsOff());
  board.has_bus = false;
  EXPECT_EQ(dev.WriteRegStruct(*table), -1);
}

TEST_F(Spclk, RegistersAcrossPagesAndOtherUsersOfTheBus) {
  Dev::SI5338Dev dev({._mid = 1, ._bus = 1, ._hmux = 4, ._lmux = 4, ._addr = 0x70});
  const std::uint8_t bytes[] = {1, 2, 3, 4};
  std::uint8_t back[4] = {};
  EXPECT_LT(dev.ReadRegs(0, 1, back), 0);  // not open
  ASSERT_EQ(dev.Open(), 0);
  // somebody else turns to another chip of the bus
  ASSERT_EQ(Dev::SelectAddress(Dev::I2cMux::GetBusFd(1), 0x48), 0);
  for (const int start : {256, 344, 100}) {
    EXPECT_EQ(dev.WriteRegs(start, 4, bytes), 0);
    EXPECT_EQ(chip.registers.at(static_cast<std::size_t>(start) + 3), 4);
  }
  chip.registers[254] = 9;
  ASSERT_EQ(dev.ReadRegs(254, 4, back), 0);
  EXPECT_EQ(back[0], 9);
  EXPECT_EQ(back[2], 1);
  const struct { int start, count; } beyond[] = {{345, 4}, {-1, 1}, {0, -1}, {0x7FFFFFFF, 2}};
  for (const auto& range : beyond) {
    EXPECT_EQ(dev.WriteRegs(range.start, range.count, bytes), -22);
    EXPECT_EQ(dev.ReadRegs(range.start, range.count, back), -22);
  }
}

TEST_F(Spclk, StepsWriteOnlyTheStepRegisters) {
  SpclkDev& spclk = Device();
  ASSERT_EQ(spclk.Update(0), 0);
  const unsigned select = board.fpga[kClockSelect];
  const auto before = chip.registers;
  chip.written.clear();
  board.fpga_written.clear();
  ASSERT_EQ(spclk.SetFreqJumpSize(1000, true), 0);
  ASSERT_EQ(spclk.Update(0), 0);
  std::vector<int> steps;
  for (int address = 123; address <= 144; ++address) steps.push_back(address);
  EXPECT_EQ(chip.written, steps);
  EXPECT_EQ(board.WrittenTo(kClockSelect), std::vector<unsigned>{select});
  EXPECT_EQ(chip.registers, before);  // the plan's own step is that of the frequency
  // of one update only
  chip.failing = chip.transfers + 1;
  ASSERT_EQ(spclk.SetFreqJumpSize(1000, true), 0);
  EXPECT_EQ(spclk.Update(0), -5);
  chip.written.clear();
  ASSERT_EQ(spclk.Update(0), 0);
  EXPECT_GT(chip.written.size(), steps.size());

  board.fpga_written.clear();
  board.fpga[kMiscControl] = 0x8005;
  EXPECT_EQ(spclk.IncrDecrFrequency(1, 0), 0);
  EXPECT_EQ(spclk.IncrDecrFrequency(2, 0), 0);
  EXPECT_EQ(board.WrittenTo(kMiscControl), (std::vector<unsigned>{0x8045, 0x8005, 0x8085, 0x8005}));
}

TEST_F(Spclk, WithoutAPlanOrAnFpgaTheChipIsUnchanged) {
  SpclkDev& spclk = Device();
  spclk.SetTestFrequency(6000);  // with 4096 waveform samples
  EXPECT_LT(spclk.Update(0), 0);
  EXPECT_TRUE(chip.written.empty() && board.fpga_written.empty());
  spclk.SetTestFrequency(60);
  board.fpga_writes_left = 1;
  EXPECT_EQ(spclk.Update(0), -5);
  EXPECT_TRUE(chip.written.empty());
  board.fpga_writes_left = 3;  // the second time round
  EXPECT_EQ(spclk.Update(0), -5);
  board.fpga_writes_left = -1;
  ASSERT_EQ(spclk.Update(0), 0);
  EXPECT_EQ(ConverterClock(), sclk_test::Ratio(60 * 64 * 512, 1000000));
}

TEST_F(Spclk, VeryLowFrequency) {
  SpclkDev& spclk = Device();
  spclk.SetSamplesPerCyc(0x20000);
  spclk.SetWfSamplesPerCyc(0x40000U);
  spclk.SetTestWFSignal(1);
  spclk.SetTestFrequency(0.1F);
  ASSERT_EQ(spclk.Update(0), 0);
  EXPECT_EQ(board.fpga[kCycleLength], 4095U);
  EXPECT_EQ(ConverterClock(), sclk_test::Ratio(64 * 0x20000, 10000000));
}

}  // namespace
