// Handlers that set or change a test's parameters, for voltage and for current, and the source
// module's word that the frequency will change.
#include <chrono>

#include "common/acquisition/range_table.h"
#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/logger_mgr.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "mos/handlers/requests.h"
#include "mos/meas_mgr.h"
#include "mos/process_flags.h"
#include "mos/process_objects.h"
#include "platform/backend.h"

namespace Mos {

using acquisition::SineCorrelator;
using AcquisitionSystem::AcqChan;
using AcquisitionSystem::AcqChFollowing;
using Logger::kError;
using Logger::kInfo;
using Logger::logger_mgr;
using Logger::measurementL;
using Msg::ghmp;

namespace {

/// What an update changes; a bit each.
enum Changed : unsigned {
  kTarget = 0x01,
  kPolarity = 0x02,
  kRange = 0x04,       ///< of the channel that measures what is driven
  kOtherRange = 0x08,  ///< of the other one
  kFrequency = 0x10,
  kAllButPolarity = kTarget | kRange | kOtherRange | kFrequency,
  kNeedsSourceAtZero = kPolarity | kFrequency,
};

constexpr float kLowestFrequencyTimes10000 = 1.0F;  // Hz
constexpr float kHighestFrequency = 1000.0F;        // Hz
constexpr float kOltcFrequency = 39.0625F;          // Hz
constexpr float kQuickFrequency = 3.0F;             // Hz; a cycle at least as fast is over soon
constexpr unsigned kVlfWaveformSamples = 0x40000;
constexpr unsigned kAdClocksPerSample = 64;
constexpr std::chrono::seconds kLineWait{3};
constexpr std::chrono::milliseconds kLinePoll{1};
constexpr std::uint64_t kLowestLine = 47;   // Hz
constexpr std::uint64_t kHighestLine = 63;  // Hz

// A number that is none fails both comparisons.
bool IsPossible(float hertz) {
  if (hertz * 10000 >= kLowestFrequencyTimes10000 && hertz <= kHighestFrequency) return true;
  logger_mgr::print(measurementL, kError, 0,
                    "Invalid parameter value frequency:%f must be 0.0001 to 1000.0\n",
                    double{hertz});
  return false;
}

bool IsPolarity(int polarity) {
  if (polarity == 0 || polarity == 1) return true;
  logger_mgr::print(measurementL, kError, 0, "Invalid parameter value polarity:%d\n", polarity);
  return false;
}

// Ranges that an update names; 0 leaves the choice to the channel.
struct NamedRanges {
  int voltage;
  const char* voltage_name;
  int current;
  const char* current_name;
};

// Both channels must have the range that an update names for their kind of input.
short ProblemOf(const NamedRanges& ranges) {
  for (const ACQ_CHAN_NUM ch : {ACQ_CH1, ACQ_CH2}) {
    const AcqChan* channel = AcqChan::get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    const int mode = channel->get_mode();
    const bool current = mode == Msg::ACDC_Current;
    const int range = current ? ranges.current : ranges.voltage;
    if (range >= 0 && range <= acquisition::range_table_size(ch, mode)) continue;
    logger_mgr::print(measurementL, kError, 0, "Invalid parameter value %s:%d\n",
                      current ? ranges.current_name : ranges.voltage_name, range);
    return current ? Msg::NAK_MCODE_RANGE_SET : Msg::NAK_MCODE_MOS_INVALIDVOLT;
  }
  return 0;
}

// What is wrong with a request, as an error word; 0 for nothing.
short ProblemOf(const Msg::HmpUpdTestParamReq& request) {
  if (!IsPolarity(request.polarity)) return Msg::NAK_MCODE_MOS_INVALIDPOL;
  const int volts = request.volttarget;
  if (volts < 0 || volts > ghmp->voltmax) {
    logger_mgr::print(measurementL, kError, 0, "Invalid parameter value volt:%d  voltmax:%d\n",
                      volts, ghmp->voltmax.load());
    return Msg::NAK_MCODE_MOS_INVALIDVOLT;
  }
  if (const short problem =
          ProblemOf(NamedRanges{request.voltscal, "voltscal", request.curange, "curange"});
      problem != 0) {
    return problem;
  }
  if (ghmp->IsLineSyncTracker() || IsPossible(request.frequency)) return 0;
  return Msg::NAK_MCODE_MOS_SPCLKINVFREQ;
}

short ProblemOf(const Msg::HmpUpdTestParamReqI& request) {
  if (!IsPolarity(request.polarity)) return Msg::NAK_MCODE_MOS_INVALIDPOL;
  const int amps = request.amp;
  if (amps < 0) {
    logger_mgr::print(measurementL, kError, 0, "Invalid parameter value amp:%d\n", amps);
    return Msg::NAK_MCODE_PSOC_MAXAMPERAGE;
  }
  if (const short problem =
          ProblemOf(NamedRanges{request.voltrange, "voltrange", request.ampscal, "ampscal"});
      problem != 0) {
    return problem;
  }
  if (ghmp->IsLineSyncTracker() || IsPossible(request.frequency)) return 0;
  return Msg::NAK_MCODE_MOS_SPCLKINVFREQ;
}

void TellFrequencyDone(float hertz, bool done) {
  const Logger::msg4freqdata_t data{hertz, done};
  Logger::CaptureData(Logger::SPCLK_SET_FREQUENCY_DONE, &data);
}

bool IsSlow(float hertz) { return hertz < static_cast<float>(ghmp->GetVLFThreshold()); }

// From very slow to normal.
bool CheckfrequencySequence() {
  return IsSlow(ghmp->previousfrequency) && !IsSlow(ghmp->frequency);
}

// As long as the source module has not told the line's frequency; at most 3 s.
platform::Nanoseconds AwaitLineFrequency() {
  platform::Clock& clock = platform::Machine().Clock();
  const auto estimator_start_time = clock.Monotonic();
  while (ghmp->GetLineFrequency().a == 0) {
    if (clock.Monotonic() - estimator_start_time > kLineWait) break;
    clock.SleepFor(kLinePoll);
  }
  return clock.Monotonic() - estimator_start_time;
}

void LogWait(const char* prefix, platform::Nanoseconds waited) {
  const auto micro = std::chrono::duration_cast<std::chrono::microseconds>(waited).count();
  logger_mgr::print(measurementL, kInfo, 0,
                    "%s.%d:%s MOS waited %ld.%06ldsec. for line frequency from SOS\n", __func__,
                    __LINE__, prefix, static_cast<long>(micro / 1000000),
                    static_cast<long>(micro % 1000000));
  const m3x64_num line = ghmp->GetLineFrequency();
  logger_mgr::print(measurementL, kInfo, 0,
                    "%s.%d:%s Using line frequency %lld %lld/%lld(%f) from SOS\n", __func__,
                    __LINE__, prefix, static_cast<long long>(line.a),
                    static_cast<long long>(line.b), static_cast<long long>(line.c), ValueOf(line));
}

// False when the line's frequency is not there. In a started test it has been waited for before.
bool HasLineFrequency(const char* prefix, bool started) {
  if (!started) LogWait(prefix, AwaitLineFrequency());
  const m3x64_num line = ghmp->GetLineFrequency();
  if (line.a >= kLowestLine && line.a <= kHighestLine) return true;
  logger_mgr::print(measurementL, kError, 0,
                    "%s.%d:%s Invalid measured frequency:%f not close to 50Hz or 60Hz\n", __func__,
                    __LINE__, prefix, ValueOf(line));
  return false;
}

template <class Value>
unsigned BitIf(const std::atomic<Value>& now, const std::atomic<Value>& before, unsigned bit) {
  return now.load() != before.load() ? bit : 0;
}

unsigned VoltageChanges() {
  return BitIf(ghmp->volttarget, ghmp->previousvolttarget, kTarget) |
         BitIf(ghmp->testPolarity, ghmp->previoustestpolarity, kPolarity) |
         BitIf(ghmp->voltscal, ghmp->previousvoltscal, kRange) |
         BitIf(ghmp->curange, ghmp->previouscurange, kOtherRange) |
         BitIf(ghmp->frequency, ghmp->previousfrequency, kFrequency);
}

unsigned CurrentChanges() {
  return BitIf(ghmp->ampmax, ghmp->previousampmax, kTarget) |
         BitIf(ghmp->testPolarity, ghmp->previoustestpolarity, kPolarity) |
         BitIf(ghmp->ampscal, ghmp->previousampscal, kRange) |
         BitIf(ghmp->voltrange, ghmp->previousvoltrange, kOtherRange) |
         BitIf(ghmp->frequency, ghmp->previousfrequency, kFrequency);
}

void MarkSlowCycle() {
  SineCorrelator::SetVLFFlag();
  SineCorrelator::SetCycleComplete(false);
}

void FollowSignal(float hertz) {
  const Correlators filters = GetCorrelators();
  filters.g_fastFilter->SetSignalFrequency(hertz);
  filters.g_slowFilter->SetSignalFrequency(hertz);
}

void LogSampleSets(float hertz) {
  const auto* channel = AcquisitionSystem::AcqChan::get_AcqCh_instance(ACQ_CH1);
  double sets = channel == nullptr ? 1 : channel->get_sample_sets_per_cycle();
  if (sets == 1) sets = ghmp->samplespercyc / 1024.0;
  logger_mgr::print(measurementL, kInfo, 0,
                    "%s.%d freq:%f sample_sets_per_cycle:%f  sample_sets_per_sec:%f\n", __func__,
                    __LINE__, double{hertz}, sets, sets * double{hertz});
}

void TellSamples(int samples, float hertz) {
  const int stored = ghmp->samplespercyc;
  Logger::Capture(Logger::MSG4_SAMPLES_PER_CYCLE, samples, stored, ghmp->wfgensamplespercyc.load(),
                  static_cast<float>(stored) * hertz);
  constexpr std::uint64_t kMillisecond = 1000000;  // ns
  Logger::Capture(Logger::DUMMY_EVENT3, msgmonitorm.GetCounter() / kMillisecond,
                  msgmonitorm.GetBackupCounter() / kMillisecond);
  if (CheckfrequencySequence() && SineCorrelator::GetRestartAcquisition()) {
    SineCorrelator::SetRestartAcquisition(false);
    logger_mgr::print(measurementL, kInfo, 0, "Normal frequency \n");
  }
}

void BeginUpdate(const Msg::HmpMsgHead& request) {
  CaptureRequest(request);
  ghmp->getresult = 0;
  ghmp->vlfreset = false;
  msgmonitorm.ResetTimer();
}

// Acquisition runs with its own reference; the divider of a sample is always the same.
void LogAcquisition(const char* message) {
  const auto* slow = GetCorrelators().g_slowFilter;
  const long cycle = slow == nullptr ? 0 : slow->GetSamplesPerCycle();
  logger_mgr::print(
      measurementL, kInfo, 0, "%s g_resetacc %d g_refer_freq %lld divider %ld cycle %ld \n",
      message, static_cast<int>(cycle), static_cast<long long>(acquisition::kReferenceFrequency),
      acquisition::kClockDivider, cycle);
}

// The frequency of a test that follows the line is the line's, whatever the request says.
float FollowLine(float hertz) {
  if (!ghmp->IsLineSyncTracker()) return hertz;
  ghmp->SetFrequency(ghmp->GetLineFrequency());
  return ghmp->GetFrequency();
}

// The reply of an update whose filter could not be set; the bus may have said nothing.
int RefuseFilter(void* reply) {
  if (!ghmp->ReportError()) ghmp->SetErrorCode(Msg::NAK_MCODE_CPLD_CONFIG);
  return RefuseWithList(reply, "Mos Filter select error\n");
}

// The reply of an update whose clock could not be set.
int RefuseClock(short code, float hertz, void* reply) {
  Refuse(reply, code);
  TellFrequencyDone(hertz, false);
  return -1;
}

}  // namespace

/// An update under way.
struct MeasMgr::Update {
  float frequency;  ///< Hz; the line's where the test follows it
  void* reply;
  unsigned changed = kAllButPolarity;
  int samples = 0;  ///< in a cycle
};

// Steps of the clock's new settings that do not depend on what has changed.
void MeasMgr::SetSampling(Update& update) {
  msgmonitorm.ResetTimer();
  _spclk->SetDefaultParamters();
  const bool slow = IsSlow(update.frequency);
  update.samples =
      signalh::CalculateSamplesPerCyc(update.frequency, slow ? ghmp->GetVLFBlockReadyInterrupts()
                                                             : ghmp->GetBlockReadyInterrupts());
  _spclk->SetSamplesPerCyc(static_cast<unsigned>(update.samples));
  _spclk->SetAdClksPerSample(kAdClocksPerSample);
  if (slow) {
    _spclk->SetWfSamplesPerCyc(kVlfWaveformSamples);
    logger_mgr::print(measurementL, kInfo, 0, "Mos VLF samplespercyc %d %d pfreq %f\n",
                      update.samples, static_cast<int>(_spclk->GetWfSamplesPerCyc()),
                      double{update.frequency});
    SineCorrelator::SetVLFFlag();
  } else {
    // a test may go from very slow to normal, and its durations with it
    if (SineCorrelator::GetVLFFlag()) SineCorrelator::ResetVLFFlag();
    _spclk->SetWfSamplesPerCyc(update.frequency);
    ghmp->wfgensamplespercyc = _spclk->GetWfSamplesPerCyc();
  }
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) {
    fpga->SetWaveformCycleLength(static_cast<int>(_spclk->GetWfSamplesPerCyc()));
  }
  ghmp->samplespercyc = update.samples;
  if (spclksync != 0) _spclk->SetMeasClkSrc(1);
}

