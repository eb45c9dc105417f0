#include "mos/instrument/sampling_clock.h"

#include "common/acquisition/correct.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "common/signalh/sample_rate.h"
#include "mos/instrument/process_flags.h"

namespace Mos {

using Dev::SpclkDev;
using Msg::ghmp;

namespace {

constexpr float kStartFrequency = 60.0F;  // Hz

}  // namespace

void SamplingClock::Init() {
  device_ = SpclkDev::GetDevice(Msg::MEAS_MODULE);
  if (device_ == nullptr) {
    ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_SPCLKNOTFOUND);
    return;
  }
  const int samples =
      signalh::CalculateSamplesPerCyc(kStartFrequency, ghmp->GetBlockReadyInterrupts());
  device_->SetTestFrequency(kStartFrequency);
  device_->SetAdClksPerSample(kAdClocksPerSample);
  device_->SetSamplesPerCyc(static_cast<unsigned>(samples));
  device_->SetWfSamplesPerCyc(kStartFrequency);
  if (spclksync != 0) device_->SetMeasClkSrc(1);
  if (device_->Update(0) < 0) ghmp->SetErrorCode(Msg::NAK_MCODE_MOS_SPCLKINIT);
  ghmp->SetFrequency(kStartFrequency);
  ghmp->samplespercyc = samples;
  acquisition::Correct::GetCorrect().Corr_set_frequency();
}

}  // namespace Mos
