#include "tests/integration/signal_path.h"

#include "common/acquisition/correct.h"
#include "common/acquisition/sine_correlator.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/eventlog.h"
#include "common/monitor/monitor.h"
#include "common/msg/hmp_data.h"
#include "common/msg/hmp_error_rep.h"
#include "mos/meas_mgr.h"
#include "platform/backend.h"

namespace test {

using AcquisitionSystem::AcqChan;

namespace {

constexpr auto kSettling = std::chrono::milliseconds(500);

}  // namespace

bool StartSignalPath() {
  Logger::eventlog::GetEventLog("moseventlog")->Init(Msg::MEAS_MODULE);
  Msg::HmpErrorRep::InitMajorErrors();
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  if (fpga == nullptr) return false;
  Dev::I2cMgr& i2c = Dev::I2cMgr::CreateI2cMgr("SignalPath.I2cMgr", 0);
  Mos::MeasMgr& manager = Mos::MeasMgr::CreateMeasMgr(i2c, "SignalPath.MeasMgr", 0);
  monitor::Init();
  Mos::MeasMgr::StartResults();
  manager.SetRevision(fpga->GetRevision());
  return manager.Init(manager.GetRevision()) == 0;
}

bool SetRange(AcqChan& channel, int index) {
  // as a host asks for it, so that the channel keeps to it in a test
  (channel.get_mode() == Msg::ACDC_Current ? Msg::ghmp->curange : Msg::ghmp->voltscal) =
      static_cast<short>(index);
  const auto* entry = channel.get_range_table_ent(channel.get_mode(), index);
  const auto code = static_cast<std::uint8_t>(entry->RangeCode);
  // the CPLD takes nothing while it is busy with the write before
  platform::Machine().Clock().SleepFor(kSettling);
  std::uint8_t status = 0;
  if (channel.FrontEnd().set_range_register(code, status) < 0) return false;
  channel.set_range_index(index);
  channel.set_range_info_in_use(entry);
  platform::Machine().Clock().SleepFor(kSettling);
  channel.get_CPLD_status_upon_request(1);
  for (auto* filter : {AcqChan::get_sineCorr_Fast(), AcqChan::get_sineCorr_Slow()}) {
    filter->SetScaleFactors(channel.get_hwch(), channel.get_mode(), index);
  }
  acquisition::Correct::GetCorrect().Corr_set_range(channel.get_hwch(), channel);
  return channel.get_last_cpld_range() == code;
}

void BeginResults() {
  Msg::ghmp->SetStartTest(true);
  Msg::ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  AcqChan::set_reset_sine_correlators_request(2);
}

}  // namespace test
