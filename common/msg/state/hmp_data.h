// HMPData: the blackboard of the daemon. The parameters of the running test as the host gave them,
// what the acquisition and the channels need to know about them, and flags between threads.
//
// Implemented by theme: hmp_predicates, hmp_test_params, hmp_measurement, hmp_flags, hmp_recovery,
// hmp_drives, hmp_file_checks.
//
// Threads: any. A field is read and written on its own; where several belong together, or where a
// lock is named after what it guards, the operations take that lock. `recoverysoslock` is taken
// before `recoveryblocklock`. Channels are numbered from 0; an operation on a channel that there is
// not does nothing.
#pragma once

#include <sys/time.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "common/msg/records/hmp_test_setup.h"
#include "common/msg/records/input_mode.h"
#include "common/msg/records/module_id.h"
#include "common/msg/state/config_data.h"
#include "common/msg/state/errorcodes.h"
#include "common/msg/state/hmp_links.h"
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

  /// Before other threads run.
  void SetLinks(HmpLinks links) { links_ = std::move(links); }
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
  int VoltageMultiplier() const;
  bool WriteDFRSpecialRegister() const;
  bool Rule1Filter() const;
  bool Rule2Filter() const;
  bool Rule3Filter() const;
  bool IsLineSyncTestNG() const;
  bool IsLineSyncTracker() const;
  bool IsMultiSampleRangingTest() const;
  static bool IsHVTest(int test);
  static bool IsCurrentTest(int test);
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
  /// From messages of other modules.
  void StoreMsg3Params(short source_word, short volts);
  void StoreMsg33Params(short source_word, short amps);
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
  void IncrPowerSanityFail(int channel);
  int GetPowerSanityFail(int channel) const;
  void SetCPLDRevInfo(int channel, short id, short rev);
  short GetCPLDID(int channel) const;
  int GetAmplifierValue() const;
  void StoreFPGAMultiplier();
  void StoreTuningChanges(short magnitude, short correction);
  /// An error of the power stage with what tuning has done so far behind its values.
  void SetPSOCErrors(int code, int first, int second);
  void SetPSOCErrors(int code, int first, int second, int third, int fourth);

  // --- Flags ---

  void SetCableStatus(bool locked);
  bool IsCablesLocked() const;
  void SetFPFPGATestRunBit(bool set);
  bool IsFPFPGATestRunSet() const;
  void SetStartTest(bool started);
  bool IsTestStarted() const;
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
  int ClearMeasEarlyDCOffset();
  bool GetEarlyDCOffset() const;
  bool GetEarlyDCOffset(int channel) const;
  bool GetMeasEarlyDCOffset() const;
  /// True once for each time that both channels have become ready.
  bool GetTransitionToEarlyDCOffset();
  bool IsItGoodToRamp(int phase) const;

  // --- Recovery and safety ---

  void SetRecoveryBlocked(bool blocked);
  void SetSourceRecovery(bool value, int caller);
  bool IsSosRecoveryDone() const;
  /// Asks for the source module every 3 s until SignalMainRecovery; at most two hours.
  void WaitForSosRecovery();
  /// Ends the wait; with false the source module counts as recovered too.
  void SignalMainRecovery(bool released);
  void SafetySwitchReleased(int fault);
  std::time_t GetSafetyRampDownStartTime();

  // --- File systems (POSIX wait statuses: 0 is success) ---

  void CheckNetworkDrives();
  void CheckLocalDrives();
  /// 0: mounted; above 0: not; below 0: cannot be told, a mount is under way.
  int CheckMountPoint(const char* path, int len);
  void MountNetworkShare(const char* path, const char* share);
  bool MountBusy();
  /// Fetch the self-test results and the check logs of the other modules; main module only. 0, or
  /// -1 when a module stays silent.
  int CheckPOSTFiles();
  int CheckerFiles();

  static constexpr int kChannels = 2;
  static constexpr int kTuningSteps = 5;
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
  std::atomic<bool> erramp_ctrl_loop{true};
  std::atomic<short> modesw1{0};  ///< ModeSwitch1
  std::atomic<short> acdctest{0};
  std::atomic<short> testPolarity{0};
  std::atomic<short> voltscal{0};
  std::atomic<short> ampscal{0};
  std::atomic<short> voltrange{0};
  std::atomic<short> curange{0};
  std::atomic<float> frequency{0};        ///< Hz
  std::atomic<float> demagcurrent{5.0F};  ///< A

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
  std::atomic<unsigned short> voltmaxamplifiervalue{0};
  PerChannel<int> chpolarity{1, 1};
  std::atomic<int> fft900{0};
  std::atomic<Input_Mode> measCh1_mode{AC_Volt};
  std::atomic<Input_Mode> measCh2_mode{ACDC_Current};
  std::atomic<Input_Mode> srcCh3_mode{Off};
  std::atomic<int> samplespercyc{0};
  std::atomic<unsigned> wfgensamplespercyc{0};
  std::atomic<long> getresult{0};  ///< results polled in this test
  std::atomic<bool> cablesLocked{false};
  std::atomic<bool> testStart{false};
  std::atomic<bool> tstrunSet{false};
  std::atomic<bool> firstUpdate{false};  ///< the first update of the test has been handled
  std::atomic<unsigned> resetConsumer{0};
  std::atomic<bool> sourcesenabled{false};
  std::atomic<bool> psocinit{false};
  std::atomic<bool> meas_status_change{false};
  std::atomic<bool> vlfreset{false};
  PerChannel<int> max_sample_repetitions{};
  PerChannel<int> max_power_sanity_fail{};
  std::atomic<short> ch1cpldid{0};
  std::atomic<short> ch1cpldrev{0};
  std::atomic<short> ch2cpldid{0};
  std::atomic<short> ch2cpldrev{0};
  std::atomic<bool> lvsfilterrelay{false};
  std::atomic<bool> xmluploaddone{false};
  std::atomic<bool> estophandled{false};
  std::atomic<bool> recoveryblocked{false};
  std::atomic<bool> estopendtest{false};
  std::atomic<short> tuningindex{0};  ///< steps stored, at most kTuningSteps
  std::array<std::atomic<short>, kTuningSteps> ffmagnitude{};
  std::array<std::atomic<short>, kTuningSteps> tuningcorrection{};
  std::atomic<int> fpfault{0};
  std::atomic<std::time_t> switchreleasetime{0};
  std::atomic<std::time_t> switchreleaserampdown{0};
  std::atomic<std::time_t> mainallokintime{0};
  std::atomic<bool> switchreleaseack{false};
  std::atomic<bool> safetyswitch{false};
  std::atomic<int> shelper{0};
  std::atomic<int> hbfail{0};

  // --- Recovery and early DC offset ---

  std::atomic<bool> commslost{false};
  std::atomic<bool> sosrecoverydone{false};
  PerChannel<bool> earlyDCoffset{};
  std::atomic<bool> measearlyDCoffset{false};
  std::atomic<bool> transitionToEarlyDCOffset{false};

  // --- Further state ---

  std::array<char, 16> measured_freq_ascii{};  ///< of the thread that measures the line frequency
  std::atomic<bool> demagflag{false};
  std::atomic<bool> demagdone{false};
  std::atomic<bool> fptempsensor{false};
  std::atomic<bool> rampallowed{false};
  std::atomic<bool> allokwaittimer{false};
  std::atomic<bool> networkmountdone{false};
  std::atomic<bool> networkmountbusy{true};
  std::atomic<bool> resonatortuningtest{false};
  std::atomic<bool> lpfReadyForDataValid{false};
  std::atomic<bool> lpfDataValidHoldoff{false};
  std::atomic<int> discharging{0};
  std::atomic<float> _vlfvoltagemin{0};
  std::atomic<float> _dccurrentmin{0};
  std::atomic<float> _acvoltagemin{0};
  std::atomic<float> _hvacvoltagemin{0};
  std::atomic<bool> wrdischargeflag{false};
  std::vector<int> intsens_table;  ///< see SetInternalSensors
  std::atomic<int> lvsTmpSnsrNdx{0};
  std::atomic<int> msg5exed{0};
  std::atomic<int> tempfanon{0};
  std::atomic<int> tempsetspeed{0};
  std::vector<std::atomic<int>> intflag;  ///< by place in intsens_table: above its limit
  std::atomic<int> extflag{0};
  std::atomic<int> pfcflag{0};
  timeval fantime{};  ///< of the thread that sets the fans
  std::atomic<int> fltlallok{0};
  std::atomic<int> fltallok{0};
  std::atomic<int> postpass{0};
  std::atomic<bool> mount1progress{false};
  std::atomic<bool> mount2progress{false};
  std::atomic<bool> mount3progress{false};
  std::atomic<int> fail1{0};
  std::atomic<int> fail2{0};
  std::atomic<int> fail3{0};
  std::array<char, 21> fwversion{};  ///< of the thread that answers requests

  std::atomic<int> maxsamplingrate{0};
  std::atomic<int> minsamplingrate{0};
  std::atomic<int> feed_fwd_scaling_coeff{0};
  std::atomic<int> enable_nak_on_sample_fault{0};
  std::atomic<int> enable_nak_on_sample_overrange{0};
  std::atomic<short> bt_conn{0};
  std::atomic<bool> driving_i_cpld_busy_flag{false};

 private:
  static constexpr short kUpdateOpcode = 4;
  static constexpr short kStopOpcode = 7;
  static constexpr short kPauseOpcode = 0x27;

  bool IsSource(unsigned source_modes) const;
  bool IsTest(std::uint32_t tests) const;
  float RampFrequency() const;
  void AddPSOCError(int code, std::span<const std::int16_t> values);
  unsigned ReadFpga(int offset) const;
  void Show(int line, const char* text, int ms = 0) const;
  bool IsAlive(int other_module) const;
  bool AwaitModules() const;
  bool FetchSelfTests() const;
  void FetchDiagnostics() const;
  bool MountModules();

  HmpLinks links_;
  bool recoverysignalled_ Q5_GUARDED_BY(recovermutex) = false;

  std::atomic<short> currentmsg{0};
  m3x64_num measured_line_frequency Q5_GUARDED_BY(linefrequencylock);  ///< Hz

  mutable platform::Mutex linefrequencylock;
  std::mutex consumerlock;
  mutable std::mutex dcoffsetmutex;
  platform::Mutex recovermutex;
  std::condition_variable recovercond;  ///< waited for on the machine's monotonic clock
  mutable std::mutex recoveryblocklock;
  mutable std::mutex recoverysoslock;
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
