// Volts and amps as counts of the amplitude multiplier, and the limits made of them.
#include <cmath>

#include "common/dev/fpga/counts.h"
#include "common/dev/fpga/fpga_dev_base.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"

namespace Dev {

using Logger::Capture;

namespace {

constexpr double kPeak = 1.4142135623730951;  // of an effective value 1
constexpr int kMaxCurrentLimit = 32767;

void TellMaximum(float value, int amplitude, float scale, float maximum) {
  if (static_cast<float>(amplitude) < maximum) return;
  Q5_LOG_ERROR(fpgaL, "Reached MAX AMPLITUDE v %f amplitude %d scalefactor %f\n", double{value},
               amplitude, double{scale});
}

int WithPercent(int value, int percent) {
  const float whole = static_cast<float>(value);
  const int limit = ToCounts(double{whole + whole * static_cast<float>(percent) / 100.0F});
  Q5_LOG_INFO(fpgaL, "value=%d, percent=%d hardlimit=%d \n", value, percent, limit);
  return limit;
}

float Part(int value, int divider) {
  const float whole = static_cast<float>(value);
  return divider == 0 ? whole : whole / static_cast<float>(divider);
}

}  // namespace

void FpgaDevBase::Init() {
  const float volts = static_cast<float>(Config().GetLVMaxVoltage());
  _vmaxamplitude =
      static_cast<float>(std::ceil(double{volts} / double{Config().GetLVScaleFactor()} * kPeak));
  _imaxamplitude = static_cast<float>(Config().GetMaxAmperage()) / Config().GetLVCScaleFactor();
}

int FpgaDevBase::VoltsToSample(float volts) {
  const float scale = Config().GetLVScaleFactor();
  int amplitude = 0;
  if (Test().IsInternalHVVoltageTest()) {
    const float high = Config().GetHVScaleFactor();
    const float primary = volts / high / scale;
    amplitude = ToCounts(std::ceil(double{primary} * kPeak));
    Q5_LOG_INFO_HERE(fpgaL,
                     "%s.%d Applied the hv scalefactor volts: %f  HVScaleFactor:%f  "
                     "lvscalefactor:%f  amplitude:%d\n",
                     double{volts}, double{high}, double{scale}, amplitude);
  } else if (Test().IsDCTest()) {
    amplitude = ToCounts(std::ceil(double{volts / scale}));
  } else {
    amplitude = ToCounts(std::ceil(double{volts} * kPeak / double{scale}));
  }
  TellMaximum(volts, amplitude, scale, _vmaxamplitude);
  Q5_LOG_INFO(fpgaL, "volts = %f amplitude = 0x%x \n", double{volts},
              static_cast<unsigned>(amplitude));
  return amplitude;
}

int FpgaDevBase::AmpsToSample(float amps) {
  const float scale = Config().GetLVCScaleFactor();
  const double counts =
      Test().IsDCTest() ? double{amps / scale} : double{amps} * kPeak / double{scale};
  const int amplitude = ToCounts(std::ceil(counts));
  TellMaximum(amps, amplitude, scale, _imaxamplitude);
  Q5_LOG_INFO(fpgaL, "amps = %f amplitude = 0x%x \n", double{amps},
              static_cast<unsigned>(amplitude));
  return amplitude;
}

int FpgaDevBase::VoltsToStepvalue(int volts, int divider) {
  return VoltsToSample(Part(volts, divider));
}

int FpgaDevBase::AmpsToStepvalue(int amps, int divider) {
  return AmpsToSample(Part(amps, divider));
}

int FpgaDevBase::SetFPGAHardLimitRegister(unsigned short counts) {
  return WriteReg(Q5FPGA_WFORM_HARD_LIMIT, counts, __LINE__);
}

int FpgaDevBase::StoreHardLimit(int counts) {
  const auto limit = static_cast<unsigned short>(ToRegister(counts));
  const int result = SetFPGAHardLimitRegister(limit);
  Output().hardlimit = result < 0 ? 0 : limit;
  Capture(Logger::FPGA_HARDLIMIT, Output().hardlimit.load());
  return result;
}

int FpgaDevBase::SetFPGAHardLimit(int value, int percent) {
  int counts = VoltsToSample(static_cast<float>(WithPercent(value, percent)));
  const float maximum = _vmaxamplitude;
  if (static_cast<float>(counts) >= maximum) {
    Capture(Logger::MAX_FPGA_HARDLIMIT, counts, value, percent);
    counts = ToCounts(double{maximum});
  }
  return StoreHardLimit(counts);
}

int FpgaDevBase::SetFPGAHardLimitRT(int value, int percent) {
  int counts = AmpsToSample(static_cast<float>(WithPercent(value, percent)));
  if (counts >= kMaxCurrentLimit) {
    Capture(Logger::MAX_FPGA_HARDLIMIT, counts, value, percent);
    counts = kMaxCurrentLimit;
  }
  return StoreHardLimit(counts);
}

}  // namespace Dev
