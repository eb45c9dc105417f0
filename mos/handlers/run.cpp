#include "mos/handlers/run.h"

#include <array>

#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/prepare_nak.h"
#include "common/msg/state/safety_nak.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_flags.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/system_log.h"

namespace Mos::handlers {

using acquisition::phasortoo_t;
using acquisition::SineCorrelator;
using AcquisitionSystem::AcqChFollowing;
using Dev::FpgaDev;
using Logger::kInfo;
using Msg::ghmp;

namespace {

constexpr int kCaptureOnce = 1;
constexpr float kDischargeFilterFrequency = 40.0F;  // Hz

bool IsVeryLowFrequency() {
  return ghmp->GetFrequency() < static_cast<float>(ghmp->GetVLFThreshold());
}

/// The lines of the diagnostic results, by opcode.
struct Texts16 {
  static constexpr char kSlow[] = "16 slow Phasors ch1 Phase %lf Mag %lf ch2 Phase %lf  Mag %lf \n";
  static constexpr char kFast[] = "16 fast Phasors ch1 Phase %lf Mag %lf ch2 Phase %lf Mag %lf \n";
  static constexpr char kHeading[] = "16 Slow filter(ch2phase - ch1phase)  ch1mag/ch2mag \n";
  static constexpr char kRatio[] = "             %lf                  %lf        \n";
};
struct Texts26 {
  static constexpr char kSlow[] = "26 slow Phasors ch1 Phase %lf Mag %lf ch2 Phase %lf Mag %lf \n";
  static constexpr char kFast[] = "26 fast Phasors ch1 Phase %lf Mag %lf ch2 Phase %lf Mag %lf\n";
  static constexpr char kHeading[] = "26 Slow filter(ch2phase - ch1phase) ch1mag/ch2mag\n";
  static constexpr char kRatio[] = "             %lf                   %lf \n";
};

std::array<phasortoo_t, 2> CorrectedPhasors(const SineCorrelator* filter) {
  std::array<phasortoo_t, 2> phasors{};
  if (filter != nullptr) filter->GetPhasors(phasors.data());
  acquisition::Correct::GetCorrect().Corr_phasors(phasors.data(), phasors.data());
  return phasors;
}

template <class Texts>
void TellPhasors(const Correlators& filters) {
  const auto fast = CorrectedPhasors(filters.g_fastFilter);
  const auto slow = CorrectedPhasors(filters.g_slowFilter);
  TellSystem(Texts::kSlow, slow[0].phase, slow[0].mag, slow[1].phase, slow[1].mag);
  TellSystem(Texts::kFast, fast[0].phase, fast[0].mag, fast[1].phase, fast[1].mag);
  TellSystem(Texts::kHeading);
  TellSystem(Texts::kRatio, slow[1].phase - slow[0].phase, slow[0].mag / slow[1].mag);
}

// The answer to a stop, whatever went wrong in the test: faults follow the list.
void AnswerStop(Msg::HmpStopTestRep* reply) {
  int nak = 0;
  if (ghmp->ReportError()) Msg::PrepareNak(Msg::NAK_MOS_ERR, nak, reply, "Mos Msg7 error codes\n");
  if (Msg::safetyFault.CheckSafetyFault()) {
    Msg::FormSafetyNak(Msg::NAK_MOS_ERR, nak, reinterpret_cast<Msg::HmpErrorRep*>(reply));
  }
  if (nak == 0) reply->SetAck();
  reply->Show(kInfo);
}

void TellViolations() {
  Logger::Capture(Logger::MAX_VIOLATIONS, 0, ghmp->GetMaxSampleRepetitions(0), 1,
                  ghmp->GetMaxSampleRepetitions(1));
}

}  // namespace

// New correlators would lose the kind of test and the ranges of the set-up. The clock stays as the
// test's update has set it, so their cycle is the same. The channels are back at their first range,
// so they take the range of the test again.
int Run::RestartAcquisition() {
  if (!its_.acquisition || its_.acquisition->StopAcquisition() != 0) return -1;
  const short type = ghmp->testype;
  const short current_range = ghmp->curange;
  const short voltage_range = ghmp->voltrange;
  const int samples = ghmp->samplespercyc;
  const int announced = its_.acquisition->SetMeasurementParameters(
      {.samplesPerCycle = samples, .filterReset = samples});
  ghmp->testype = type;
  ghmp->curange = current_range;
  ghmp->voltrange = voltage_range;
  if (announced < 0 || its_.acquisition->StartAcquisition() < 0) return -1;
  if (ghmp->testStart) {
    AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_ALL_TEST_PARAMS);
  }
  return 0;
}

