#include "mos/instrument/recovery.h"

#include <thread>

#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/acquisition/sine_correlator.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_objects.h"
#include "platform/backend.h"
#include "platform/timed_calls.h"

namespace Mos {

using acquisition::phasortoo_t;
using acquisition::SineCorrelator;
using AcquisitionSystem::AcqChan;
using AcquisitionSystem::AcqChFollowing;
using Dev::AllokLine;
using Dev::FpgaDev;
using Logger::kError;
using Msg::ghmp;

namespace {

constexpr float kTargetShare = 0.05F;
// A request that does not hang is over by then. Real time, whatever clock the machine has.
constexpr auto kServingLook = std::chrono::milliseconds(10);
constexpr int kServingLooks = 20;
constexpr auto kProofTime = std::chrono::seconds(1);

void Quiesce(const char* func) {
  const int result = AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_QUIESCE);
  if (result == 0) return;
  Q5_LOG_ERROR(measurementL, "%s:Notify channels ACQ_EVT_QUIESCE failed - ret:%d\n", func, result);
}

constexpr int kHostSilence = 8;      // s
constexpr int kVoltagePeriod = 100;  // ms

}  // namespace

int AllokCB(void* its) { return static_cast<Recovery*>(its)->AllokRecovery(); }
int MessageMonitorCB(void* its) { return static_cast<Recovery*>(its)->MessageMonitor(); }
int TestMonitorCB(void* its) { return static_cast<Recovery*>(its)->TestMonitor(); }

void QuiesceSM() {
  Q5_LOG_ERROR(measurementL, "%s:safety switch \n", __func__);
  Quiesce(__func__);
}

// A set-up that is repeated finds the watchdog running.
void Recovery::WatchHost() {
  if (msgmonitorm.AddTimer(kHostSilence, SECSE, MessageMonitorCB, this) < 0) {
    msgmonitorm.ResetTimer();
  }
}

void Recovery::ForgetVoltage() {
  const std::lock_guard lock(watch_mutex_);
  voltage_watch_.Begin();
}

void Recovery::WatchVoltage() { testmonitor.AddTimer(kVoltagePeriod, MSECSE, TestMonitorCB, this); }

short Recovery::ReasonAgainstStart() const {
  if (allok_.IsHeldFor(AllokLine::kOverVoltage)) return Msg::NAK_MCODE_MAX_MOS_VOLTAGE;
  if (allok_.IsHeldFor(AllokLine::kNotProvedDown)) return Msg::NAK_MCODE_MOS_ALLOK;
  return 0;
}

int Recovery::AllokRecovery() {
  static std::atomic<int> allokcount{0};
  static std::mutex allokprogress;
  const std::unique_lock alone(allokprogress, std::try_to_lock);
  if (!alone) {
    Q5_LOG_INFO(measurementL, "Allok recovery in progress\n");
    return 0;
  }
  const bool raised = allok_.Look([] {
    if (ghmp->IsErrorCodeNew(Msg::NAK_MCODE_MOS_ALLOK)) {
      ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_ALLOK);
    }
  });
  if (raised) {
    Q5_LOG_ERROR(measurementL, "Mos Allok recovery done %d \n", ++allokcount);
  }
  return 0;
}

int Recovery::MessageMonitor() {
  const auto is_silent = [] { return msgmonitorm.IsTimerAlive() && msgmonitorm.TimeElapsed(); };
  RequestLock lock(measurement_.Mutex(), std::try_to_lock);
  for (int i = 0; i < kServingLooks && !lock; ++i) {
    std::this_thread::sleep_for(kServingLook);
    lock.try_lock();
  }
  if (!lock) {
    if (is_silent()) MakeSafe();
    lock.lock();
  }
  // what was being served when the time was up has broken the silence
  if (!allok_.IsHeldFor(AllokLine::kNotProvedDown) && !is_silent()) return 0;
  Q5_LOG_ERROR(measurementL, "No msgmonitorm Message received.... Do mos recovery\n");
  Recover(lock);
  return 0;
}

int Recovery::RecoverMos() {
  RequestLock lock(measurement_.Mutex());
  Recover(lock);
  return 0;
}

// A request hangs at a device, and the host's time is up. What needs nothing of the request's is
// done at once; the recovery follows when it is over.
void Recovery::MakeSafe() {
  Q5_LOG_ERROR(measurementL, "%s: a request hangs, and its host is silent: coming to rest\n",
               __func__);
  Quiesce(__func__);
  FpgaDev* fpga = FpgaDev::GetDevice();
  if (!measurement_.IsRunning() || fpga == nullptr) return;
  platform::Clock& clock = platform::Machine().Clock();
  const unsigned begun = measurement_.Begun();
  const auto until = clock.Monotonic() + kProofTime;
  const auto patient = [&] { return clock.Monotonic() < until && measurement_.Begun() == begun; };
  const auto outcome = fpga->AwaitRampDown(ghmp->swapchannels, patient).outcome;
  if (outcome == Dev::FpgaRampControl::RampDown::kGone || measurement_.Begun() != begun) return;
  DropAllok();
}

// The other modules stop where nobody can say any more that the output is down.
void Recovery::DropAllok() {
  allok_.Hold(AllokLine::kNotProvedDown);
  Q5_LOG_ERROR(measurementL, "%s: the output is not proved down\n", __func__);
}

