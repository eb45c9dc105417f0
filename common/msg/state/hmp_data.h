// HMPData: the blackboard of the daemon. The parameters of the running test as the host gave them,
// what the acquisition and the channels need to know about them, and flags between threads.
//
// Implemented by theme: hmp_predicates, hmp_test_params, hmp_measurement, hmp_flags, hmp_drives.
//
// Threads: any. A field is read and written on its own; where several belong together, or where a
// lock is named after what it guards, the operations take that lock. Channels are numbered from 0;
// an operation on a channel that there is not does nothing.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "common/msg/records/hmp_test_setup.h"
#include "common/msg/records/input_mode.h"
#include "common/msg/records/module_id.h"
#include "common/msg/state/config_data.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/m3x64_num.h"
#include "platform/thread_safety.h"

namespace Msg {

/// Who holds the consumer flag; a bit each.
enum eConsFlagChanger : unsigned {
  eConsChanger_SOS = 1,
  eConsChanger_MOS = 2,
  eConsChanger_ACQ_CH1 = 4,
  eConsChanger_ACQ_CH2 = 8,
};

class HMPData : public Errorcodes, public ConfigData {
 public:
  /// Makes the single instance on the first call, which also sets `ghmp`, and gives it on every
  /// later one, whose arguments are ignored.
  static HMPData& GetHMPData(libconfig::Config& config, int module);

  HMPData(libconfig::Config& config, int module);

  /// The internal temperature sensors that count for the fans, by id (module << 16 | assembly << 8
  /// | address). Before other threads run.
  void SetInternalSensors(std::vector<int> ids);

  bool IsMeasModule() const { return module == MEAS_MODULE; }
  bool IsSourceModule() const { return module == SOURCE_MODULE; }
  bool IsMainModule() const { return module == MAIN_MODULE; }

  // --- Kinds of test ---

  bool IsInternalHVVoltageTest() const;
  bool IsExternalVoltageTest() const;
  bool IsInternalLVVoltageTest() const;
  bool IsInternalDCCurrentTest() const;
  bool IsInternalDCLVTest() const;
  bool IsInternalACCurrentTest() const;
  bool CurrentTest() const;
  bool IsInternalLVTest() const;
  bool VoltageTest() const;
  bool IsDCTest() const;
  bool IsTTRTest() const;
  bool IsDFRTest() const;
  bool IsManualRampTest() const { return manual_ramp; }
  void SetManualRampTest(bool manual) { manual_ramp = manual; }
  bool IsVLFTest() const;
  bool IsOLTCDRMTest() const;
  bool IsSpecialHaldenRamp() const;
  bool AreFFTsRequired() const;
  void SetFFT900(int run) { fft900 = run; }
  bool Rule1Filter() const;
  bool Rule2Filter() const;
  bool Rule3Filter() const;
  bool IsLineSyncTestNG() const;
  bool IsLineSyncTracker() const;
  /// The enumerator's name, or null for a number that has none.
  static const char* GetTestType(int test);
  bool IsDCOffsetEnabled() const { return (modesw1 & MODESW1_DC_OFFSET) != 0; }
  bool IsFilterEnabled() const { return (modesw1 & MODESW1_FILTER) != 0; }
  bool GetEnableNAKonSampleFault() const { return enable_nak_on_sample_fault != 0; }
  bool GetEnableNAKonSampleOverRange() const { return enable_nak_on_sample_overrange != 0; }
  bool IsHmpUpdateMsg() const { return GetCurrentMsg() == kUpdateOpcode; }
  bool IsHmpStopMsg() const { return GetCurrentMsg() == kStopOpcode; }
  bool IsHmpPauseMsg() const;
  bool SpecialVLFReset() const { return IsVLFTest() && !vlfreset; }
  bool HVTimerRampUp() const;
  bool IsFrequencyAboveMinimumRamp() const;
  bool IsTimerRampDown() const;

  // --- What the host asks for ---

  void SetTestParams(const HmpIniTestParamReq& request);
  void SetTestParams(const HmpIniTestParamReqI& request);
  void SetTestParams(const HmpUpdTestParamReq& request);
  void SetTestParams(const HmpUpdTestParamReqI& request);
  void SetTestParams(const HmpStopTestReq& request);
  void SetTestParams(const HmpPauseTestReq& request);
  /// Take the kind of source and the input modes from `source`.
  void SetSourceMode();
  void SetModeInfo();
  void SetCurrentMsg(short opcode);
  short GetCurrentMsg() const;
  void ResetVariables();

  // --- The measurement ---

  void SetFrequency(float hertz) { frequency = hertz; }
  void SetFrequency(const m3x64_num& hertz);
  float GetFrequency() const { return frequency; }
  void SetLineFrequency(int hertz);
  m3x64_num GetLineFrequency() const;
  void SetMeasurementStatus(short status);
  void SetRangingInfo(int channel, float fullscale);
  float GetRangingInfo(int channel) const;
  void SetFilter(int channel, short filter);
  short GetFilter(int channel) const;
  void SetPolarity(int channel, int polarity);
  void ResetMaxSampleRepetitions();
  void IncrMaxSampleRepetitions(int channel);
  int GetMaxSampleRepetitions(int channel) const;
  void SetCPLDRevInfo(int channel, short id, short rev);
  short GetCPLDID(int channel) const;

  // --- Flags ---

  void SetStartTest(bool started);
  void SetRampAllowed(bool allowed);
  bool IsRampAllowed() const;
  void SetLVSFilterRelay(bool set);
  bool GetLVSFilterRelay() const;

