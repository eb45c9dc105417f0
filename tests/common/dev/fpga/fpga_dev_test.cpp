// Who this module is; registers changed bit by bit; and a driver that refuses.
#include "common/dev/fpga/allok_drop.h"
#include "common/dev/fpga/waveform_source.h"
#include "tests/common/dev/fpga/fpga_driver.h"

namespace {

using Dev::FpgaDev;
using fpga_test::Driver;
using fpga_test::FpgaTest;

TEST_F(FpgaTest, ModuleAndRevisionFollowTheRegisters) {
  const struct {
    unsigned id, misc;
    int module, revision;
  } cases[] = {
      {0x0980, 0x8000, Dev::MAIN_MOD, 0},
      {0x3984, 0x8000, Dev::MEAS_MOD, 3},
      {0x2984, 0x7FFF, Dev::SOURCE_MOD, 2},
      {0x0985, 0x8000, 3, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    driver.registers[0] = c.id;
    driver.registers[22] = c.misc;
    EXPECT_EQ(fpga.GetHostModuleID(), c.module);
    EXPECT_EQ(fpga.GetRevision(), c.revision);
    for (int module = 0; module < 5; ++module) {
      EXPECT_EQ(fpga.IsActualModuleID(module), module == c.module);
    }
  }
}

TEST_F(FpgaTest, ReadModifyWriteTouchesItsBitsOnly) {
  using Operation = int (*)(FpgaDev&);
  const struct {
    const char* name;
    Operation operation;
    int module_id, misc;  // what the identity registers hold
    int offset;
    unsigned clear, set;
  } cases[] = {
      {"SetALLOK main", [](FpgaDev& f) { return f.SetALLOK(); }, 0x980, 0, 6, 0x10, 0},
      {"ClearALLOK main", [](FpgaDev& f) { return f.ClearALLOK(); }, 0x980, 0, 6, 0, 0x10},
      {"SetALLOK source", [](FpgaDev& f) { return f.SetALLOK(); }, 0x984, 0, 22, 2, 0},
      {"ClearALLOK meas", [](FpgaDev& f) { return f.ClearALLOK(); }, 0x984, 0x8000, 22, 0, 2},
      {"ClearALLOK unknown", [](FpgaDev& f) { return f.ClearALLOK(); }, 0x123, 0, 22, 0, 2},
      {"InvertChannel 0", [](FpgaDev& f) { return f.InvertChannel(0); }, 0, 0, 14, 0, 1},
      {"UndoInvertChannel 1", [](FpgaDev& f) { return f.UndoInvertChannel(1); }, 0, 0, 14, 2, 0},
      {"ramped down and stopped",
       [](FpgaDev& f) { return f.WaitForRampDownToZero(0, 0, 1) ? 0 : -1; }, 0, 0, 20, 0x1010, 0},
      {"ramped down", [](FpgaDev& f) { return f.WaitForRampDownToZero(0, 0, 0) ? 0 : -1; }, 0, 0,
       20, 0, 0},
  };
  for (const auto& c : cases) {
    for (const unsigned before : {0x0000u, 0xFFFFu, 0xA55Au, 0x5AA5u}) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(before));
      const bool has_strap = c.offset == 22 && c.module_id == 0x984;
      const unsigned start = has_strap ? (before & 0x7FFF) | static_cast<unsigned>(c.misc) : before;
      std::map<int, unsigned> registers = {{0, c.module_id}, {c.offset, start}};
      driver.Reset(registers);
      FpgaDev started{Open()};  // that has written nothing yet
      EXPECT_EQ(c.operation(started), 0);
      registers[c.offset] = (start & ~c.clear) | c.set;
      for (const auto& [offset, value] : registers) EXPECT_EQ(driver.registers[offset], value);
      for (const auto& write : driver.writes) EXPECT_EQ(write.first, c.offset);
    }
  }
}

