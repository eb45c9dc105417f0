// MeasMgr: the object at the centre of the daemon. It owns the bus end point that host requests
// come in on, and every request passes through Handle.
//
// Threads: everything here runs on the main thread, but for recovery and its monitors, which run on
// the timers', and PendingFrequency. They share flags; a step of the recovery never runs beside a
// request.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <libconfig.h++>
#include <memory>
#include <mutex>
#include <string>

#include "common/acquisition/acquisition.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/dev/sclk/spclk_dev.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/records/hmp_records.h"
#include "common/signalh/signal_common.h"
#include "libs/zmb/src/zmb_message.h"
#include "libs/zmb/src/zmb_simple_servant.h"
#include "mos/daemon_config.h"
#include "mos/measurement_log.h"
#include "mos/voltage_watch.h"

namespace Mos {

class MeasMgr : public Servant::ZmbSimpleServant, public SignalCommon {
 public:
  /// Makes the single instance on the first call and gives it on every later one, whose arguments
  /// are ignored.
  static MeasMgr& CreateMeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port);
  /// For callbacks that are given no object.
  static MeasMgr* Instance() { return _instance; }
  static void SetInstance(MeasMgr* instance) { _instance = instance; }

  /// A null `id` keeps the class's own name, a `port` of 0 means no TCP link. `i2c` outlives it.
  MeasMgr(Dev::I2cMgr& i2c, const char* id, std::uint16_t port);

  int Init() override;
  /// As Init(), with the board revision of the FPGA. -1 when the daemon's end points cannot be
  /// bound.
  int Init(int revision);

  /// Serves one request: replaces the payload of `msg` (not null, not consumed) by its reply. The
  /// result is that of the handler, 3 for an opcode that is not supported, 6 for a record that is
  /// not whole or fails its checksum. The payload is a complete reply in every case.
  int Handle(Common::ZmbMessage* msg) override;

  /// The default ipc link, and the TCP link unless the port is 0.
  void SetFeUris() override;

  void SetEeXmlOpt(int skip) { _skip_ee2xml = skip; }
  /// What the configuration sets for rooms of its own; valid after Init(int).
  const DaemonConfig& GetDaemonConfig() const { return _daemonconfig; }

  /// Sets both channels' filters for a signal of `frequency` hertz, by the kind of the test. The
  /// lower of the two results of SetMeasChCfgReg; 0 for a kind of test without a choice. The last
  /// argument has no effect.
  int SelectFilter(float frequency, bool exec_sequence1);

  /// Ends the sample threads; before what they use goes.
  void EndAcquisition();

  /// Connects the electrical results with the corrections; before Init(int).
  static void StartResults();

  /// A test has been started and not stopped: its samples are being used.
  static inline std::atomic<bool> startflag{false};

  /// The source module is about to run at `frequency` (Hz), with the ranges that go with it: sets
  /// the filters, tells the channels and takes the consumer flag, which the next update releases.
  /// 0, or what SelectFilter gave.
  int PendingFrequency(float frequency, int curange, int voltscal);

  // What the timers call (recovery.cpp); 0 each.
  int AllokRecovery();
  int MessageMonitor();
  /// Ends the test of a host that is silent, and the watch on it. A host that sets a test up or
  /// stops one while the ramp-down is waited for keeps what it asked for.
  int RecoverMos();
  /// Drops ALLOK, until the test is over, when its voltage reaches the configured limit.
  int TestMonitor();

  // Handlers, named after their opcodes. Each takes the request in place in its bus frame, at least
  // as long as the record, and a reply whose header is the request's and whose rest is 0. They give
  // 0 when the reply is complete.
  int HandleMsg3(const Msg::HmpIniTestParamReq* request, Msg::HmpIniTestParamRep* reply);
  int HandleMsg4(const Msg::HmpUpdTestParamReq* request, Msg::HmpUpdTestParamRep* reply);
  int HandleMsg5(const Msg::HmpStartTestReq* request, Msg::HmpStartTestRep* reply);
  int HandleMsg6(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltRep* reply);
  int HandleMsg7(const Msg::HmpStopTestReq* request, Msg::HmpStopTestRep* reply);
  int HandleMsg16(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtRep* reply);
  int HandleMsg17(const Msg::HmpTestRlyReq* request, Msg::HmpTestRlyRep* reply);
  int HandleMsg1F(const Msg::HmpConfVersReq* request, Msg::HmpConfVersRep* reply);
  int HandleMsg21(const Msg::HmpFWUpdateInitReq* request, Msg::HmpFWUpdateInitRep* reply);
  int HandleMsg26(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtExtRep* reply);
  int HandleMsg27(const Msg::HmpPauseTestReq* request, Msg::HmpPauseTestRep* reply);
  int HandleMsg28(const Msg::HmpLeadConfigReq* request, Msg::HmpLeadConfigRep* reply);
  int HandleMsg33(const Msg::HmpIniTestParamReqI* request, Msg::HmpIniTestParamRepI* reply);
  int HandleMsg34(const Msg::HmpUpdTestParamReqI* request, Msg::HmpUpdTestParamRepI* reply);
  int HandleMsg35(const Msg::HmpSetTimeOfDayReq* request, Msg::HmpSetTimeOfDayRep* reply);
  int HandleMsg36(const Msg::HmpStartRowReq* request, Msg::HmpStartRowRep* reply);
  int HandleMsg37(const Msg::HmpEndRowReq* request, Msg::HmpEndRowRep* reply);
  int HandleMsg38(const Msg::HmpMiscConfigReq* request, Msg::HmpMiscConfigRep* reply);
  int HandleMsg46(const Msg::HmpAckProgressReq* request, Msg::HmpAckProgressRep* reply);