int Run::HandleMsg5(const Msg::HmpStartTestReq* request, Msg::HmpStartTestRep* reply) {
  CaptureRequest(*request);
  if (const short reason = its_.recovery.ReasonAgainstStart(); reason != 0) {
    return Refuse(reply, reason);
  }
  ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  request->Show(kInfo);
  if (acqnormal != 0 && RestartAcquisition() < 0) {
    return Refuse(reply, Msg::NAK_MCODE_MOS_ACQSTART);
  }
  msgmonitorm.ResetTimer();
  if (!its_.GetCorrelators().BothThere()) return Refuse(reply, Msg::NAK_MCODE_MOS_NULLFILTER);
  its_.ResetCorrelators();
  its_.recovery.ForgetVoltage();
  its_.measurement.Start();
  if (ghmp->IsInternalHVVoltageTest() || ghmp->IsExternalVoltageTest()) {
    its_.recovery.WatchVoltage();
  }
  reply->SetAck();
  reply->Show(kInfo);
  return 0;
}

int Run::HandleMsg16(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtRep* reply) {
  CaptureRequest(*request);
  TellPhasors<Texts16>(its_.GetCorrelators());
  reply->InitPayload();
  reply->SetAck();
  return 0;
}

int Run::HandleMsg26(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtExtRep* reply) {
  CaptureRequest(*request);
  TellPhasors<Texts26>(its_.GetCorrelators());
  reply->InitPayload();
  reply->SetAck();
  return 0;
}

int Run::HandleMsg27(const Msg::HmpPauseTestReq* request, Msg::HmpPauseTestRep* reply) {
  request->Show(kInfo);
  msgmonitorm.ResetTimer();
  ghmp->SetTestParams(*request);
  CaptureRequest(*request);
  if (const int result = AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_QUIESCE);
      result != 0) {
    Q5_LOG_ERROR(measurementL, "Notify channels ACQ_EVT_QUIESCE failed - ret:%d\n", result);
  }
  if (IsVeryLowFrequency()) {
    const int result = its_.filters.SelectFilter(kDischargeFilterFrequency, false);
    Q5_LOG_INFO_HERE(measurementL, "%s.%d: fltr: SelectFilter(%f) ret:%d\n",
                     double{kDischargeFilterFrequency}, result);
    AcquisitionSystem::AcqChan::announce_parameters();  // other filters: their sums begin again
  }
  its_.measurement.Pause();
  ghmp->discharging = 1;
  if (FpgaDev* fpga = FpgaDev::GetDevice()) fpga->MonitorDischargeFlag();
  reply->SetAck();
  reply->Show(kInfo);
  return 0;
}

int Run::HandleMsg7(const Msg::HmpStopTestReq* request, Msg::HmpStopTestRep* reply) {
  its_.measurement.Stop();
  its_.SetWaveformCapture(kCaptureOnce);
  Logger::Capture(Logger::END_WAVEFORM_CAPTURE);
  msgmonitorm.StopTimer();
  CaptureRequest(*request);
  ghmp->SetTestParams(*request);
  TellViolations();
  ghmp->getresult = 0;
  // else the channels would take the clock at rest for an update, and a block after their stop for
  // a test
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  if (AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_STOP_TEST) != 0) {
    Q5_LOG_ERROR_HERE(measurementL, "%s.%d: ACQ_EVT_STOP_TEST failed\n");
  }
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (fpga != nullptr) fpga->ClearDischargeFlag();
  ghmp->discharging = 0;
  ghmp->curange = 0;
  request->Show(kInfo);
  its_.measurement.BeginEnd();
  if (SineCorrelator::GetVLFFlag()) {
    SineCorrelator::ResetVLFFlag();
    Q5_LOG_INFO(measurementL, "Reset the VLF flag \n");
  }
  testmonitor.StopTimer();
  its_.recovery.RaiseAllok();
  // after all safety steps: with a chip that hangs it takes long
  if (!ghmp->IsLineSyncTracker()) its_.clock.Init();
  AnswerStop(reply);
  ghmp->vlfreset = false;
  Q5_LOG_INFO(measurementL, "End Test max_sample ch1 %d ch2 %d\n", ghmp->GetMaxSampleRepetitions(0),
              ghmp->GetMaxSampleRepetitions(1));
  its_.measurement.End("a stop");
  ++its_.measurement.snapshotcounter;
  return 0;
}

}  // namespace Mos::handlers
