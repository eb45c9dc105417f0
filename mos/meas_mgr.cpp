#include "mos/meas_mgr.h"

#include "common/acquisition/correct.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/electrical/elec.h"
#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"
#include "common/msg/state/hmp_data.h"
#include "mos/instrument/process_flags.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/share_state.h"
#include "mos/options.h"
#include "platform/timed_calls.h"

namespace Mos {

using Logger::logger_mgr;
using Msg::ghmp;

MeasMgr* MeasMgr::_instance = nullptr;

MeasMgr& MeasMgr::CreateMeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port) {
  static MeasMgr manager(i2c, id, port);
  return manager;
}

MeasMgr::MeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port)
    : SignalCommon(Msg::MEAS_MODULE, i2c) {
  if (id != nullptr) SetZid(id);
  if (port != 0) SetDefFeTcpPort(static_cast<short>(port));
  acquisition::elec::GetElec().SetStray(&stray_);
}

int MeasMgr::Init() {
  if (ZmbSimpleServant::Init() < 0) return -1;
  return SignalCommon::Init();
}

int MeasMgr::Init(int revision) {
  if (Init() < 0) {
    StartupError("cannot bind the bus end points of %s, port %d: another mos runs here?\n",
                 GetZidStr().c_str(), int{static_cast<std::uint16_t>(GetDefFeTcpPort())});
    return -1;
  }
  // a daemon that was killed may have left the line up, and nobody watches before this one is ready
  allok_.Hold(Dev::AllokLine::kNotReady);
  ReadConfiguration();
  if (addresses_) inter_module_.PublishTemperatures();
  if (StartBoard(revision) < 0) {
    StartupError("cannot start the I2C manager\n");
    return -1;
  }
  if (JoinOthers() < 0) {
    StartupError("cannot join the other modules: is port 6552 of this module in use?\n");
    return -1;
  }
  const bool calibrated = ReadCalibration();
  ResetFpga();
  PrepareChannels(calibrated);
  StartClocks();
  if (StartDeferredWork() < 0) {
    StartupError("cannot start the threads for deferred work\n");
    return -1;
  }
  ghmp->SetFFT900(run_fft900);
  ghmp->ChangeConsumerFlag(true, Msg::eConsChanger_MOS);
  PrepareAcquisition();
  InvertFirstChannel();
  Q5_LOG_NOTICE(measurementL, "mos fe tcp port%d\n", static_cast<std::uint16_t>(GetDefFeTcpPort()));
  ghmp->CheckNetworkDrives();
  Q5_LOG_NOTICE(measurementL, "Init done \n");
  return 0;
}

// The log must show a reader of results that they are not corrected.
void MeasMgr::ReadConfiguration() {
  const bool configured = InitConfigFile(_varekconfig, kConfigPath) == 0;
  Msg::HMPData& data = Msg::HMPData::GetHMPData(_varekconfig, Msg::MEAS_MODULE);
  ShareState(data);
  if (!configured) {
    StartupError("%s cannot be used: all keys have their defaults, results are not corrected\n",
                 kConfigPath);
  }
  _daemonconfig = SetConfigParameters(_varekconfig, data);
  recovery_.SetHighestVoltage(_daemonconfig.maxhvvoltagemeasurement);
  if (configured && _daemonconfig.meascalibration <= 0) {
    StartupError("meascalibration is %d: results are not corrected by the calibration\n",
                 _daemonconfig.meascalibration);
  }
  stray_.SetTest(&data, &data);
  stray_.SetConfigValue(_daemonconfig.straycapacitance);
  acquisition::Correct::GetCorrect().SetCalibration(_daemonconfig.meascalibration);
  ConfigureFpga();
  logger_mgr::GetLogger()->SetNetworkDrives({
      .busy = [] { return ghmp->MountBusy(); },
      .done = [] { return ghmp->networkmountdone.load(); },
      .check = [] { ghmp->CheckNetworkDrives(); },
  });
}

int MeasMgr::JoinOthers() {
  if (!addresses_) return 0;
  SetFilterRelayLink([](int set) { IMSG::zpubsub::GetZPubSub().SendLVSFilterRelayMSG(set); });
  return inter_module_.Start(GetZmqCtx(), addresses_, [this](const SourceStep& its) {
    NotifyMosPendingFrequency(its.hertz, its.curange, its.voltscal);
  });
}

int MeasMgr::NotifyMosPendingFrequency(float frequency, int curange, int voltscal) {
  const std::lock_guard lock(measurement_.Mutex());
  const platform::TimeBudget budget(kLongestRequest);
  return std::get<handlers::Update>(handlers_).PendingFrequency(frequency, curange, voltscal);
}

int MeasMgr::StartDeferredWork() {
  for (pthreadobj* deferred : {&pt, &nakpt}) {
    deferred->Init();
    if (deferred->Start() != 0) return -1;
  }
  logger_mgr::GetLogger()->SetBackgroundQueue(QueueOnPt);
  return 0;
}

void MeasMgr::SetFeUris() {
  AddFeIpcLink();
  if (GetDefFeTcpPort() != 0) AddFeTcpLink(GetDefFeTcpPort());
}

}  // namespace Mos
