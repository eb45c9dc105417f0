// A module of the instrument with its directories, and a daemon's log on it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/log/logger_mgr.h"
#include "platform/unique_fd.h"
#include "tests/platform/bare_machine.h"

namespace log_bench {

namespace fs = std::filesystem;
using Logger::logger_mgr;

inline constexpr char kConfig[] = "/varek/config/q5logging.cfg";
inline constexpr char kLog[] = "/var/volatile/moslog";
inline constexpr char kRing[] = "/media/mmcblk0p2/logs/";
inline constexpr int kMaxLogSize = 20971520;

/// The background thread, run by hand.
struct Queue {
  static int Post(const char*, int (*work)(void*), void* data) {
    ++asked;
    if (full) return -1;
    jobs.emplace_back(work, data);
    return 0;
  }
  static int RunAll() {
    int result = 0;
    for (auto [work, data] : std::exchange(jobs, {})) result = work(data);
    return result;
  }
  static inline bool full = false;
  static inline int asked = 0;
  static inline std::vector<std::pair<int (*)(void*), void*>> jobs;
};

class LogTest : public testing::Test {
 protected:
  LogTest() {
    for (const char* directory :
         {"staging", "var/volatile", "varek/config", "home/root", "media/mmcblk0p2/logs",
          "mnt/main/media/mmcblk0p2/logs", "mnt/src/media/mmcblk0p2/logs"}) {
      fs::create_directories(machine.root / directory);
    }
    WriteConfig("Q5Logging: { mosmgr = 7; rotateSize = 1; };");
  }

  std::string At(const std::string& path) const { return machine.root.Path() + path; }
  void Write(const std::string& path, const std::string& text) {
    std::ofstream(At(path), std::ios::binary) << text;
  }
  /// Each is a second newer than the one before.
  void WriteConfig(const std::string& text) {
    Write(kConfig, text);
    SetAge(++config_seconds);
  }
  void SetAge(int seconds) {
    fs::last_write_time(At(kConfig), fs::file_time_type(std::chrono::seconds(seconds)));
  }
  std::string Read(const std::string& path) const {
    std::ostringstream text;
    text << std::ifstream(At(path), std::ios::binary).rdbuf();
    return text.str();
  }
  bool Exists(const std::string& path) const { return fs::exists(At(path)); }
  std::string Ring(int number) const {
    return Logger::RingName(std::string(kRing) + "moslog", number);
  }

  /// Runs `work` as a daemon whose standard descriptors are the log; nothing else can be shown
  /// meanwhile, so expectations come after it.
  void AsDaemon(const std::function<void(logger_mgr&)>& work, int module = Logger::kMeasOwner,
                const char* log = kLog) {
    std::fflush(nullptr);
    std::array<platform::UniqueFd, 3> saved;
    for (int fd = 0; fd < 3; ++fd) saved[static_cast<size_t>(fd)].Reset(::dup(fd));
    const int live = ::open(At(log).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_APPEND, 0755);
    for (int fd = 0; fd < 3; ++fd) ::dup2(live, fd);
    logger_mgr& logger = *logger_mgr::GetLogger();
    logger.Init(kConfig, module, live, log, kMaxLogSize);
    logger.SetBackgroundQueue(Queue::Post);
    work(logger);
    AwaitShares();
    std::fflush(nullptr);
    for (int fd = 0; fd < 3; ++fd) ::dup2(saved[static_cast<size_t>(fd)].Get(), fd);
  }

  static void AwaitShares() {
    while (!Logger::SharesAreIdle()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  static void Say(const std::string& text) {
    logger_mgr::print(Logger::measurementL, Logger::kNotice, 0, "%s\n", text.c_str());
  }

 private:
  // The live log is in volatile memory on the instrument too; on a disk every line would be synced.
  struct InMemory {
    InMemory() {
      if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
    }
  } in_memory_;

 protected:
  int config_seconds = 1000000;
  platform::MachineInPlace<platform::RecordingShell> machine;
};

}  // namespace log_bench
