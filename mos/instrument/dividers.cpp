#include "mos/instrument/dividers.h"

#include "common/acquisition/correct.h"
#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/i2c/chips/i2c_eeprom.h"
#include "common/msg/state/hmp_data.h"

namespace Mos {

using AcquisitionSystem::AcqChan;
using Dev::EepromGroup;
using Dev::mode_range_table_ent;
using Msg::ghmp;

const mode_range_table_ent* Dividers::Entry(int divider) const {
  if (divider == kNoDivider) return &EepromGroup::identity_tbl;
  const Dev::range_table* table = Dev::GetEepromGroup(i2c_).GetMainrefTableEnt(divider);
  const bool has_entry = table != nullptr && table->ent != nullptr;
  return has_entry ? table->ent : &EepromGroup::identity_tbl;
}

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
