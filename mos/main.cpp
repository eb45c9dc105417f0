// mos: the measurement daemon. Builds the daemon's objects in their order and hands the main thread
// to the message loop.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include <syslog.h>

#include "common/dev/fpga/allok_drop.h"
#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/log/build_info.h"
#include "common/log/eventlog.h"
#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/safety_nak.h"
#include "common/systemcheck/networkcheck.h"
#include "libs/zmb/src/zmb_log.h"
#include "mos/daemonize.h"
#include "mos/instrument/process_flags.h"
#include "mos/instrument/process_objects.h"
#include "mos/instrument/recovery.h"
#include "mos/meas_mgr.h"
#include "mos/options.h"
#include "mos/resources.h"
#include "mos/signals.h"
#include "platform/backend.h"
#include "platform/guarded.h"
#include "platform/log_hook.h"
#include "platform/output_file.h"

namespace {

using Logger::eventlog;
using Logger::logger_mgr;

constexpr char kLogPath[] = "/var/volatile/moslog";
constexpr char kLockPath[] = "/tmp/moslock";
constexpr char kLogConfigPath[] = "/varek/config/q5logging.cfg";
constexpr int kLogLimit = 20971520;  // bytes
constexpr int kAllokPeriod = 100;    // ms
constexpr mode_t kUmask = 022;
constexpr char kBuildInfoPath[] = "/tmp/buildinfo";

// The rooms below the log write through hooks; give each its module.
template <int Module>
[[gnu::format(printf, 2, 0)]] void WriteHook(int level, const char* format, std::va_list args) {
  logger_mgr::vprint(Module, level, format, args);
}

template <int Module>
void ConnectLogHook(platform::LogHook& hook) {
  hook.Connect(WriteHook<Module>, [](int level) { return logger_mgr::LogSamples(Module, level); });
}

platform::Stream OpenBuildInfo() {
  platform::Stream file = platform::OpenStream(kBuildInfoPath, "w+");
  if (!file) {
    const int error = errno;
    Q5_LOG_ERROR(mainL, "Could not get the file descriptor for /tmp/buildinfo\n");
    Q5_LOG_ERROR(mainL, "%s \n", std::strerror(error));
  }
  return file;
}

// The FPGA of the right board, or null with the reason told.
Dev::FpgaDev* OpenFpga(bool check_board) {
  Dev::FpgaDev* fpga = Dev::FpgaDev::GetDevice();
  if (fpga == nullptr) {
    Mos::StartupError("cannot open %s: %s\n",
                      platform::Machine().Path(Dev::kFpgaDevicePath).c_str(), std::strerror(errno));
    return nullptr;
  }
  if (check_board && !fpga->IsActualModuleID(Dev::MEAS_MOD)) {
    Mos::StartupError("!!! error: invalid board to run mos !!!\n");
    return nullptr;
  }
  return fpga;
}

// A line that a dying daemon could not drop is not raised.
bool CanDropAllok() {
  if (Dev::TheAllokDrop().IsPrepared()) return true;
  Mos::StartupError("cannot prepare the drop of ALLOK at the end\n");
  return false;
}

constexpr auto kSourceWait = std::chrono::seconds(10);
constexpr auto kSourceLook = std::chrono::milliseconds(50);

// The start continues without the source module when it stays silent.
void AwaitSource(const networkcheck& network) {
  platform::Clock& clock = platform::Machine().Clock();
  const auto begin = clock.Monotonic();
  const auto waited = [&] { return clock.Monotonic() - begin; };
  while (!network.IsSOSAlive() && waited() < kSourceWait) clock.SleepFor(kSourceLook);
  if (network.IsSOSAlive()) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(waited()).count();
    Q5_LOG_NOTICE(mainL, "SOS IS ALIVE time %d \n", static_cast<int>(seconds));
  }
  Q5_LOG_NOTICE(mainL, "SourceIP %s \n", network.GetSourceIP().c_str());
}

