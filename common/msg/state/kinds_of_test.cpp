// The kind of the running test, and its consequences.
#include <initializer_list>
#include <iterator>

#include "common/log/log_line.h"
#include "common/msg/state/parameters.h"

namespace Msg {
namespace {

constexpr unsigned kBits = 32;

/// Source modes or kinds of test, as a mask.
constexpr std::uint32_t Mask(std::initializer_list<int> members) {
  std::uint32_t mask = 0;
  for (const int member : members) mask |= 1u << member;
  return mask;
}

constexpr bool IsIn(std::uint32_t mask, int number) {
  return number >= 0 && number < static_cast<int>(kBits) && (mask >> number & 1) != 0;
}

constexpr auto kCurrentSources = Mask({internalDCCurrentSourceE, internalACCurrentSourceE});
constexpr auto kLowVoltageSources = Mask({internalLVVoltageSourceE, internalDCLVVoltageSourceE});
constexpr auto kVoltageSources = kLowVoltageSources | Mask({internalHVVoltageSourceE});
constexpr auto kDcSources = Mask({internalDCCurrentSourceE, internalDCLVVoltageSourceE});

constexpr auto kRule1Tests = Mask({TEST_HVVFPF});
constexpr auto kRule2Tests =
    Mask({TEST_LINE_FREQ_MODULATION, TEST_LINE_SYNC_REVERSAL, TEST_LEAKAGE_REACTANCE,
          TEST_LINE_SYNC_RFU, TEST_HVTTR, TEST_OLTC, TEST_CTKNEEPOINT, TEST_EXCITING_CURRENT,
          TEST_RESONATOR_TUNING, TEST_DEMAG});
constexpr auto kRule3Tests =
    Mask({TEST_FREQUENCY_SWEEP_DFR, TEST_LVTTR, TEST_CONTACT_RESISTANCE, TEST_WINDING_RESISTANCE,
          TEST_CTRATIO_V, TEST_DCIR, TEST_DEMAG, TEST_WR_FOR_DEMAG});
constexpr auto kNoLineSyncTests =
    Mask({TEST_LINE_FREQ_MODULATION, TEST_HVVFPF, TEST_FREQUENCY_SWEEP_DFR});

constexpr float kTimerRampTop = 20.0F;  ///< Hz; the source ramps by a timer up to here

constexpr const char* kTestNames[] = {
    "TEST_LINE_FREQ_MODULATION",
    "TEST_LINE_SYNC_REVERSAL",
    "TEST_FREQUENCY_SWEEP_DFR",
    "TEST_LEAKAGE_REACTANCE",
    "TEST_LINE_SYNC_RFU",
    "TEST_LVTTR",
    "TEST_HVTTR",
    "TEST_HVVFPF",
    "TEST_CONTACT_RESISTANCE",
    "TEST_WINDING_RESISTANCE",
    "TEST_OLTC",
    "TEST_CTRATIO_V",
    "TEST_CTKNEEPOINT",
    "TEST_DCIR",
    "TEST_EXCITING_CURRENT",
    "TEST_RESONATOR_TUNING",
    "TEST_DEMAG",
    "TEST_WR_FOR_DEMAG",
    nullptr,
    nullptr,
    "TEST_NONE",
};
static_assert(std::size(kTestNames) == TEST_NONE + 1);

}  // namespace

bool TestParameters::IsSource(std::uint32_t source_modes) const {
  return IsIn(source_modes, sourcemode);
}
bool TestParameters::IsTest(std::uint32_t tests) const { return IsIn(tests, testype); }

bool TestParameters::CurrentTest() const { return IsSource(kCurrentSources); }
bool TestParameters::IsInternalLVTest() const { return IsSource(kLowVoltageSources); }
bool TestParameters::VoltageTest() const { return IsSource(kVoltageSources); }
bool TestParameters::IsDCTest() const { return IsSource(kDcSources); }

bool TestParameters::IsVLFTest(int threshold) const {
  return frequency < static_cast<float>(threshold) && testype != TEST_DEMAG;
}

bool TestParameters::IsSpecialHaldenRamp() const {
  return IsInternalHVVoltageTest() && testype == TEST_HVVFPF &&
         (frequency <= 40.0F || frequency >= 70.0F);
}

bool TestParameters::Rule1Filter() const { return IsTest(kRule1Tests); }
bool TestParameters::Rule2Filter() const { return IsTest(kRule2Tests); }
bool TestParameters::Rule3Filter() const { return IsTest(kRule3Tests); }

bool TestParameters::IsLineSyncTestNG() const {
  return !IsTest(kNoLineSyncTests) && frequency >= 47.0F && frequency <= 63.0F;
}

const char* TestParameters::GetTestType(int test) {
  return test >= 0 && test <= TEST_NONE ? kTestNames[test] : nullptr;
}

bool TestParameters::HVTimerRampUp() const {
  const float hertz = !firstUpdate && IsHmpUpdateMsg() ? 0.0F : frequency.load();
  if (hertz > kTimerRampTop || !IsInternalHVVoltageTest()) return false;
  Q5_LOG_INFO(msgL, "ENABLED THE TIMERRAMP DOWN \n");
  return true;
}

// The frequency of the source: an update stores its own before the source follows.
float TestParameters::RampFrequency() const {
  if (IsHmpStopMsg() || IsHmpPauseMsg()) return frequency;
  return firstUpdate ? previousfrequency.load() : 0.0F;
}

bool TestParameters::IsFrequencyAboveMinimumRamp() const { return RampFrequency() > kTimerRampTop; }
bool TestParameters::IsTimerRampDown(int threshold) const {
  return RampFrequency() < static_cast<float>(threshold);
}

}  // namespace Msg