void MeasMgr::MarkUpdate(bool whole) {
  _half_updated = !whole;
  for (const ACQ_CHAN_NUM ch : {ACQ_CH1, ACQ_CH2}) {
    AcqChan* channel = AcqChan::get_AcqCh_instance(ch);
    if (channel == nullptr) continue;
    channel->Guard().SpoilUpdate(whole ? 0 : AcquisitionSystem::Data_Not_Valid);
  }
}

void MeasMgr::NoteChanges(Update& update, unsigned changed) {
  if (startflag) {
    if (!_half_updated) update.changed = changed;
  } else {
    const int signal = ghmp->acdctest;
    logger_mgr::print(measurementL, kInfo, 0, "Setting waveform signal to %d\n", signal);
    _spclk->SetTestWFSignal(signal);
    Logger::Capture(Logger::SET_WAVEFORM_SIG, signal);
  }
  logger_mgr::print(measurementL, kInfo, 0, "%s.%d: parameter_changed:0x%04X\n", __func__, __LINE__,
                    update.changed);
}

int MeasMgr::SetClock(const Update& update) {
  const float hertz = update.frequency;
  const bool changed = (update.changed & kFrequency) != 0;
  if (changed && _spclk->SetTestFrequency(hertz) < 0) {
    TellSystem("SPCLK SetTestFrequency() FAIL \n");
    logger_mgr::print(measurementL, kError, 0, "SPCLK SetTestFrequency() FAIL \n");
    return RefuseClock(Msg::NAK_MCODE_MOS_SPCLKSETFREQ, hertz, update.reply);
  }
  LogSampleSets(hertz);
  if (!changed) return 0;
  TellSystem("setting the frequency %7.4f \n", double{hertz});
  logger_mgr::print(measurementL, kInfo, 0, "freq %f samplespercyc %u clockspersample %u \n",
                    double{hertz}, static_cast<unsigned>(update.samples), kAdClocksPerSample);
  const int result = _spclk->Update(0);
  if (result >= 0) return 0;
  logger_mgr::print(measurementL, kError, 0,
                    "SPCLK Update() FAIL FOR FREQUENCY %fHz samplespercyc %d \n", double{hertz},
                    update.samples);
  TellSystem("SPCLK Update fail for frequency %fHz \n", double{hertz});
  RefuseClock(Msg::NAK_MCODE_MOS_SPCLKUPDATE, hertz, update.reply);
  return result;
}

