#include "mos/handlers/clock.h"

#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/process_flags.h"

namespace Mos::handlers {
namespace {

int RefuseStep(const char* handler, const char* step) {
  Q5_LOG_ERROR(measurementL, "%s: the sampling clock refuses %s\n", handler, step);
  return kClockRefused;
}

// The first step that the clock refuses; null when it takes them all. The wire's numbers have
// signs: a negative one becomes too large a number, and is refused.
const char* NoteSettings(Dev::SpclkDev& clock, const Msg::HmpSetSampParamReq& request) {
  if (clock.SetRefClkSrc(request.sigmeasrefclk) < 0) return "sigmeasrefclk";
  if (clock.SetSysClkSrc(request.sigmeassclk) < 0) return "sigmeassclk";
  if (clock.EnableOutputClk0(request.sigmeasenclk0 != 0) < 0) return "sigmeasenclk0";
  if (clock.SetTestFrequency(request.freq) < 0) return "freq";
  if (clock.SetAdClksPerSample(static_cast<unsigned>(request.adcclkpersamp)) < 0) {
    return "adcclkpersamp";
  }
  if (clock.SetSamplesPerCyc(static_cast<unsigned>(request.samppercyc)) < 0) return "samppercyc";
  if (clock.SetFreqJumpSize(request.freqjumpsize, false) < 0) return "freqjumpsize";
  if (spclksync != 0 && clock.SetMeasClkSrc(1) < 0) return "the other module's clock";
  return nullptr;
}

}  // namespace

int Clock::HandleMsg1A(const Msg::HmpSetSampParamReq* request, Msg::HmpSetSampParamRep* reply) {
  NoteRequest(*request);
  Dev::SpclkDev* clock = its_.clock.Device();
  if (clock == nullptr) return RefuseStep(__func__, "everything: it is missing");
  const Param_Values before = clock->GetParams();
  if (const char* step = NoteSettings(*clock, *request); step != nullptr) {
    clock->SetParams(before);
    return RefuseStep(__func__, step);
  }
  its_.measurement.MarkUpdate(false);
  if (clock->Update(0) < 0) {
    Q5_LOG_ERROR(measurementL, "%s: the sampling clock is not set\n", __func__);
  } else {
    Follow(request->freq, request->samppercyc);
  }
  reply->SetAck();
  return 0;
}

void Clock::Follow(float hertz, int samples) {
  Msg::ghmp->SetFrequency(hertz);
  Msg::ghmp->samplespercyc = samples;
  const Correlators filters = its_.GetCorrelators();
  if (!filters.BothThere()) return;
  FollowSignal(filters, hertz);
  its_.FitCorrelators(samples);
  its_.ResetCorrelators();
}

int Clock::HandleMsg1B(const Msg::HmpAdjFreqReq* request, Msg::HmpAdjFreqRep* reply) {
  NoteRequest(*request);
  if (spclksync == 0) {  // else the other module steps its own
    Dev::SpclkDev* clock = its_.clock.Device();
    if (clock == nullptr) return RefuseStep(__func__, "everything: it is missing");
    if (clock->IncrDecrFrequency(request->freqincdec, 0) < 0) {
      return RefuseStep(__func__, "freqincdec");
    }
    its_.measurement.MarkUpdate(false);
    its_.ResetCorrelators();
  }
  reply->SetAck();
  return 0;
}

}  // namespace Mos::handlers
