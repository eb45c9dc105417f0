#include "mos/handlers/update.h"

#include "common/acquisition/acquisition.h"
#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "mos/handlers/answers.h"
#include "mos/handlers/line_frequency.h"
#include "mos/handlers/update_limits.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_flags.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/system_log.h"

namespace Mos::handlers {

using acquisition::SineCorrelator;
using AcquisitionSystem::AcqChFollowing;
using Logger::kInfo;
using Msg::ghmp;

namespace {

/// The changes that an update can make, one bit each.
enum Changed : unsigned {
  kTarget = 0x01,
  kPolarity = 0x02,
  kRange = 0x04,       ///< of the channel that measures what is driven
  kOtherRange = 0x08,  ///< of the other one
  kFrequency = 0x10,
  kAllButPolarity = kTarget | kRange | kOtherRange | kFrequency,
  kNeedsSourceAtZero = kPolarity | kFrequency,
};

constexpr float kOltcFrequency = 39.0625F;  // Hz
constexpr float kQuickFrequency = 3.0F;     // Hz; from here on a cycle is short
constexpr unsigned kVlfWaveformSamples = 0x40000;

void TellFrequencyDone(float hertz, bool done) {
  const Logger::msg4freqdata_t data{hertz, done};
  Logger::CaptureData(Logger::SPCLK_SET_FREQUENCY_DONE, &data);
}

bool IsSlow(float hertz) { return hertz < static_cast<float>(ghmp->GetVLFThreshold()); }

// From very slow to normal.
bool CheckfrequencySequence() {
  return IsSlow(ghmp->previousfrequency) && !IsSlow(ghmp->frequency);
}

template <class Value>
unsigned BitIf(const std::atomic<Value>& now, const std::atomic<Value>& before, unsigned bit) {
  return now.load() != before.load() ? bit : 0;
}

void MarkSlowCycle() {
  SineCorrelator::SetVLFFlag();
  SineCorrelator::SetCycleComplete(false);
}

void LogSampleSets(float hertz) {
  const auto* channel = AcquisitionSystem::AcqChan::get_AcqCh_instance(ACQ_CH1);
  double sets = channel == nullptr ? 1 : channel->get_sample_sets_per_cycle();
  if (sets == 1) sets = ghmp->samplespercyc / 1024.0;
  Q5_LOG_INFO_HERE(measurementL, "%s.%d freq:%f sample_sets_per_cycle:%f  sample_sets_per_sec:%f\n",
                   double{hertz}, sets, sets * double{hertz});
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
    Q5_LOG_INFO(measurementL, "Normal frequency \n");
  }
}

void BeginUpdate(const Msg::HmpMsgHead& request) {
  CaptureRequest(request);
  ghmp->getresult = 0;
  ghmp->vlfreset = false;
  msgmonitorm.ResetTimer();
}

// Acquisition runs with its own reference; the divider of a sample is always the same.
void LogAcquisition(const char* message, const acquisition::SineCorrelator* slow) {
  const long cycle = slow == nullptr ? 0 : slow->GetSamplesPerCycle();
  Q5_LOG_INFO(measurementL, "%s g_resetacc %d g_refer_freq %lld divider %ld cycle %ld \n", message,
              static_cast<int>(cycle), static_cast<long long>(acquisition::kReferenceFrequency),
              acquisition::kClockDivider, cycle);
}

// The reply of an update whose filter could not be set. The bus may have reported nothing.
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

// --- What differs between the two kinds of update ---

struct OfVoltage {
  using Request = Msg::HmpUpdTestParamReq;
  using Reply = Msg::HmpUpdTestParamRep;
  static constexpr char kOpening[] = "Mos Msg4 ";
  static constexpr char kLinePrefix[] = "LSYN";
  /// The correlators take a new cycle before the channels hear of the update.
  static constexpr bool kFitsFirst = true;