// A new length of the cycle starts the correlators anew.
void MeasMgr::FitCorrelators(int samples) {
  const Correlators filters = GetCorrelators();
  if (filters.g_fastFilter->GetSamplesPerCycle() == samples) return;
  ghmp->samplespercyc = samples;
  const auto reinit = [&] {
    filters.g_fastFilter->Reinit(samples, samples);
    if (_acquisition) _acquisition->AverageFilter()->Reinit(samples);
    filters.g_slowFilter->Reinit(samples, samples);
  };
  if (!_acquisition) return reinit();
  _acquisition->BetweenBlocks(reinit);
}

// From here the samples count again.
void MeasMgr::EndUpdate(const Update& update) {
  ghmp->firstUpdate = true;
  TellFrequencyDone(update.frequency, true);
  msgmonitorm.ResetTimer();
  ResetCorrelators();
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
}

int MeasMgr::TuneForVoltage(Update& update, bool manual_ramp) {
  if (!startflag || !(manual_ramp || ghmp->IsVLFTest())) {
    logger_mgr::print(measurementL, kInfo, 0, "AcqCh2 %s.%d: BoStep2 - Calling SelectFilter(%f)\n",
                      __func__, __LINE__, double{update.frequency});
    if (SelectFilter(update.frequency, false) < 0) return RefuseFilter(update.reply);
  }
  if (_spclk == nullptr) return Refuse(update.reply, Msg::NAK_MCODE_MOS_SPCLKNOTFOUND);
  SetSampling(update);
  NoteChanges(update, VoltageChanges());
  if ((update.changed & kTarget) != 0) {
    TellSystem("Msg4 req volttarget %u\n", static_cast<unsigned>(ghmp->volttarget.load()));
    if (manual_ramp) ResetCorrelators();
  }
  return SetClock(update);
}

