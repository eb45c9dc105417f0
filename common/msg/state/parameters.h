// The test as the host asks for it: the values of the requests, the values before the present
// update, and the kind of test that follows from them.
//
// Owner: the thread that answers requests. A channel that comes to rest clears its ranges as well.
// Locks: only for the line's frequency; any thread reads and writes single fields. A reader that
// needs several of them during an update holds the request lock.
#pragma once

#include <atomic>
#include <cstdint>

#include "common/msg/records/hmp_test_setup.h"
#include "common/msg/records/input_mode.h"
#include "common/msg/records/m3x64_num.h"
#include "platform/thread_safety.h"

namespace Msg {

class TestParameters {
 public:
  // --- Set by requests ---

  void SetTestParams(const HmpIniTestParamReq& request);
  void SetTestParams(const HmpIniTestParamReqI& request);
  void SetTestParams(const HmpUpdTestParamReq& request);
  void SetTestParams(const HmpUpdTestParamReqI& request);
  void SetTestParams(const HmpStopTestReq& request);
  void SetTestParams(const HmpPauseTestReq& request);
  /// Takes the kind of source and the input modes from `source`.
  void SetSourceMode();
  void SetModeInfo();
  void SetCurrentMsg(short opcode) { currentmsg = opcode; }
  short GetCurrentMsg() const { return currentmsg; }
  void SetManualRampTest(bool manual) { manual_ramp = manual; }
  void SetFFT900(int run) { fft900 = run; }

  void SetFrequency(float hertz) { frequency = hertz; }
  /// A measured frequency of the line, for the test.
  void SetFrequency(const m3x64_num& hertz);
  float GetFrequency() const { return frequency; }
  void SetLineFrequency(int hertz);
  void SetLineFrequency(const m3x64_num& hertz);
  m3x64_num GetLineFrequency() const;

  // --- Kinds of test ---

  bool IsInternalHVVoltageTest() const { return sourcemode == internalHVVoltageSourceE; }
  bool IsExternalVoltageTest() const { return sourcemode == externalVoltageSourceE; }
  bool IsInternalLVVoltageTest() const { return sourcemode == internalLVVoltageSourceE; }
  bool IsInternalDCCurrentTest() const { return sourcemode == internalDCCurrentSourceE; }
  bool IsInternalDCLVTest() const { return sourcemode == internalDCLVVoltageSourceE; }
  bool IsInternalACCurrentTest() const { return sourcemode == internalACCurrentSourceE; }
  bool CurrentTest() const;
  bool IsInternalLVTest() const;
  bool VoltageTest() const;
  bool IsDCTest() const;
  bool IsTTRTest() const { return measCh1_mode == AC_Volt && measCh2_mode == AC_Volt; }
  bool IsManualRampTest() const { return manual_ramp; }
  bool IsOLTCDRMTest() const { return testype == TEST_OLTC_DRM; }
  bool IsLineSyncTracker() const { return testype == TEST_LINE_SYNC_REVERSAL; }
  bool IsLineSyncTestNG() const;
  /// `threshold`: ConfigData's vlfthreshold, Hz.
  bool IsVLFTest(int threshold) const;
  bool IsSpecialHaldenRamp() const;
  bool AreFFTsRequired() const { return frequency <= 900.0F || fft900 != 0; }
  bool Rule1Filter() const;
  bool Rule2Filter() const;
  bool Rule3Filter() const;
  bool IsDCOffsetEnabled() const { return (modesw1 & MODESW1_DC_OFFSET) != 0; }
  bool IsFilterEnabled() const { return (modesw1 & MODESW1_FILTER) != 0; }
  /// The enumerator's name, or null for an unknown number.
  static const char* GetTestType(int test);

  bool IsHmpUpdateMsg() const { return GetCurrentMsg() == kUpdateOpcode; }
  bool IsHmpStopMsg() const { return GetCurrentMsg() == kStopOpcode; }
  bool IsHmpPauseMsg() const { return GetCurrentMsg() == kPauseOpcode; }
  bool HVTimerRampUp() const;
  bool IsFrequencyAboveMinimumRamp() const;
  /// `threshold` as for IsVLFTest.
  bool IsTimerRampDown(int threshold) const;

  // --- From the host's requests ---

  std::atomic<short> testype{0};  ///< RNG_TEST_TYPE
  std::atomic<short> source{0};   ///< source word, see SOURCE_E
  std::atomic<short> volttarget{0};
  std::atomic<short> voltmax{0};
  std::atomic<short> maxval{0};
  std::atomic<short> ampmax{0};
  std::atomic<unsigned short> ilimit{0};
  std::atomic<unsigned short> vlimit{0};
  std::atomic<short> modesw1{0};  ///< ModeSwitch1
  std::atomic<short> acdctest{0};
  std::atomic<short> testPolarity{0};
  std::atomic<short> voltscal{0};
  std::atomic<short> ampscal{0};
  std::atomic<short> voltrange{0};
  std::atomic<short> curange{0};
  std::atomic<float> frequency{0};  ///< Hz
  std::atomic<bool> manual_ramp{false};
  std::atomic<bool> resonatortuningtest{false};
  std::atomic<int> fft900{0};

  // --- From the source word ---

  std::atomic<short> sourcemode{0};    ///< SOURCE_E
  std::atomic<short> modeinfo{0x120};  ///< input modes, four bits each: source, channel 1, 2
  std::atomic<int> swapchannels{0};    ///< 1 when the voltage is on channel 2
  std::atomic<Input_Mode> measCh1_mode{AC_Volt};
  std::atomic<Input_Mode> measCh2_mode{ACDC_Current};
  std::atomic<Input_Mode> srcCh3_mode{Off};

  // --- Before the present update ---

  std::atomic<bool> firstUpdate{false};  ///< the first update of the test has been handled
  std::atomic<short> previousvolttarget{0};
  std::atomic<short> previousampmax{0};
  std::atomic<short> previoustestpolarity{0};
  std::atomic<short> previousvoltscal{0};
  std::atomic<short> previousampscal{0};
  std::atomic<short> previouscurange{0};
  std::atomic<short> previousvoltrange{0};
  std::atomic<float> previousfrequency{0};

 private:
  static constexpr short kUpdateOpcode = 4;
  static constexpr short kStopOpcode = 7;
  static constexpr short kPauseOpcode = 0x27;

  bool IsSource(std::uint32_t source_modes) const;
  bool IsTest(std::uint32_t tests) const;
  float RampFrequency() const;

  std::atomic<short> currentmsg{0};
  m3x64_num measured_line_frequency Q5_GUARDED_BY(linefrequencylock);  ///< Hz
  mutable platform::Mutex linefrequencylock;
};

}  // namespace Msg