TEST_F(FpgaTest, LevelsAndInversionAreRead) {
  driver.Reset({{0, 0x980}, {6, 0x10}, {8, 0x2}, {22, 0}});
  EXPECT_EQ(fpga.GetALLOKOut(), 0x10);
  EXPECT_EQ(fpga.GetALLOK(), 2);
  driver.registers[0] = 0x984;
  FpgaDev meas{Open()};
  EXPECT_EQ(meas.GetALLOKOut(), 0);
  EXPECT_EQ(meas.GetALLOK(), 0);
  driver.registers[22] = 0x4002;
  EXPECT_EQ(meas.GetALLOKOut(), 2);
  EXPECT_EQ(meas.GetALLOK(), 0x4000);
  driver.registers[0] = 0x2980;  // a disturbed reading does not move the line
  EXPECT_EQ(meas.SetALLOK(), 0);
  EXPECT_EQ(driver.registers[22], 0x4000U);
  driver.writes.clear();

  driver.Reset({{14, 0x1042}});
  EXPECT_EQ(fpga.IsChannelInverted(0), 0);
  EXPECT_EQ(fpga.IsChannelInverted(1), 1);
  for (const int channel : {-1, 2}) {
    EXPECT_EQ(fpga.IsChannelInverted(channel), -1);
    EXPECT_EQ(fpga.InvertChannel(channel), -1);
    EXPECT_EQ(fpga.SetPolarity(channel, -1), -1);
  }
  EXPECT_EQ(fpga.GetPolarity(0) + fpga.GetPolarity(1), 2);
  EXPECT_EQ(fpga.SetPolarity(1, -1), 0);
  EXPECT_EQ(data.chpolarity[1], -1);
  EXPECT_EQ(fpga.GetPolarity(1), -1);
  EXPECT_TRUE(driver.writes.empty());
}

// The watch of the line may raise it while a signal's handler is at work.
TEST_F(FpgaTest, ADyingDaemonRaisesNoLine) {
  driver.Reset({{0, 0x984}, {22, 0}});
  EXPECT_EQ(fpga.ClearALLOK(), 0);
  EXPECT_EQ(driver.registers[22], 2U);
  Dev::TheAllokDrop().SendLast();  // for the rest of the process, which is this test's alone
  EXPECT_EQ(fpga.ClearALLOK(), 0);
  EXPECT_EQ(driver.registers[22], 0U);
}

TEST_F(FpgaTest, ResetAndClocksWriteInOrder) {
  driver.Reset({{20, 0x5555}, {52, 0x2345}, {54, 0x0100}});
  EXPECT_EQ(fpga.FpgaReset(), 0);
  EXPECT_EQ(fpga.ConfigureClocks(4095, 0x4820), 0);
  const Driver::Writes expected = {{14, 0x1040}, {14, 0x1440}, {14, 0x1040},
                                   {20, 0},      {24, 4095},   {6, 0x4820}};
  EXPECT_EQ(driver.writes, expected);
  EXPECT_EQ(fpga.ReadSclkFreq(), 0x01002345);
  driver.registers[54] = 0x8000;
  EXPECT_EQ(fpga.ReadSclkFreq(), -1);
}

