#include "mos/handlers/set_up.h"

#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_flags.h"
#include "mos/instrument/process_objects.h"

namespace Mos::handlers {

using Dev::MeasChCfgReg;
using Logger::kInfo;
using Msg::ghmp;

namespace {

constexpr int kStartFilter = 2;
constexpr int kCaptureEachPass = 2;
constexpr int kInvertedRevision = 3;  // boards with channels that come in negated

/// The roles of the channels for a pair of input modes.
struct Gateway {
  Msg::Input_Mode mode1;
  Msg::Input_Mode mode2;
  const char* text;
  const char* registers;
  const MeasChCfgReg* config1;
  const MeasChCfgReg* config2;
};

constexpr char kZeroPhase[] = "zero phase cpld ch11 0x%x  ch2 0x%x rangecode 0x%x \n";
constexpr char kZeroPhaseFilter[] = "using the zerophase filter ch1 0x%x ch2 0x%x rc 0x%x \n";
constexpr Gateway kGateways[] = {
    {Msg::AC_Volt, Msg::AC_Volt, "voltage-voltage set gateway\n", kZeroPhase, &Dev::cfg03_filter,
     &Dev::cfg03_filter},
    {Msg::AC_Volt, Msg::ACDC_Current, "voltage-current set gateway\n", kZeroPhaseFilter,
     &Dev::cfg03_filter, &Dev::cfg04_filter},
    {Msg::DC_Volt, Msg::DC_Volt, "DC voltage - DC voltage set gateway\n", kZeroPhase,
     &Dev::cfg05_filter, &Dev::cfg05_filter},
    {Msg::DC_Volt, Msg::ACDC_Current, "DC voltage - DC current set gateway\n", kZeroPhaseFilter,
     &Dev::cfg05_filter, &Dev::cfg04_filter},
};

unsigned AsNumber(const MeasChCfgReg& config) {
  const auto bytes = config.Bytes();
  return bytes[0] | unsigned{bytes[1]} << 8 | unsigned{bytes[2]} << 16;
}

void LogRegisters(const Gateway& gateway) {
  const unsigned range = gateway.config1->Bytes()[0];
  const unsigned first = AsNumber(*gateway.config1);
  const unsigned second = AsNumber(*gateway.config2);
  if (gateway.registers == kZeroPhase) {
    Q5_LOG_INFO(measurementL, kZeroPhase, first, second, range);
  } else {
    Q5_LOG_INFO(measurementL, kZeroPhaseFilter, first, second, range);
  }
}

Logger::eventtypes_t EventOfVoltageTest() {
  const bool internal = ghmp->IsInternalHVVoltageTest();
  if (ghmp->IsTTRTest()) return internal ? Logger::VAREKTTR : Logger::LVTTR;
  if (internal) return Logger::HIGHVOLTAGE;
  return ghmp->IsDFRTest() ? Logger::DFR : Logger::TEST_UNDEFINED;
}

// A direct voltage lies at 0 Hz, whatever frequency its updates name. A test before this one may
// have left the corrections elsewhere.
void FollowVoltageSource() {
  auto& correct = acquisition::Correct::GetCorrect();
  if (ghmp->IsDCTest()) {
    correct.Corr_set_frequency(0);
  } else {
    correct.Corr_set_frequency();
  }
}

// Sets the modes of the test in both correlators; 0, or the result of the refusal.
int SetModes(const Correlators& filters, const char* fast_codes, const char* slow_codes,
             void* reply) {
  const struct {
    acquisition::SineCorrelator* filter;
    const char* missing;
    const char* codes;
  } rows[] = {{filters.g_fastFilter, "FAST FILTER NOT CREATED\n", fast_codes},
              {filters.g_slowFilter, "SLOW FILTER NOT CREATED \n", slow_codes}};
  for (const auto& row : rows) {
    if (row.filter == nullptr) {
      Q5_LOG_ERROR(measurementL, "%s", row.missing);
    } else if (row.filter->SetMeasurementModes() < 0) {
      return RefuseWithList(reply, row.codes);
    }
  }
  return 0;
}

}  // namespace

void SetUp::ResetVariables() {
  its_.measurement._filterselect = {-1, -1};
  ghmp->testPolarity = 0;
}

void SetUp::SetUpChannels() {
  Q5_LOG_INFO(measurementL, "Using the gateway \n");
  // a disturbance must not reach beyond the test that it disturbed
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) fpga->RestoreRegisters();
  for (const Gateway& gateway : kGateways) {
    if (gateway.mode1 != ghmp->measCh1_mode || gateway.mode2 != ghmp->measCh2_mode) continue;
    Q5_LOG_INFO(measurementL, "%s", gateway.text);
    for (const int channel : {0, 1}) its_.channels.IniMeasChI2cSpiBridge(channel);
    its_.channels.SetMeasChCfgReg(0, *gateway.config1, false);
    its_.channels.SetMeasChCfgReg(1, *gateway.config2, false);
    LogRegisters(gateway);
    for (const int channel : {0, 1}) its_.filters.CorrectForFilter(channel, kStartFilter);
    break;
  }
  if (its_.channels.GetRevision() == kInvertedRevision) its_.channels.DoInversionMagic();
}