IMSG::ModuleAddresses AddressesIn(const networkcheck& network) {
  return {.main = network.GetMainIP(),
          .meas = network.GetMeasIP(),
          .source = network.IsSOSAlive() ? network.GetSourceIP() : std::string()};
}

void PrintBanner(std::FILE* build_info) {
  std::printf("MOS Build date: %s\n", blddate);
  std::printf("pid %d\n", static_cast<int>(::getpid()));
  PrintBuildInfo(stdout);
  std::fflush(stdout);
  PrintBuildInfo(build_info);
}

}  // namespace

int main(int argc, char* argv[]) {
  ConnectLogHook<Logger::commonlibL>(platform::log_hook);
  ConnectLogHook<Logger::zmbL>(Common::zmb_log);
  platform::EndOnUncaught([] { Dev::TheAllokDrop().SendLast(); });
  ::umask(kUmask);
  Mos::Options options;
  if (auto status = Mos::ParseOptions(argc, argv, options)) return *status;
  if (!Mos::RequireResources()) return 1;
  Mos::ValidOptions();
  if (!Mos::foreground) Mos::daemonize(kLogPath, kLockPath);
  Mos::AllowCoreDumps();
  Mos::InstallSignalHandlers();
  eventlog::GetEventLog("moseventlog")->Init(Msg::MEAS_MODULE);
  logger_mgr::GetLogger()->Init(kLogConfigPath, Msg::MEAS_MODULE, Mos::logfd, kLogPath, kLogLimit);
  Q5_LOG_NOTICE(mainL, "Logging starts %d\n", static_cast<int>(::getpid()));
  Msg::safetyFault.Clear();
  platform::Machine().SystemLog("mosdaemon", LOG_INFO, "MOS logging starts \n");

  platform::Stream build_info = OpenBuildInfo();
  Dev::FpgaDev* fpga = OpenFpga(options.check_board);
  if (fpga == nullptr) return -1;
  PrintBanner(build_info.get());
  Msg::HmpErrorRep::InitMajorErrors();
  Mos::g_fpgafd = fpga->GetDeviceFd();

  networkcheck& network = *networkcheck::GetNetworkCheck();
  if (network.Init(Msg::MEAS_MODULE, nullptr, nullptr, Msg::kNetworkCheckPort) == 0) {
    network.Start();
  }
  Dev::I2cMgr& i2c = Dev::I2cMgr::CreateI2cMgr(options.gid.c_str(), options.gport);
  Mos::MeasMgr& manager = Mos::MeasMgr::CreateMeasMgr(i2c, options.id.c_str(), options.port);
  Mos::MeasMgr::SetInstance(&manager);
  AwaitSource(network);
  manager.SetNetwork([&network] { return AddressesIn(network); });
  manager.SetEeXmlOpt(options.skip_ee2xml);
  monitor::Init();
  monitor allokm("allokm");
  Mos::logmonitor.AddTimer(2, SECSE, Logger::LogCallBack, nullptr);
  build_info.reset();
  Mos::MeasMgr::StartResults();

  manager.SetRevision(fpga->GetRevision());
  const bool ready = manager.Init(manager.GetRevision()) == 0 && CanDropAllok();
  if (ready) {
    // A raised line says that a daemon watches. So not before the end points are bound, as another
    // daemon may hold the line down, and not before the board is ready.
    manager.GetAllok().Withdraw(Dev::AllokLine::kNotReady);
    if (options.monitor)
      allokm.AddOKTimer(kAllokPeriod, MSECSE, Mos::AllokCB, &manager.GetRecovery());
    manager.GetInterModule().SetServerReady();
    manager.Start();
  }
  // no callback and no scan may run into what goes now
  Mos::logmonitor.StopTimer();
  monitor::End();
  if (ready) manager.GetAllok().Hold(Dev::AllokLine::kNotReady);
  manager.GetInterModule().End();
  network.End();
  manager.EndAcquisition();
  i2c.End();
  return ready ? 0 : 1;
}