int MeasMgr::TuneForCurrent(Update& update) {
  const int selected = SelectFilter(update.frequency, false);
  logger_mgr::print(measurementL, kInfo, 0, "%s.%d: fltr: SelectFilter(%f) ret:%d\n", __func__,
                    __LINE__, double{update.frequency}, selected);
  if (selected < 0) return RefuseFilter(update.reply);
  if (_spclk == nullptr) return Refuse(update.reply, Msg::NAK_MCODE_MOS_SPCLKNOTFOUND);
  SetSampling(update);
  NoteChanges(update, CurrentChanges());
  if ((update.changed & kTarget) != 0) {
    logger_mgr::print(measurementL, kInfo, 0, "Msg 34 req amp max %u\n",
                      static_cast<unsigned>(ghmp->ampmax.load()));
  }
  return SetClock(update);
}

int MeasMgr::HandleMsg4(const Msg::HmpUpdTestParamReq* request, Msg::HmpUpdTestParamRep* reply) {
  BeginUpdate(*request);
  if (ghmp->IsLineSyncTracker()) ghmp->ClearEarlyDCOffset();
  LogAcquisition("Mos Msg4 ");
  request->Show(kInfo);
  if (const short problem = ProblemOf(*request); problem != 0) return Refuse(reply, problem);
  if (ghmp->IsLineSyncTracker() && !HasLineFrequency("LSYN", startflag)) {
    return Refuse(reply, Msg::NAK_MCODE_MOS_SPCLKINVFREQ);
  }
  if (!GetCorrelators().BothThere()) return Refuse(reply, Msg::NAK_MCODE_MOS_NULLFILTER);
  ghmp->SetTestParams(*request);
  if (request->volttarget == 0) ghmp->SetManualRampTest(true);
  Update update{.frequency = FollowLine(request->frequency), .reply = reply};

  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  if (const int result = TuneForVoltage(update, ghmp->IsManualRampTest()); result < 0) {
    MarkUpdate(false);
    ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
    return result;
  }
  MarkUpdate(true);
  FollowSignal(update.frequency);
  if (ghmp->IsVLFTest()) {
    SineCorrelator::SetVLFFlag();
    logger_mgr::print(measurementL, kInfo, 0, "%s.%d set the VLF flag\n", __func__, __LINE__);
  }
  SineCorrelator::SetCycleComplete(false);
  FitCorrelators(update.samples);
  if (startflag) {
    if ((update.changed & kNeedsSourceAtZero) != 0) {
      AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_SOURCE_RAMPED_TO_ZERO);
    }
    if (ghmp->testype != Msg::TEST_HVTTR || update.changed != 0) {
      AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_UPDATE_TEST_PARAMS);
    }
  }
  TellSamples(update.samples, update.frequency);
  if (update.frequency < kQuickFrequency && ghmp->testype != Msg::TEST_DEMAG) {
    reply->SetAckInProgress();
  } else {
    reply->SetAck();
  }
  reply->Show(kInfo);
  EndUpdate(update);
  return 0;
}

