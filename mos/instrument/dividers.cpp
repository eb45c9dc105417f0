#include "mos/instrument/dividers.h"

#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/msg/state/hmp_data.h"
#include "common/xml/range_tables.h"

namespace Mos {

using AcquisitionSystem::AcqChan;
using Dev::mode_range_table_ent;
using Msg::ghmp;

const mode_range_table_ent* Dividers::Entry(int divider) { return &Dev::DividerEntry(divider); }

void Dividers::Use(const mode_range_table_ent* first, const mode_range_table_ent* second) {
  meas1 = first;
  meas2 = second;
  auto& correct = acquisition::Correct::GetCorrect();
  correct.Corr_set_ref_chan(0, meas1);
  correct.Corr_set_ref_chan(1, meas2);
  if (AcqChan* channel = AcqChan::get_AcqCh_instance(ACQ_CH1)) channel->set_meas(meas1);
  if (AcqChan* channel = AcqChan::get_AcqCh_instance(ACQ_CH2)) channel->set_meas(meas2);
  ghmp->SetHVMeasScaleFactor(meas1->ScalingFactor);
  ghmp->SetHV2MeasScaleFactor(meas2->ScalingFactor);
}

void Dividers::Drop() { Use(Entry(kNoDivider), Entry(kNoDivider)); }

}  // namespace Mos
