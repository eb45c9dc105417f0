#include "mos/handlers/results.h"

#include <array>

#include "common/acquisition/averager.h"
#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/electrical/elec.h"
#include "common/log/capture.h"
#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/prepare_nak.h"
#include "common/msg/state/safety_nak.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_objects.h"

namespace Mos::handlers {

using acquisition::electricalresults_t;
using acquisition::phasortoo_t;
using acquisition::SineCorrelator;
using AcquisitionSystem::AcqChan;
using Dev::FpgaDev;
using Logger::kInfo;
using Msg::ghmp;

namespace {

constexpr float kFromVolts = 0.001F;  // the host's unit is the kilovolt
constexpr float kFromAmperes = 1.0F;
constexpr int kPercent = 100;

/// The unit of a channel's value.
struct Unit {
  float factor;
  short bit;
};

Unit UnitOf(Msg::Input_Mode mode, short kilovolts, short amperes) {
  const bool current = mode == Msg::ACDC_Current;
  return current ? Unit{kFromAmperes, amperes} : Unit{kFromVolts, kilovolts};
}

/// What is known at the moment of a poll.
struct Poll {
  Correlators filters;
  electricalresults_t r{};   ///< of the kind asked for
  electricalresults_t fr{};  ///< of the fast filter
  Unit unit1;
  Unit unit2;
  short discharge = 0;
  // what the reply carries
  float volt = 0;
  float amp = 0;
  float ffvolt = 0;
  short duration = 0;
};

bool IsDcOrDemagChannel1Only() {
  const int type = ghmp->testype;
  return type == Msg::TEST_WINDING_RESISTANCE || type == Msg::TEST_DEMAG ||
         type == Msg::TEST_WR_FOR_DEMAG;
}

bool IsOpenSlowCycle() {
  return SineCorrelator::GetVLFFlag() && !SineCorrelator::CycleComplete() &&
         ghmp->testype != Msg::TEST_DEMAG;
}

short StatusWithDischarge(const Poll& poll) {
  return static_cast<short>(ChannelsStatus() | poll.discharge);
}

void TakeVlfValues(Poll& poll, const acquisition::Averager* g_avgfastFilter) {
  std::array<double, 2> avgfast{};
  poll.duration = poll.filters.g_slowFilter->GetSettleTime();
  if (g_avgfastFilter != nullptr) g_avgfastFilter->GetPhasors(avgfast.data());
  poll.volt = static_cast<float>(avgfast[0]);
  poll.amp = static_cast<float>(avgfast[1]);
  poll.ffvolt = poll.volt * poll.unit1.factor;
  Q5_LOG_INFO_HERE(measurementL, "%s.%d VLF results \n");
}

void TakeDcValues(Poll& poll) {
  phasortoo_t avgfastp[2] = {};
  phasortoo_t avgslowp[2] = {};
  phasortoo_t foffset[2] = {};
  auto& correct = acquisition::Correct::GetCorrect();
  poll.filters.g_fastFilter->GetAvgPhasors(avgfastp);
  poll.filters.g_slowFilter->GetAvgPhasors(avgslowp);
  poll.filters.g_fastFilter->GetOffsetPhasors(foffset);
  for (phasortoo_t* phasors : {avgfastp, avgslowp, foffset}) {
    correct.Corr_phasors(phasors, phasors);
  }
  const bool contact = ghmp->testype == Msg::TEST_CONTACT_RESISTANCE;
  const short ranging = contact ? StatusWithDischarge(poll) : ChannelStatus(0);
  const bool fast = ranging != 0 || ghmp->discharging != 0;
  const phasortoo_t* values = fast ? avgfastp : avgslowp;
  poll.volt = static_cast<float>(values[0].mag - foffset[0].mag);
  poll.amp = static_cast<float>(values[1].mag);
  poll.ffvolt = poll.volt * poll.unit1.factor;
  Q5_LOG_INFO(measurementL, "%s", fast ? "Fast filter selected \n" : "Slow filter Selected \n");
  Q5_LOG_INFO(measurementL, "factor %f FF volt:%f fastCalculatedvolt:%f dcamp:%f \n",
              double{poll.unit1.factor}, double{poll.ffvolt}, double{poll.volt}, double{poll.amp});
}

void TakeAcValues(Poll& poll) {
  if (SineCorrelator::GetVLFFlag() && !SineCorrelator::CycleComplete()) {
    SineCorrelator::SetCycleComplete(true);
  }
  poll.volt = static_cast<float>(poll.r.mag[0]);
  poll.amp = static_cast<float>(poll.r.mag[1]);
  poll.ffvolt = static_cast<float>(poll.fr.mag[0]) * poll.unit1.factor;
}

void TakeDemagValues(Poll& poll) {
  phasortoo_t avgfastp[2] = {};
  poll.filters.g_fastFilter->GetAvgs(avgfastp);
  acquisition::Correct::GetCorrect().Corr_phasors(avgfastp, avgfastp);
  poll.volt = static_cast<float>(avgfastp[0].mag);
  poll.amp = static_cast<float>(avgfastp[1].mag);
  poll.ffvolt = poll.volt * poll.unit1.factor;
  Q5_LOG_INFO(measurementL, "Fast filter selected \n");
}

void TakeValues(Poll& poll, const acquisition::Averager* g_avgfastFilter) {
  if (!poll.filters.BothThere()) return;
  if (IsOpenSlowCycle()) return TakeVlfValues(poll, g_avgfastFilter);
  if (ghmp->IsDCTest()) return TakeDcValues(poll);
  if (ghmp->testype != Msg::TEST_DEMAG) return TakeAcValues(poll);
  TakeDemagValues(poll);
}

// A duration counts only while no reset is under way, because a reset ends it.
void TakeDuration(Poll& poll) {
  const SineCorrelator* slow = poll.filters.g_slowFilter;
  if (slow == nullptr || AcqChan::get_reset_sine_correlators_request() != 0) return;
  if (SineCorrelator::GetVLFFlag()) {
    if (poll.duration != 0) return;
    poll.duration = slow->GetSettleTime();
    Q5_LOG_INFO(measurementL, "elecl: settletime:%d\n", poll.duration);
  } else if (ChannelsStatus() == 0) {
    poll.duration = slow->GetSettleTime();
    Q5_LOG_INFO(measurementL, "elecl: settletime %d \n", poll.duration);
  }
}

void LogStatusChange(const Poll& poll, short filter) {
  static std::array<short, 4> prev_status_flag{};
  const std::array<short, 4> now{ChannelStatus(0), ChannelStatus(1), poll.discharge, filter};
  if (now == prev_status_flag) return;
  prev_status_flag = now;
  const auto hex = [](int word) { return static_cast<unsigned>(word) & 0xFFFFu; };
  Q5_LOG_INFO_HERE(measurementL,
                   "%s.%d:freq:%f  Channel Status  Ch1:0x%04X  Ch2:0x%04X  Discharge:0x%04X  "
                   "Filter:0x%04X  OR:0x%04X dur:%d\n",
                   double{ghmp->GetFrequency()}, hex(now[0]), hex(now[1]), hex(now[2]), hex(now[3]),
                   hex(now[0] | now[1] | now[2]), poll.duration);
}

// Channel 2 does not range in these tests, but a current that it cannot measure is no result.
short WhatSpoilsTheOther() {
  AcqChan* other = AcqChan::get_AcqCh_instance(ACQ_CH2);
  if (other == nullptr) return 0;
  const int lost = other->get_status_flag() & AcquisitionSystem::Data_Not_Valid;
  return static_cast<short>(lost | other->Guard().Word());
}

short LastWordOnRanging(const Poll& poll) {
  if (!IsDcOrDemagChannel1Only()) return StatusWithDischarge(poll);
  Q5_LOG_INFO(measurementL, "Channel Status Ch1: 0x%04X \n",
              static_cast<unsigned>(ChannelStatus(0)) & 0xFFFFu);
  return static_cast<short>(ChannelStatus(0) | WhatSpoilsTheOther());
}

void FillRecord(const Poll& poll, Msg::HmpTestRsltRep& reply) {
  const electricalresults_t& r = poll.r;
  reply.nmlrevsta = ghmp->testPolarity;
  reply.frequen = ghmp->frequency;
  reply.serscap = r.serscap;
  reply.parlcap = r.parlcap;
  reply.sersind = r.sersind;
  reply.parlind = r.parlind;
  reply.sersres = ghmp->IsDCTest() ? poll.volt / poll.amp : r.sersres;
  reply.tandelt = r.tandelta;
  reply.sinthet = r.sin_dph * kPercent;
  reply.vctcrsprd = r.vectorcrsproduct;
  reply.vctdotprd = r.vectordotproduct;
  reply.acwatts = r.acwatts;
  reply.rsltype = static_cast<short>(poll.unit1.bit | poll.unit2.bit);
  reply.acffvolt = poll.ffvolt;
  reply.acfcvolt = poll.volt * poll.unit1.factor;
  reply.acamps = poll.amp * poll.unit2.factor;
  reply.pwrfctr = r.powerfactor * kPercent;
  reply.ch1fulsc = ghmp->GetRangingInfo(0) * ghmp->GetHVMeasScaleFactor();
  reply.ch2fulsc = ghmp->GetRangingInfo(1) * ghmp->GetHV2MeasScaleFactor();
  reply.filtersel =
      static_cast<std::uint16_t>((ghmp->GetFilter(0) & 0xFF) | (ghmp->GetFilter(1) & 0xFF) << 8);
  reply.samplingduration = poll.duration;
}

void LogResult(const Poll& poll) {
  Q5_LOG_INFO(measurementL,
              "factor %f FF volt:%f fastCalculatedvolt:%f acamp:%f serscap:%f parlcap:%f "
              "samplingduration:%d\n",
              double{poll.unit1.factor}, double{poll.ffvolt}, double{poll.volt}, double{poll.amp},
              double{poll.r.serscap}, double{poll.r.parlcap}, poll.duration);
  const electricalresults_t& fr = poll.fr;
  const electricalresults_t& r = poll.r;
  Q5_LOG_INFO_HERE(measurementL, "%s.%d Elecfr: phase(0,1) (%e, %e) mag(0, 1) (%e, %e) \n",
                   fr.phase[0], fr.phase[1], fr.mag[0], fr.mag[1]);
  Q5_LOG_INFO_HERE(measurementL, "%s.%d Elecr: phase(0,1) (%e, %e) mag(0, 1) (%e, %e) \n",
                   r.phase[0], r.phase[1], r.mag[0], r.mag[1]);
}

void StoreStatus(short ranging, bool discharge_watched, const Instrument& its) {
  const bool changed = ghmp->meas_status != ranging;
  ghmp->SetMeasurementStatus(ranging);
  if (!changed) return;
  Logger::Capture(Logger::MEASUREMENT_STATUS_CHANGE, ranging);
  if (ghmp->IsVLFTest() && !discharge_watched && ranging != 0) its.ResetCorrelators();
}

// While the discharge is watched a fault is reported once; before that, at each poll.
int AnswerFaults(Msg::HmpTestRsltRep* reply, bool paused) {
  auto* record = reinterpret_cast<Msg::HmpErrorRep*>(reply);
  const bool faults = Msg::safetyFault.CheckSafetyFault();
  const bool errors = ghmp->ReportError();
  int nak = 0;
  if (errors) Msg::PrepareNak(Msg::NAK_MOS_ERR, nak, reply, "Mos Msg6 error codes\n");
  if (faults) {
    Msg::FormSafetyNak(Msg::NAK_MOS_ERR, nak, record);
    Q5_LOG_ERROR(measurementL, "%s",
                 errors ? "Msg6 Logged safety fault with ghmp\n" : "Msg6 Logged safety fault \n");
  }
  if (paused) {
    Msg::safetyFault.Clear();
    if (errors) ghmp->ClearErrorCodes();
  }
  return -1;
}

}  // namespace

int Results::HandleMsg6(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltRep* reply) {
  auto& _filterselect = its_.measurement._filterselect;
  ++ghmp->getresult;
  msgmonitorm.ResetTimer();
  CaptureRequest(*request);
  request->Show(kInfo);
  short type = request->rsltype;
  _filterselect[0] = _filterselect[1];
  if (type == Msg::MSG6_RSLTYPE_RESONATOR) {
    ghmp->resonatortuningtest = true;
    type = Msg::MSG6_RSLTYPE_FIR_SLOW;
  }
  _filterselect[1] = type;

  FpgaDev* fpga = FpgaDev::GetDevice();
  const bool paused = fpga != nullptr && fpga->PauseTest();
  if (ghmp->ReportError() || Msg::safetyFault.CheckSafetyFault()) {
    return AnswerFaults(reply, paused);
  }

  const auto mode1 = ghmp->measCh1_mode.load();
  const auto mode2 = ghmp->measCh2_mode.load();
  Poll poll{.filters = its_.GetCorrelators(),
            .unit1 = UnitOf(mode1, Msg::RSLT_CH1_KILOVOLTS, Msg::RSLT_CH1_AMPERES),
            .unit2 = UnitOf(mode2, Msg::RSLT_CH2_KILOVOLTS, Msg::RSLT_CH2_AMPERES),
            .discharge = static_cast<short>(fpga == nullptr ? 0 : fpga->GetDischargeStatus(1, 0))};
  // read before the values and after them: a result that was spoilt, or became good, in between is
  // not valid
  const int before = LastWordOnRanging(poll) | its_.Staleness();
  acquisition::elec::GetElec().GetResults(request->rsltype, &poll.r);
  acquisition::elec::GetElec().GetResults(Msg::MSG6_RSLTYPE_FIR_FAST, &poll.fr);
  if (ghmp->IsManualRampTest() && ghmp->volttarget == 0) {
    its_.ResetCorrelators();
    poll.r = {};
    poll.fr = {};
  }
  reply->InitPayload();
  TakeValues(poll, its_.acquisition ? its_.acquisition->AverageFilter() : nullptr);
  TakeDuration(poll);
  LogStatusChange(poll, _filterselect[1]);
  const auto ranging = static_cast<short>(before | LastWordOnRanging(poll) | its_.Staleness());
  reply->ranging = ranging;
  FillRecord(poll, *reply);
  reply->SetAck();
  if (_filterselect[0] != -1 && _filterselect[0] != _filterselect[1]) {
    Q5_LOG_INFO(measurementL, "filter change-->reset\n");
    its_.ResetCorrelators();
  }
  LogResult(poll);
  reply->Show(kInfo);
  StoreStatus(ranging, paused, its_);
  its_.measurement.NoteResult(*reply);
  return 0;
}

}  // namespace Mos::handlers