/// What differs between the two set-ups.
struct SetUp::Kind {
  bool capture_told_first;
  const char* highest_name;
  std::atomic<short> Msg::HMPData::*highest;
  const char* fast_codes;
  const char* slow_codes;
};

template <class Request>
int SetUp::Begin(const Kind& kind, const Request& request, void* reply) {
  its_.measurement.Begin();
  if (kind.capture_told_first) Logger::Capture(Logger::START_WAVEFORM_CAPTURE);
  CaptureRequest(request);
  Q5_LOG_INFO(measurementL, "Start test \n");
  its_.recovery.WatchHost();
  // a firmware update that was begun and given up has stopped it
  its_.channels.StartI2cScanner();
  ghmp->getresult = 0;
  its_.SetWaveformCapture(kCaptureEachPass);
  if (!kind.capture_told_first) Logger::Capture(Logger::START_WAVEFORM_CAPTURE);
  request.Show(kInfo);
  ghmp->ResetMaxSampleRepetitions();
  // while no test is set up, this removes the phasors of the test before
  if (acqnormal == 0) its_.ResetCorrelators();
  AcquisitionSystem::AcqChan::begin_test();
  // a test that its host has left without a stop: its error words would refuse this one
  if (ghmp->testStart && ghmp->discharging == 0) ghmp->ClearErrorCodes();
  its_.measurement.SetUp();
  ghmp->SetTestParams(request);
  ghmp->discharging = 0;
  // a recovery or a pause before this test no longer watches its discharge
  if (Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice()) fpga->ClearDischargeFlag();
  if (!ghmp->IsInternalHVVoltageTest()) its_.dividers.Drop();
  its_.stray.Drop();
  // before anything that may be refused: a block must not take the range of the test before
  AcquisitionSystem::AcqChan::announce_parameters();
  testmonitor.StopTimer();
  if (its_.recovery.ReasonAgainstStart() != 0) its_.recovery.RaiseAllok();
  Logger::Capture(Logger::MODE_CONFIG_INFO, ghmp->modeinfo.load());
  Q5_LOG_INFO(measurementL, "Mode info from Ch2:%X Ch1:%X 90%% X %s %f \n",
              static_cast<unsigned>(ghmp->measCh2_mode.load()),
              static_cast<unsigned>(ghmp->measCh1_mode.load()), kind.highest_name,
              (ghmp->*kind.highest).load() * 0.9);
  if (SetModes(its_.GetCorrelators(), kind.fast_codes, kind.slow_codes, reply) < 0) return -1;
  SetUpChannels();
  return 0;
}

int SetUp::HandleMsg3(const Msg::HmpIniTestParamReq* request, Msg::HmpIniTestParamRep* reply) {
  static constexpr Kind kVoltage{false, "voltmax", &Msg::HMPData::voltmax,
                                 "Fastfilter Msg3 error codes \n",
                                 "Slowfilter Msg3 error codes \n"};
  ghmp->SetManualRampTest(false);
  if (Begin(kVoltage, *request, reply) < 0) return -1;
  FollowVoltageSource();
  Logger::Capture(EventOfVoltageTest());
  ResetVariables();
  reply->SetAck();
  reply->Show(kInfo);
  return 0;
}

int SetUp::HandleMsg33(const Msg::HmpIniTestParamReqI* request, Msg::HmpIniTestParamRepI* reply) {
  static constexpr Kind kCurrent{true, "ampmax", &Msg::HMPData::ampmax,
                                 "Fastfilter Msg 33 error codes \n",
                                 "Slowfilter Msg 33 error codes \n"};
  if (Begin(kCurrent, *request, reply) < 0) return -1;
  acquisition::Correct::GetCorrect().Corr_set_frequency(0);
  Logger::Capture(Logger::CONTACT_RESISTANCE);
  ResetVariables();
  reply->SetAck();
  reply->Show(kInfo);
  return 0;
}

}  // namespace Mos::handlers
