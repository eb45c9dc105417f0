#include "mos/instrument/correlators.h"

#include "common/acquisition/ranging/acq_chan.h"
#include "common/msg/state/hmp_data.h"

namespace Mos {

using AcquisitionSystem::AcqChan;

Correlators GetCorrelators(acquisition::Acquisition* acquisition) {
  if (acquisition == nullptr) return {};
  return {acquisition->FastFilter(), acquisition->SlowFilter()};
}

void FollowSignal(const Correlators& filters, float hertz) {
  filters.g_fastFilter->SetSignalFrequency(hertz);
  filters.g_slowFilter->SetSignalFrequency(hertz);
}

void FitCorrelators(acquisition::Acquisition& acquisition, int samples) {
  const Correlators filters = GetCorrelators(&acquisition);
  if (filters.g_fastFilter->GetSamplesPerCycle() == samples) return;
  Msg::ghmp->samplespercyc = samples;
  acquisition.BetweenBlocks([&] {
    filters.g_fastFilter->Reinit(samples, samples);
    acquisition.AverageFilter()->Reinit(samples);
    filters.g_slowFilter->Reinit(samples, samples);
  });
}

void ResetCorrelators(const Correlators& filters) {
  AcqChan::set_reset_sine_correlators_request(acquisition::kResetNow);
  if (Msg::ghmp->testStart) return;
  if (filters.g_slowFilter != nullptr) filters.g_slowFilter->PhasorsReset();
  if (filters.g_fastFilter != nullptr) filters.g_fastFilter->PhasorsReset();
}

short ChannelStatus(int channel) {
  const AcqChan* its = AcqChan::get_AcqCh_instance(channel == 0 ? ACQ_CH1 : ACQ_CH2);
  return its == nullptr ? short{0} : static_cast<short>(its->get_status_flag());
}

short ChannelsStatus() { return static_cast<short>(ChannelStatus(0) | ChannelStatus(1)); }

}  // namespace Mos