int MeasMgr::HandleMsg34(const Msg::HmpUpdTestParamReqI* request, Msg::HmpUpdTestParamRepI* reply) {
  Msg::HmpUpdTestParamReqI wanted = *request;
  if (ghmp->IsOLTCDRMTest()) wanted.frequency = kOltcFrequency;
  BeginUpdate(wanted);
  LogAcquisition("Mos Msg 34 ");
  wanted.Show(kInfo);
  if (const short problem = ProblemOf(wanted); problem != 0) return Refuse(reply, problem);
  if (ghmp->IsLineSyncTracker() && !HasLineFrequency("", startflag)) {
    return Refuse(reply, Msg::NAK_MCODE_MOS_SPCLKINVFREQ);
  }
  if (!GetCorrelators().BothThere()) return Refuse(reply, Msg::NAK_MCODE_MOS_NULLFILTER);
  ghmp->SetTestParams(wanted);
  Update update{.frequency = FollowLine(wanted.frequency), .reply = reply};

  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  if (const int result = TuneForCurrent(update); result < 0) {
    MarkUpdate(false);
    ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
    return result;
  }
  MarkUpdate(true);
  FollowSignal(update.frequency);
  if (ghmp->IsVLFTest()) {
    MarkSlowCycle();
    logger_mgr::print(measurementL, kInfo, 0, "set the VLF flag  \n");
  }
  if (startflag)
    AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_UPDATE_TEST_PARAMS);
  FitCorrelators(update.samples);
  TellSamples(update.samples, update.frequency);
  if (IsSlow(update.frequency)) {
    MarkSlowCycle();
    logger_mgr::print(measurementL, kInfo, 0, "VLF turned on \n");
  }
  reply->SetAck();
  reply->Show(kInfo);
  EndUpdate(update);
  return 0;
}