  static Request Wanted(const Request& request) { return request; }
  static void Prepare() {
    if (ghmp->IsLineSyncTracker()) ghmp->ClearEarlyDCOffset();
  }
  static void Take(const Request& request) {
    ghmp->SetTestParams(request);
    if (request.volttarget == 0) ghmp->SetManualRampTest(true);
  }
  /// An update does not disturb a running manual ramp or a slow cycle.
  static bool KeepsFilters(bool running) {
    return running && (ghmp->IsManualRampTest() || ghmp->IsVLFTest());
  }
  static int SelectFilters(ChannelFilters& filters, float hertz) {
    Q5_LOG_INFO(measurementL, "AcqCh2 %s.%d: BoStep2 - Calling SelectFilter(%f)\n", __func__,
                __LINE__, double{hertz});
    return filters.SelectFilter(hertz, false);
  }
  static unsigned Changes() {
    return BitIf(ghmp->volttarget, ghmp->previousvolttarget, kTarget) |
           BitIf(ghmp->testPolarity, ghmp->previoustestpolarity, kPolarity) |
           BitIf(ghmp->voltscal, ghmp->previousvoltscal, kRange) |
           BitIf(ghmp->curange, ghmp->previouscurange, kOtherRange) |
           BitIf(ghmp->frequency, ghmp->previousfrequency, kFrequency);
  }
  static void BeginTarget(const Instrument& its) {
    TellSystem("Msg4 req volttarget %u\n", static_cast<unsigned>(ghmp->volttarget.load()));
    if (ghmp->IsManualRampTest()) its.ResetCorrelators();
  }
  static void BeginCycle() {
    if (ghmp->IsVLFTest()) {
      SineCorrelator::SetVLFFlag();
      Q5_LOG_INFO_HERE(measurementL, "%s.%d set the VLF flag\n");
    }
    SineCorrelator::SetCycleComplete(false);
  }
  static void TellChannels(unsigned changed) {
    if ((changed & kNeedsSourceAtZero) != 0) {
      AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_SOURCE_RAMPED_TO_ZERO);
    }
    if (ghmp->testype != Msg::TEST_HVTTR || changed != 0) {
      AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_UPDATE_TEST_PARAMS);
    }
  }
  static void EndCycle(float) {}
  static void Acknowledge(Reply& reply, float hertz) {
    if (hertz < kQuickFrequency && ghmp->testype != Msg::TEST_DEMAG) {
      reply.SetAckInProgress();
    } else {
      reply.SetAck();
    }
  }
};

struct OfCurrent {
  using Request = Msg::HmpUpdTestParamReqI;
  using Reply = Msg::HmpUpdTestParamRepI;
  static constexpr char kOpening[] = "Mos Msg 34 ";
  static constexpr char kLinePrefix[] = "";
  static constexpr bool kFitsFirst = false;

  static Request Wanted(Request request) {
    if (ghmp->IsOLTCDRMTest()) request.frequency = kOltcFrequency;
    return request;
  }
  static void Prepare() {}
  static void Take(const Request& request) { ghmp->SetTestParams(request); }
  static bool KeepsFilters(bool) { return false; }
  static int SelectFilters(ChannelFilters& filters, float hertz) {
    const int selected = filters.SelectFilter(hertz, false);
    Q5_LOG_INFO_HERE(measurementL, "%s.%d: fltr: SelectFilter(%f) ret:%d\n", double{hertz},
                     selected);
    return selected;
  }
  static unsigned Changes() {
    return BitIf(ghmp->ampmax, ghmp->previousampmax, kTarget) |
           BitIf(ghmp->testPolarity, ghmp->previoustestpolarity, kPolarity) |
           BitIf(ghmp->ampscal, ghmp->previousampscal, kRange) |
           BitIf(ghmp->voltrange, ghmp->previousvoltrange, kOtherRange) |
           BitIf(ghmp->frequency, ghmp->previousfrequency, kFrequency);
  }
  static void BeginTarget(const Instrument&) {
    Q5_LOG_INFO(measurementL, "Msg 34 req amp max %u\n",
                static_cast<unsigned>(ghmp->ampmax.load()));
  }
  static void BeginCycle() {
    if (!ghmp->IsVLFTest()) return;
    MarkSlowCycle();
    Q5_LOG_INFO(measurementL, "set the VLF flag  \n");
  }
  static void TellChannels(unsigned) {
    AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_UPDATE_TEST_PARAMS);
  }
  static void EndCycle(float hertz) {
    if (!IsSlow(hertz)) return;
    MarkSlowCycle();
    Q5_LOG_INFO(measurementL, "VLF turned on \n");
  }
  static void Acknowledge(Reply& reply, float) { reply.SetAck(); }
};

}  // namespace

/// An update under way.
struct Update::Change {
  float frequency;  ///< Hz; the line's where the test follows it
  void* reply;
  unsigned changed = kAllButPolarity;
  unsigned told = kAllButPolarity;  ///< of that, what the channels have not heard yet
  int samples = 0;                  ///< in a cycle
};

