// Fetching what the other modules found out about themselves at boot. Runs on the main module.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <sys/wait.h>

#include "common/log/logger_mgr.h"
#include "common/msg/state/firmware_version.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"

namespace Msg {
namespace {

constexpr int kAliveSeconds = 30;
constexpr int kFetchRounds = 20;
constexpr std::size_t kVersionChars = 11;

/// What is fetched from one module, and how it shows.
struct Module {
  int id;
  const char* not_alive;
  const char* fetch_self_test;
  const char* self_test;
  int self_test_done;  ///< exit status that ends the waiting
  const char* got;
  const char* waiting;
  const char* diagnostics;
  const char* downloading;
  const char* fetch_diagnostics;
  const char* check_log;
  const char* fetch_check_log;
};

constexpr Module kMeas = {
    MEAS_MODULE,
    "Meas not Alive",
    "ftpget 192.168.42.52 measps -u root;mv /measps /home/root;",
    "/home/root/measps",
    4,
    "Got MeasD",
    "Waiting MeasD",
    "/varek/diags/diag_meas.txt",
    "Download MeasD",
    "ftpget 192.168.42.52 diag_meas.txt -u root;mv diag_meas.txt /varek/diags",
    "/home/root/meas_chk.log",
    "ftpget 192.168.42.52 meas_chk.log -u root;mv /meas_chk.log /home/root;",
};

constexpr Module kSource = {
    SOURCE_MODULE,
    "Src not Alive",
    "ftpget 192.168.42.53 srcps -u root;mv /srcps /home/root",
    "/home/root/srcps",
    5,  // the same status that the display takes for done
    "Got SrcD",
    "Waiting SrcD",
    "/varek/diags/diag_src.txt",
    "Download SrcD",
    "ftpget 192.168.42.53 diag_src.txt -u root;mv diag_src.txt /varek/diags",
    "/home/root/src_chk.log",
    "ftpget 192.168.42.53 src_chk.log -u root;mv /src_chk.log /home/root;",
};

int Run(const std::string& command) { return platform::Machine().System(command.c_str()); }

// The exit status of a command, or -1 if it did not exit by itself.
int ExitStatus(const char* command) {
  const int status = Run(command);
  return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool Exists(const char* path) {
  std::error_code ignored;
  return std::filesystem::exists(platform::Machine().Path(path), ignored);
}

void WaitASecond() { platform::Machine().Clock().SleepFor(std::chrono::seconds(1)); }

// The version becomes part of a shell command.
bool IsPlain(std::string_view version) {
  return std::ranges::all_of(version, [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '.' || c == '-' || c == '_';
  });
}

}  // namespace

bool HMPData::IsAlive(int other_module) const {
  return links_.is_alive && links_.is_alive(other_module);
}

bool HMPData::AwaitModules() const {
  for (int second = 0; second < kAliveSeconds; ++second) {
    const Module* silent = nullptr;
    for (const Module* other : {&kMeas, &kSource}) {
      if (IsAlive(other->id)) continue;
      silent = other;
      Show(2, other->not_alive);
    }
    if (silent == nullptr) return true;
    WaitASecond();
  }
  return false;
}

bool HMPData::FetchSelfTests() const {
  const int meas = Run(kMeas.fetch_self_test);
  const int source_status = Run(kSource.fetch_self_test);
  if (meas != 0 || source_status != 0) return false;
  Run(std::string("chmod +x ") + kMeas.self_test + " " + kSource.self_test);
  bool all_done = true;
  for (const Module* other : {&kMeas, &kSource}) {
    const bool done = ExitStatus(other->self_test) == other->self_test_done;
    Show(2, done ? other->got : other->waiting);
    all_done = all_done && done;
  }
  return all_done;
}

void HMPData::FetchDiagnostics() const {
  for (const Module* other : {&kSource, &kMeas}) {
    if (Exists(other->diagnostics)) continue;
    Show(2, other->downloading);
    Run(other->fetch_diagnostics);
  }
}

int HMPData::CheckPOSTFiles() {
  Show(1, "Check POST");
  if (!AwaitModules()) return -1;
  for (int round = 0; round < kFetchRounds && !FetchSelfTests(); ++round) WaitASecond();
  FetchDiagnostics();
  return 0;
}

int HMPData::CheckerFiles() {
  for (const Module* other : {&kMeas, &kSource}) {
    if (IsAlive(other->id) && !Exists(other->check_log)) Run(other->fetch_check_log);
  }
  const std::string version = FirmwareVersion().substr(0, kVersionChars);
  if (!IsPlain(version)) {
    Logger::logger_mgr::print(Logger::systemcheckL, Logger::kError, 0,
                              "%s.%d: /etc/varek-fw-version holds no version: \"%s\"\n", __func__,
                              __LINE__, version.c_str());
    return -1;
  }
  Run("python /varek/bin/Q5_sysChecker.py -f /etc/Q5400-Manifest-" + version + ".csv");
  return 0;
}

}  // namespace Msg