int MeasMgr::PendingFrequency(float frequency, int curange, int voltscal) {
  logger_mgr::print(
      measurementL, kInfo, 0,
      "%s.%d: pubsub saveFreq:%f freq:%f saveIRange:%d Irng:%d saveVRange:%d Vrng:%d\n", __func__,
      __LINE__, double{ghmp->GetFrequency()}, double{frequency}, ghmp->curange.load(), curange,
      ghmp->voltscal.load(), voltscal);
  ghmp->curange = static_cast<short>(curange);
  ghmp->voltscal = static_cast<short>(voltscal);
  ghmp->SetFrequency(frequency);
  const int selected = SelectFilter(frequency, false);
  logger_mgr::print(measurementL, kInfo, 0,
                    "AcqCh2 %s.%d: BoStep2 - Set Channel Filters - fltr: SelectFilter(%f) ret:%d\n",
                    __func__, __LINE__, double{frequency}, selected);
  if (selected != 0) return selected;
  AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_SOURCE_RAMPED_TO_ZERO);
  logger_mgr::print(measurementL, kInfo, 0,
                    "%s.%d: pubsub notify_both_channels(ACQ_EVT_SOURCE_RAMPED_TO_ZERO)\n", __func__,
                    __LINE__);
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  return 0;
}

int NotifyMosPendingFrequency(float frequency, int curange, int voltscal) {
  MeasMgr* manager = MeasMgr::Instance();
  return manager == nullptr ? -1 : manager->PendingFrequency(frequency, curange, voltscal);
}

}  // namespace Mos