// The steps of new clock settings that every update needs, whatever has changed.
void Update::SetSampling(Change& update) {
  Dev::SpclkDev& clock = *its_.clock.Device();
  msgmonitorm.ResetTimer();
  clock.SetDefaultParamters();
  const bool slow = IsSlow(update.frequency);
  update.samples =
      signalh::CalculateSamplesPerCyc(update.frequency, slow ? ghmp->GetVLFBlockReadyInterrupts()
                                                             : ghmp->GetBlockReadyInterrupts());
  clock.SetSamplesPerCyc(static_cast<unsigned>(update.samples));
  clock.SetAdClksPerSample(kAdClocksPerSample);
  if (slow) {
    clock.SetWfSamplesPerCyc(kVlfWaveformSamples);
    Q5_LOG_INFO(measurementL, "Mos VLF samplespercyc %d %d pfreq %f\n", update.samples,
                static_cast<int>(clock.GetWfSamplesPerCyc()), double{update.frequency});
    SineCorrelator::SetVLFFlag();
  } else {
    // a test may change from very slow to normal, and its durations with it
    if (SineCorrelator::GetVLFFlag()) SineCorrelator::ResetVLFFlag();
    clock.SetWfSamplesPerCyc(update.frequency);
    ghmp->wfgensamplespercyc = clock.GetWfSamplesPerCyc();
  }
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) {
    fpga->SetWaveformCycleLength(static_cast<int>(clock.GetWfSamplesPerCyc()));
  }
  ghmp->samplespercyc = update.samples;
  if (spclksync != 0) clock.SetMeasClkSrc(1);
}

void Update::NoteChanges(Change& update, unsigned changed) {
  if (its_.measurement.IsRunning()) {
    if (!its_.measurement.NeedsWholeUpdate()) update.changed = changed;
    // the channels have the step since the source came to zero, the clock has not
    update.told = its_.measurement.AwaitsStep() ? changed : update.changed;
  } else {
    const int signal = ghmp->acdctest;
    Q5_LOG_INFO(measurementL, "Setting waveform signal to %d\n", signal);
    its_.clock.Device()->SetTestWFSignal(signal);
    Logger::Capture(Logger::SET_WAVEFORM_SIG, signal);
  }
  Q5_LOG_INFO_HERE(measurementL, "%s.%d: parameter_changed:0x%04X\n", update.changed);
}

int Update::SetClock(const Change& update) {
  const float hertz = update.frequency;
  const bool changed = (update.changed & kFrequency) != 0;
  if (changed && its_.clock.Device()->SetTestFrequency(hertz) < 0) {
    TellSystem("SPCLK SetTestFrequency() FAIL \n");
    Q5_LOG_ERROR(measurementL, "SPCLK SetTestFrequency() FAIL \n");
    return RefuseClock(Msg::NAK_MCODE_MOS_SPCLKSETFREQ, hertz, update.reply);
  }
  LogSampleSets(hertz);
  if (!changed) return 0;
  TellSystem("setting the frequency %7.4f \n", double{hertz});
  Q5_LOG_INFO(measurementL, "freq %f samplespercyc %u clockspersample %u \n", double{hertz},
              static_cast<unsigned>(update.samples), kAdClocksPerSample);
  const int result = its_.clock.Device()->Update(0);
  if (result >= 0) return 0;
  Q5_LOG_ERROR(measurementL, "SPCLK Update() FAIL FOR FREQUENCY %fHz samplespercyc %d \n",
               double{hertz}, update.samples);
  TellSystem("SPCLK Update fail for frequency %fHz \n", double{hertz});
  RefuseClock(Msg::NAK_MCODE_MOS_SPCLKUPDATE, hertz, update.reply);
  return result;
}

// From here the samples count again.
void Update::EndUpdate(const Change& update, bool running) {
  // the first update, too: the leads came before it, and knew another frequency
  its_.stray.SetFrequency(update.frequency);
  its_.measurement.EndUpdate();
  if (!running) AcquisitionSystem::AcqChan::announce_parameters();
  TellFrequencyDone(update.frequency, true);
  msgmonitorm.ResetTimer();
  its_.ResetCorrelators();
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
}