// The wait for the ramp-down holds up no request: it may take as long as a discharge. What the host
// begins meanwhile is its own: its words, its waveform and its discharge are not touched any more.
void Recovery::Recover(RequestLock& lock) {
  const unsigned begun = measurement_.Begun();
  BeginRecovery();
  FpgaDev* fpga = FpgaDev::GetDevice();
  Dev::FpgaRampControl::RampDownResult ramp_down{};
  if (fpga != nullptr) {
    const int swap = ghmp->swapchannels;
    lock.unlock();
    ramp_down = fpga->AwaitRampDown(swap, [this, begun] { return measurement_.Begun() == begun; });
    lock.lock();
  }
  if (measurement_.Begun() != begun) return;
  const platform::TimeBudget budget(kLongestRequest);  // requests wait behind this
  if (fpga != nullptr) EndDischarge(*fpga, ramp_down);
  EndRecovery();
}

void Recovery::BeginRecovery() {
  Logger::Capture(Logger::RECOVER_EVENT);
  msgmonitorm.StopTimer();  // its next period would begin a second recovery beside this one
  Quiesce("RecoverMos");
  ghmp->discharging = 1;
  if (FpgaDev* fpga = FpgaDev::GetDevice()) fpga->MonitorDischargeFlag();
}

void Recovery::RaiseAllok() {
  allok_.Withdraw(AllokLine::kOverVoltage | AllokLine::kNotProvedDown);
}

void Recovery::EndDischarge(FpgaDev& fpga, const Dev::FpgaRampControl::RampDownResult& ramp_down) {
  if (fpga.EndRampDown(ramp_down, 1)) {
    fpga.ClearDischargeFlag();
    ghmp->discharging = 0;
  } else {
    Q5_LOG_ERROR(measurementL, "%s.%d ERROR rampdown not successful \n", "RecoverMos", __LINE__);
    DropAllok();
  }
}

// The samples are discarded only now: the proof needed fresh ones.
void Recovery::EndRecovery() {
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  // Nobody is left to read the words of the test, and they would refuse the next host's. What says
  // that the output is still there stays, and so does what goes wrong from here on.
  if (ghmp->discharging == 0) ghmp->ClearErrorCodes();
  if (!ghmp->IsLineSyncTracker()) clock_.Init();
  if (AcqChFollowing::notify_both_channels(AcquisitionSystem::ACQ_EVT_STOP_TEST) != 0) {
    Q5_LOG_ERROR_HERE(measurementL, "%s.%d: ACQ_EVT_STOP_TEST failed\n");
  }
  measurement_.BeginEnd();
  testmonitor.StopTimer();
  if (ghmp->discharging == 0) RaiseAllok();
  if (SineCorrelator::GetVLFFlag()) SineCorrelator::ResetVLFFlag();
  ghmp->ResetVariables();
  measurement_.End("the host's silence");
}

// Waits for no handler: a voltage above the limit drops ALLOK whatever the host is being served.
int Recovery::TestMonitor() {
  const std::unique_lock alone(watch_mutex_, std::try_to_lock);
  if (!alone) return 0;  // the look before takes longer than a period
  Q5_LOG_DEBUG(measurementL, "TestMonitor started \n");
  const bool limited = ghmp->IsInternalHVVoltageTest() || ghmp->IsExternalVoltageTest();
  if (!measurement_.IsRunning() || !limited) return 0;
  const bool swapped = ghmp->swapchannels == 1;
  const int channel = swapped ? 1 : 0;
  phasortoo_t phasors[2] = {};
  double seconds = 0;
  const AcqChan* its = AcqChan::get_AcqCh_instance(swapped ? ACQ_CH2 : ACQ_CH1);
  VoltageWatch::Look look{.scaled = its != nullptr && its->IsScaled(),
                          .status = ChannelStatus(channel),
                          .own_range = ghmp->voltscal == 0,
                          .hertz = double{ghmp->frequency}};
  filters_.WithFilters([&](const SineCorrelator& fast, const SineCorrelator& slow) {
    fast.GetPhasors(phasors);
    look.results = fast.GetResultCount();
    seconds = slow.MonitorSampleCount();
  });
  look.volts = phasors[channel].mag;
  const bool too_high = voltage_watch_.IsTooHigh(look, highest_volts_);
  if (ghmp->VoltageTest()) {
    const Logger::evseqdataF_t values{
        4,
        {static_cast<float>(look.volts), static_cast<float>(phasors[1 - channel].mag),
         static_cast<float>(ghmp->volttarget) * kTargetShare, static_cast<float>(seconds)}};
    Logger::eventlog::GetEventLog("moseventlog")
        ->CaptureEvent(too_high ? kError : Logger::kDebug, Logger::TESTFAILCHECK1, &values);
  }
  if (!too_high) return 0;
  const bool first = !allok_.IsHeldFor(AllokLine::kOverVoltage);
  allok_.Hold(AllokLine::kOverVoltage);
  if (first && ghmp->IsErrorCodeNew(Msg::NAK_MCODE_MAX_MOS_VOLTAGE)) {
    ghmp->SetErrorCode(Msg::NAK_MCODE_MAX_MOS_VOLTAGE);
  }
  return 0;
}

}  // namespace Mos