// Every request of every operation fails once: the operation says so and nothing hangs; then it
// works again. What must not be written after the failure is not.
TEST_F(FpgaTest, EveryFailedRequestIsAFailure) {
  using Operation = int (*)(FpgaDev&);
  static m3x64_num hertz;
  const struct {
    const char* name;
    Operation operation;
    bool rises = false;  // a ramp up, which a failure must not leave armed
  } cases[] = {
      {"SetALLOK", [](FpgaDev& f) { return f.SetALLOK(); }},
      {"ClearALLOK", [](FpgaDev& f) { return f.ClearALLOK(); }},
      {"GetALLOKOut", [](FpgaDev& f) { return std::min(f.GetALLOKOut(), 0); }},
      {"GetALLOK", [](FpgaDev& f) { return std::min(f.GetALLOK(), 0); }},
      {"FpgaReset", [](FpgaDev& f) { return f.FpgaReset(); }},
      {"ConfigureClocks", [](FpgaDev& f) { return f.ConfigureClocks(255, 32); }},
      {"ReadSclkFreq", [](FpgaDev& f) { return std::min(f.ReadSclkFreq(), 0); }},
      {"SetFPGAHardLimit", [](FpgaDev& f) { return f.SetFPGAHardLimit(10, 10); }},
      {"InvertChannel", [](FpgaDev& f) { return f.InvertChannel(0); }},
      {"tracker on",
       [](FpgaDev& f) {
         return f.ConfigureLineSyncTracker({16, 16, 32}, 1);
       }},
      {"StartLineFreqEstimator", [](FpgaDev& f) { return f.StartLineFreqEstimator(5); }},
      {"ReadLineFreqEstimate", [](FpgaDev& f) { return f.ReadLineFreqEstimate(&hertz); }},
      {"phases", [](FpgaDev& f) { return f.SetFPGAStartRamp(Dev::eRAMP_PHASE_ALL); }, true},
      {"RampToTarget",
       [](FpgaDev& f) {
         f.ClearDischargeFlag();
         return f.RampToTarget(99);
       },
       true},
      {"changed ramp", [](FpgaDev& f) { return f.RampToTarget(99); }, true},
      {"fixed duration", [](FpgaDev& f) { return f.FixedDurationRampToTarget(99, 1); }, true},
      {"WRDischargeRamp", [](FpgaDev& f) { return f.WRDischargeRamp(5); }, true},
      {"down", [](FpgaDev& f) { return f.SetFPGAStopRamp(); }},
      {"SourceRampToZero", [](FpgaDev& f) { return -f.SourceRampToZero(); }},
      {"stop", [](FpgaDev& f) { return f.WaitForRampDownToZero(0, 0, 1) ? 0 : -1; }},
      {"wf_initiate", [](FpgaDev&) { return Dev::wf_initiate(256, 5, 5, 6, 0x10); }},
  };
  const std::map<int, unsigned> registers = {{0, 0x984},   {2, 145},    {8, 2},  {20, 0xA110},
                                             {22, 0x4022}, {36, 500},   {48, 0}, {74, 0x8025},
                                             {76, 0x000F}, {78, 0xE502}};
  data.vlfthreshold = 1;
  SetTest(Msg::TEST_CTKNEEPOINT, Msg::internalLVVoltageSourceE, 60.0F);
  data.lvmaxvoltage = 300;
  data.lvscalefactor = 0.02F;
  data.maxamperage = 50;
  data.ampscalefactor = 0.002F;
  data.fpgastepdivider = 5;
  data.SetRampAllowed(true);
  fpga.Init();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    driver.Reset(registers);
    ASSERT_EQ(c.operation(fpga), 0);  // what it reads but once is read now
    driver.Reset(registers);
    ASSERT_EQ(c.operation(fpga), 0);
    const int requests = driver.requests;
    ASSERT_GT(requests, 0);
    for (int n = 0; n < requests; ++n) {
      SCOPED_TRACE(n);
      driver.Reset(registers, n);
      EXPECT_LT(c.operation(fpga), 0);
      constexpr unsigned kArmedUp = 0xC;
      EXPECT_FALSE(c.rises && (driver.registers[48] & kArmedUp) == kArmedUp);
    }
    driver.Reset(registers);
    EXPECT_EQ(c.operation(fpga), 0);
  }
}

TEST_F(FpgaTest, ARampDownContinuesAfterFailures) {
  SetTest(Msg::TEST_CTKNEEPOINT, Msg::internalLVVoltageSourceE, 60.0F);
  const std::map<int, unsigned> up = {{20, 0x1012}, {36, 500}, {48, 0x000C}};
  driver.Reset(up);
  ASSERT_EQ(fpga.SetFPGAStopRamp(), 0);
  driver.Reset(up);
  ASSERT_EQ(fpga.SetFPGAStopRamp(), 0);
  const int requests = driver.requests;
  for (int n = 0; n < requests; ++n) {
    driver.Reset(up, n);
    EXPECT_EQ(fpga.SetFPGAStopRamp(), -1);
    // armed downwards, or not at all when the last two requests are those that failed
    EXPECT_EQ(driver.registers[48] & 0xF, n < requests - 2 ? 8u : 0u) << n;
    EXPECT_EQ(fpga.GetDischargeStatusFlag(), 256);
  }
}

TEST_F(FpgaTest, AMissingDeviceCanComeLater) {
  driver.present = false;
  EXPECT_EQ(Dev::FpgaDev::GetDevice(), nullptr);
  EXPECT_EQ(errno, ENOENT);
  driver.present = true;
  Dev::FpgaDev* device = Dev::FpgaDev::GetDevice();
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(Dev::FpgaDev::GetDevice(), device);
}

}  // namespace
