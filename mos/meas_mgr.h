// MeasMgr: the object at the centre of the daemon. It owns the bus end point for host requests, and
// every request passes through Handle.
//
// Threads: everything here runs on the main thread, except NotifyMosPendingFrequency and Handle,
// which the thread of each end point calls.
#pragma once

#include <cstdint>
#include <libconfig.h++>
#include <memory>

#include "common/acquisition/acquisition.h"
#include "common/dev/fpga/allok_line.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/electrical/stray_cap.h"
#include "common/signalh/signal_common.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_simple_servant.h"
#include "mos/daemon_config.h"
#include "mos/handlers/handlers.h"
#include "mos/instrument/instrument.h"
#include "mos/inter_module.h"

namespace Mos {

class MeasMgr : public Servant::ZmbSimpleServant, public SignalCommon {
 public:
  /// Makes the single instance on the first call. Later calls return it and ignore their arguments.
  static MeasMgr& CreateMeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port);
  /// For callbacks that get no object.
  static MeasMgr* Instance() { return _instance; }
  static void SetInstance(MeasMgr* instance) { _instance = instance; }

  /// A null `id` keeps the class's own name, a `port` of 0 means no TCP link. `i2c` outlives it.
  MeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port);
  ~MeasMgr() override;

  int Init() override;
  /// As Init(), with the board revision of the FPGA. -1 when the daemon's end points cannot be
  /// bound.
  int Init(int revision);

  /// Serves one request: replaces the payload of `msg` (not null, not consumed) by its reply.
  /// Returns the handler's result, 3 for an opcode that is not supported, 6 for a record that is
  /// not whole or fails its checksum. The payload is a complete reply in every case.
  int Handle(Common::ZmbMessage* msg) override;

  /// The default ipc link, and the TCP link unless the port is 0.
  void SetFeUris() override;

  void SetEeXmlOpt(int skip) { _skip_ee2xml = skip; }

  /// Ends the sample threads; to be called before anything that they use is destroyed.
  void EndAcquisition();

  /// Connects the electrical results with the corrections; before Init(int).
  static void StartResults();

  /// Where the modules are; before Init(int). Without it the daemon hears no other module.
  void SetNetwork(InterModule::Addresses addresses) { addresses_ = std::move(addresses); }
  InterModule& GetInterModule() { return inter_module_; }
  /// The source module is about to change its frequency; see handlers::Update. Waits for a request
  /// that is being served.
  int NotifyMosPendingFrequency(float frequency, int curange, int voltscal);
  /// For the callbacks of the timers.
  Recovery& GetRecovery() { return recovery_; }
  Dev::AllokLine& GetAllok() { return allok_; }
  Measurement& GetMeasurement() { return measurement_; }

 private:
  void ReadConfiguration();
  int StartDeferredWork();
  int JoinOthers();

  // The board (board.cpp).
  int StartBoard(int revision);
  void IdentifyChannels();
  /// False when the channels run with default ranges.
  bool ReadCalibration();
  /// `calibrated`: filters are corrected from the calibration.
  void PrepareChannels(bool calibrated);

  // The path of the samples (signal_path.cpp).
  void CreateChannels();
  void LinkFpga();
  void PrepareAcquisition();

  // The FPGA and the sampling clock (clocks.cpp).
  static void ConfigureFpga();
  static void ResetFpga();
  void StartClocks();
  void InvertFirstChannel() const;

  static MeasMgr* _instance;

  libconfig::Config _varekconfig;
  DaemonConfig _daemonconfig;

  int _skip_ee2xml = 0;
  InterModule::Addresses addresses_;
  InterModule inter_module_{IMSG::zpubsub::GetZPubSub()};
  acquisition::StrayCap stray_;
  std::unique_ptr<acquisition::Acquisition> _acquisition;  ///< null before Init
  SamplingClock clock_;
  ChannelFilters filters_{*this};
  Dividers dividers_;
  Measurement measurement_;
  FilterReader filter_reader_;
  Dev::AllokLine allok_;
  Recovery recovery_{measurement_, clock_, filter_reader_, allok_};
  const Instrument instrument_{*this,  filters_,     dividers_, stray_,
                               clock_, measurement_, recovery_, _acquisition};
  handlers::All handlers_{instrument_, instrument_, instrument_, instrument_,
                          instrument_, instrument_, instrument_};
};

}  // namespace Mos