 private:
  void ReadConfiguration();
  int StartDeferredWork();

  // The board (board.cpp).
  int StartBoard(int revision);
  void IdentifyChannels();
  /// False when the channels run with default ranges.
  bool ReadCalibration();
  /// `calibrated`: filters are corrected from the calibration.
  void PrepareChannels(bool calibrated);

  // The way of the samples (signal_path.cpp).
  void CreateChannels();
  /// Takes the filter's row of the calibration into the channel's corrections.
  void CorrectForFilter(int channel, int filter);
  void PrepareAcquisition();

  // The FPGA and the sampling clock (clocks.cpp).
  static void ConfigureFpga();
  static void ResetFpga();
  void StartClocks();
  void InitSpclk();
  void InvertFirstChannel() const;

  // Set-up of a test (test_setup.cpp).
  struct SetUpKind;
  template <class Request>
  int SetTestUp(const SetUpKind& kind, const Request& request, void* reply);
  void SetUpChannels();
  /// No result has been asked for, and the polarity is the normal one.
  void ResetVariables();
  /// See acquisition::Producer::g_waveformCaptureRunning.
  void SetWaveformCapture(int mode);

  // Its updates (test_update.cpp).
  struct Update;
  int TuneForVoltage(Update& update, bool manual_ramp);
  int TuneForCurrent(Update& update);
  void SetSampling(Update& update);
  /// Until a whole one, what an update leaves behind is no measurement, and the next sets all.
  void MarkUpdate(bool whole);
  void NoteChanges(Update& update, unsigned changed);
  int SetClock(const Update& update);
  void FitCorrelators(int samples);
  void EndUpdate(const Update& update);

  // Its end without the host (recovery.cpp).
  using RequestLock = std::unique_lock<std::mutex>;
  void Recover(RequestLock& lock);
  void MakeSafe();
  void BeginRecovery();
  void DropAllok(Dev::FpgaDev& fpga);
  void RaiseAllok();
  void EndDischarge(Dev::FpgaDev& fpga, const Dev::FpgaRampControl::RampDownResult& result);
  void EndRecovery();

  // Its run and results (test_run.cpp, test_result.cpp).
  int RestartAcquisition();

  // Relays and leads (relays.cpp).
  void UseDividers(const Dev::mode_range_table_ent* first, const Dev::mode_range_table_ent* second);
  const Dev::mode_range_table_ent* DividerEntry(int divider) const;
  void DropDividers();

  static MeasMgr* _instance;

  libconfig::Config _varekconfig;
  DaemonConfig _daemonconfig;

  int _skip_ee2xml = 0;
  std::unique_ptr<acquisition::Acquisition> _acquisition;  ///< null before Init
  std::mutex _request_mutex;        ///< held by a request, and by each step of the recovery
  std::atomic<unsigned> _begun{0};  ///< set-ups and stops that the host has sent; changed under it
  std::mutex _watch_mutex;          ///< held by a look at the voltage; guards _voltage_watch
  VoltageWatch _voltage_watch;
  bool _half_updated = false;              ///< the last update was refused on its way
  std::atomic<bool> _over_voltage{false};  ///< the running test has reached its limit
  std::atomic<bool> _made_safe{false};     ///< the watchdog has dropped ALLOK; the rest is to come
  MeasurementLog measurement_log_;         ///< guarded by it
  Dev::SpclkDev* _spclk = nullptr;  ///< the sampling clock; null before Init and without a chip

  /// The kind of result that the host asked for before the last time, and last; -1 for none.
  std::array<short, 2> _filterselect{-1, -1};
  int snapshotcounter = 0;  ///< tests that have ended
  // The dividers in front of the channels: a scale and corrections.
  const Dev::mode_range_table_ent* measV = nullptr;
  const Dev::mode_range_table_ent* meas1 = nullptr;
  const Dev::mode_range_table_ent* meas2 = nullptr;
};

/// MeasMgr::PendingFrequency of the process's instance; -1 without one.
int NotifyMosPendingFrequency(float frequency, int curange, int voltscal);

}  // namespace Mos
