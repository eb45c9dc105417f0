#include "tests/integration/signal_path.h"

#include "common/acquisition/ranging/acq_chan.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/log/eventlog.h"
#include "common/monitor/monitor.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"
#include "mos/meas_mgr.h"
#include "platform/backend.h"

namespace test {

using AcquisitionSystem::AcqChan;

namespace {

constexpr auto kPatience = std::chrono::seconds(10);
constexpr auto kLook = std::chrono::milliseconds(20);

}  // namespace

bool StartSignalPath() {
  Logger::eventlog::GetEventLog("moseventlog")->Init(Msg::MEAS_MODULE);
  Msg::HmpErrorRep::InitMajorErrors();
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  if (fpga == nullptr) return false;
  Dev::I2cMgr& i2c = Dev::I2cMgr::CreateI2cMgr("SignalPath.I2cMgr", 0);
  Mos::MeasMgr& manager = Mos::MeasMgr::CreateMeasMgr(i2c, "SignalPath.MeasMgr", 0);
  Mos::MeasMgr::SetInstance(&manager);
  monitor::Init();
  Mos::MeasMgr::StartResults();
  manager.SetRevision(fpga->GetRevision());
  return manager.Init(manager.GetRevision()) == 0;
}

bool BeginResults(int voltage_range, int current_range) {
  Msg::ghmp->voltscal = static_cast<short>(voltage_range);
  Msg::ghmp->curange = static_cast<short>(current_range);
  Msg::ghmp->SetStartTest(true);
  AcqChan::announce_parameters();
  Msg::ghmp->ChangeConsumerFlag(false, Msg::eConsChanger_MOS);
  platform::Clock& clock = platform::Machine().Clock();
  const auto patience = clock.Monotonic() + kPatience;
  const auto valid = [](ACQ_CHAN_NUM channel, int range) {
    const AcqChan& its = *AcqChan::get_AcqCh_instance(channel);
    return its.get_status_flag() == AcquisitionSystem::Valid_Data && its.get_range_index() == range;
  };
  while (!valid(ACQ_CH1, voltage_range) || !valid(ACQ_CH2, current_range)) {
    if (clock.Monotonic() > patience) return false;
    clock.SleepFor(kLook);
  }
  return true;
}

}  // namespace test