  /// While anybody holds the flag the consumer discards its blocks.
  void ChangeConsumerFlag(bool set, unsigned changer);
  bool GetConsumerFlag() const { return resetConsumer != 0; }

  int SetEarlyDCOffset(int channel);
  int ClearEarlyDCOffset(int channel);
  int ClearEarlyDCOffset();
  bool GetEarlyDCOffset() const;
  bool GetEarlyDCOffset(int channel) const;

  // --- File systems (POSIX wait statuses: 0 is success) ---

  void CheckNetworkDrives();
  void CheckLocalDrives();
  /// 0: mounted; above 0: not; below 0: cannot be told, a mount is under way.
  int CheckMountPoint(const char* path, int len);
  void MountNetworkShare(const char* path, const char* share);
  bool MountBusy();

  static constexpr int kChannels = 2;
  template <class T>
  using PerChannel = std::array<std::atomic<T>, kChannels>;

  // --- Test parameters from the host ---

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

  // --- The values before the present update ---

  std::atomic<short> previousvolttarget{0};
  std::atomic<short> previousampmax{0};
  std::atomic<short> previoustestpolarity{0};
  std::atomic<short> previousvoltscal{0};
  std::atomic<short> previousampscal{0};
  std::atomic<short> previouscurange{0};
  std::atomic<short> previousvoltrange{0};
  std::atomic<float> previousfrequency{0};

  // --- State of the measurement ---

  std::atomic<float> ch1fullscale{0};
  std::atomic<float> ch2fullscale{0};
  std::atomic<short> ch1filter{0};
  std::atomic<short> ch2filter{0};
  std::atomic<short> sourcemode{0};    ///< SOURCE_E
  std::atomic<short> modeinfo{0x120};  ///< input modes, four bits each: source, channel 1, 2
  std::atomic<int> swapchannels{0};    ///< 1 when the voltage is on channel 2
  std::atomic<short> meas_status{0};
  std::atomic<bool> manual_ramp{false};
  std::atomic<unsigned short> hardlimit{0};
  std::atomic<unsigned short> amptargetvalue{0};
  std::atomic<unsigned short> currentamplifiervalue{0};
  PerChannel<int> chpolarity{1, 1};
  std::atomic<int> fft900{0};
  std::atomic<Input_Mode> measCh1_mode{AC_Volt};
  std::atomic<Input_Mode> measCh2_mode{ACDC_Current};
  std::atomic<Input_Mode> srcCh3_mode{Off};
  std::atomic<int> samplespercyc{0};
  std::atomic<unsigned> wfgensamplespercyc{0};
  std::atomic<long> getresult{0};  ///< results polled in this test
  std::atomic<bool> testStart{false};
  std::atomic<bool> firstUpdate{false};  ///< the first update of the test has been handled
  std::atomic<unsigned> resetConsumer{0};
  std::atomic<bool> meas_status_change{false};
  std::atomic<bool> vlfreset{false};
  PerChannel<int> max_sample_repetitions{};
  std::atomic<short> ch1cpldid{0};
  std::atomic<short> ch1cpldrev{0};
  std::atomic<short> ch2cpldid{0};
  std::atomic<short> ch2cpldrev{0};
  std::atomic<bool> lvsfilterrelay{false};

  // --- Recovery and early DC offset ---

  PerChannel<bool> earlyDCoffset{};
  std::atomic<bool> measearlyDCoffset{false};

  // --- Further state ---

  std::atomic<bool> rampallowed{false};
  std::atomic<bool> networkmountdone{false};
  std::atomic<bool> networkmountbusy{true};
  std::atomic<bool> resonatortuningtest{false};
  std::atomic<int> discharging{0};
  std::atomic<float> _vlfvoltagemin{0};
  std::atomic<float> _dccurrentmin{0};
  std::atomic<float> _acvoltagemin{0};
  std::atomic<float> _hvacvoltagemin{0};
  std::atomic<bool> wrdischargeflag{false};
  std::vector<int> intsens_table;  ///< see SetInternalSensors
  std::atomic<bool> mount1progress{false};
  std::atomic<bool> mount2progress{false};
  std::atomic<bool> mount3progress{false};
  std::atomic<int> fail1{0};
  std::atomic<int> fail2{0};
  std::atomic<int> fail3{0};

  std::atomic<int> maxsamplingrate{0};
  std::atomic<int> minsamplingrate{0};
  std::atomic<int> enable_nak_on_sample_fault{0};
  std::atomic<int> enable_nak_on_sample_overrange{0};
  std::atomic<bool> driving_i_cpld_busy_flag{false};

 private:
  static constexpr short kUpdateOpcode = 4;
  static constexpr short kStopOpcode = 7;
  static constexpr short kPauseOpcode = 0x27;

  bool IsSource(unsigned source_modes) const;
  bool IsTest(std::uint32_t tests) const;
  float RampFrequency() const;
  bool MountModules();

  std::atomic<short> currentmsg{0};
  m3x64_num measured_line_frequency Q5_GUARDED_BY(linefrequencylock);  ///< Hz

  mutable platform::Mutex linefrequencylock;
  std::mutex consumerlock;
  mutable std::mutex dcoffsetmutex;
};

/// A pointer that other threads may read while it is set.
class HmpPointer {
 public:
  void Set(HMPData* data) { data_.store(data, std::memory_order_release); }
  operator HMPData*() const { return data_.load(std::memory_order_acquire); }
  HMPData* operator->() const { return *this; }

 private:
  std::atomic<HMPData*> data_{nullptr};
};

/// The daemon's instance; null until GetHMPData. Threads run before that.
extern HmpPointer ghmp;

}  // namespace Msg