template <class Kind>
int Update::Tune(Change& update) {
  if (!Kind::KeepsFilters(its_.measurement.IsRunning()) &&
      Kind::SelectFilters(its_.filters, update.frequency) < 0) {
    return RefuseFilter(update.reply);
  }
  if (its_.clock.Device() == nullptr) return Refuse(update.reply, Msg::NAK_MCODE_MOS_SPCLKNOTFOUND);
  SetSampling(update);
  NoteChanges(update, Kind::Changes());
  if ((update.changed & kTarget) != 0) Kind::BeginTarget(its_);
  return SetClock(update);
}

template <class Kind>
int Update::Handle(const typename Kind::Request& asked, typename Kind::Reply& reply) {
  const auto request = Kind::Wanted(asked);
  const bool running = its_.measurement.IsRunning();
  BeginUpdate(request);
  Kind::Prepare();
  LogAcquisition(Kind::kOpening, its_.GetCorrelators().g_slowFilter);
  request.Show(kInfo);
  if (const short problem = ProblemOf(request); problem != 0) return Refuse(&reply, problem);
  if (ghmp->IsLineSyncTracker() && !HasLineFrequency(Kind::kLinePrefix, running)) {
    return Refuse(&reply, Msg::NAK_MCODE_MOS_SPCLKINVFREQ);
  }
  if (!its_.GetCorrelators().BothThere()) return Refuse(&reply, Msg::NAK_MCODE_MOS_NULLFILTER);
  Kind::Take(request);
  Change update{.frequency = FollowLine(request.frequency), .reply = &reply};

  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  if (const int result = Tune<Kind>(update); result < 0) {
    its_.measurement.MarkUpdate(false);
    ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
    return result;
  }
  its_.measurement.MarkUpdate(true);
  FollowSignal(its_.GetCorrelators(), update.frequency);
  Kind::BeginCycle();
  if (Kind::kFitsFirst) its_.FitCorrelators(update.samples);
  if (running) Kind::TellChannels(update.told);
  if (!Kind::kFitsFirst) its_.FitCorrelators(update.samples);
  TellSamples(update.samples, update.frequency);
  Kind::EndCycle(update.frequency);
  Kind::Acknowledge(reply, update.frequency);
  reply.Show(kInfo);
  EndUpdate(update, running);
  return 0;
}

int Update::HandleMsg4(const Msg::HmpUpdTestParamReq* request, Msg::HmpUpdTestParamRep* reply) {
  return Handle<OfVoltage>(*request, *reply);
}

int Update::HandleMsg34(const Msg::HmpUpdTestParamReqI* request, Msg::HmpUpdTestParamRepI* reply) {
  return Handle<OfCurrent>(*request, *reply);
}

int Update::PendingFrequency(float frequency, int curange, int voltscal) {
  Q5_LOG_INFO_HERE(
      measurementL,
      "%s.%d: pubsub saveFreq:%f freq:%f saveIRange:%d Irng:%d saveVRange:%d Vrng:%d\n",
      double{ghmp->GetFrequency()}, double{frequency}, ghmp->curange.load(), curange,
      ghmp->voltscal.load(), voltscal);
  // anybody may send this, and it may come late: without a test, or after the step's own update, it
  // would only stop the samples
  if (its_.measurement.GetState() == Measurement::State::kNone) return 0;
  if (const short problem = ProblemOf(frequency, curange, voltscal); problem != 0) return -problem;
  if (!its_.measurement.NeedsWholeUpdate() && ghmp->GetFrequency() == frequency &&
      ghmp->curange == curange && ghmp->voltscal == voltscal) {
    return 0;
  }
  its_.measurement.AwaitStep();
  ghmp->curange = static_cast<short>(curange);
  ghmp->voltscal = static_cast<short>(voltscal);
  ghmp->SetFrequency(frequency);
  const int selected = its_.filters.SelectFilter(frequency, false);
  Q5_LOG_INFO(measurementL,
              "AcqCh2 %s.%d: BoStep2 - Set Channel Filters - fltr: SelectFilter(%f) ret:%d\n",
              __func__, __LINE__, double{frequency}, selected);
  if (selected != 0) {
    AcquisitionSystem::AcqChan::announce_parameters();
    return selected;
  }
  AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_SOURCE_RAMPED_TO_ZERO);
  Q5_LOG_INFO_HERE(measurementL,
                   "%s.%d: pubsub notify_both_channels(ACQ_EVT_SOURCE_RAMPED_TO_ZERO)\n");
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  return 0;
}

}  // namespace Mos::handlers
