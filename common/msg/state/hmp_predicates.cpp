// What kind of test runs, and what follows from it.
#include <initializer_list>
#include <iterator>

#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"

using Logger::logger_mgr;
using Logger::msgL;

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

bool HMPData::IsSource(std::uint32_t source_modes) const { return IsIn(source_modes, sourcemode); }
bool HMPData::IsTest(std::uint32_t tests) const { return IsIn(tests, testype); }

bool HMPData::IsInternalHVVoltageTest() const { return sourcemode == internalHVVoltageSourceE; }
bool HMPData::IsExternalVoltageTest() const { return sourcemode == externalVoltageSourceE; }
bool HMPData::IsInternalLVVoltageTest() const { return sourcemode == internalLVVoltageSourceE; }
bool HMPData::IsInternalDCCurrentTest() const { return sourcemode == internalDCCurrentSourceE; }
bool HMPData::IsInternalDCLVTest() const { return sourcemode == internalDCLVVoltageSourceE; }
bool HMPData::IsInternalACCurrentTest() const { return sourcemode == internalACCurrentSourceE; }
bool HMPData::CurrentTest() const { return IsSource(kCurrentSources); }
bool HMPData::IsInternalLVTest() const { return IsSource(kLowVoltageSources); }
bool HMPData::VoltageTest() const { return IsSource(kVoltageSources); }
bool HMPData::IsDCTest() const { return IsSource(kDcSources); }

bool HMPData::IsTTRTest() const { return measCh1_mode == AC_Volt && measCh2_mode == AC_Volt; }

bool HMPData::IsDFRTest() const {
  const Input_Mode voltage = IsSourceModule() ? measCh2_mode : measCh1_mode;
  const Input_Mode current = IsSourceModule() ? measCh1_mode : measCh2_mode;
  return voltage == AC_Volt && current == ACDC_Current;
}

bool HMPData::IsVLFTest() const {
  return frequency < static_cast<float>(vlfthreshold) && testype != TEST_DEMAG;
}

bool HMPData::IsOLTCDRMTest() const { return testype == TEST_OLTC_DRM; }

bool HMPData::IsSpecialHaldenRamp() const {
  return IsInternalHVVoltageTest() && testype == TEST_HVVFPF &&
         (frequency <= 40.0F || frequency >= 70.0F);
}

bool HMPData::AreFFTsRequired() const { return frequency <= 900.0F || fft900 != 0; }

bool HMPData::Rule1Filter() const { return IsTest(kRule1Tests); }
bool HMPData::Rule2Filter() const { return IsTest(kRule2Tests); }
bool HMPData::Rule3Filter() const { return IsTest(kRule3Tests); }

bool HMPData::IsLineSyncTestNG() const {
  return !IsTest(kNoLineSyncTests) && frequency >= 47.0F && frequency <= 63.0F;
}

bool HMPData::IsLineSyncTracker() const { return testype == TEST_LINE_SYNC_REVERSAL; }
const char* HMPData::GetTestType(int test) {
  return test >= 0 && test <= TEST_NONE ? kTestNames[test] : nullptr;
}

bool HMPData::IsHmpPauseMsg() const { return GetCurrentMsg() == kPauseOpcode; }

bool HMPData::HVTimerRampUp() const {
  const float hertz = !firstUpdate && IsHmpUpdateMsg() ? 0.0F : frequency.load();
  if (hertz > kTimerRampTop || !IsInternalHVVoltageTest()) return false;
  logger_mgr::print(msgL, Logger::kInfo, 0, "ENABLED THE TIMERRAMP DOWN \n");
  return true;
}

// The frequency that the source runs at: an update has stored its own before the source follows.
float HMPData::RampFrequency() const {
  if (IsHmpStopMsg() || IsHmpPauseMsg()) return frequency;
  return firstUpdate ? previousfrequency.load() : 0.0F;
}

bool HMPData::IsFrequencyAboveMinimumRamp() const { return RampFrequency() > kTimerRampTop; }
bool HMPData::IsTimerRampDown() const { return RampFrequency() < static_cast<float>(vlfthreshold); }

}  // namespace Msg
