// A log call that its level filters out beside an empty call, and one that is written, from four
// threads, beside fprintf under a mutex and beside spdlog. All write to a file in memory.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "common/log/logger_mgr.h"
#include "platform/unique_fd.h"

namespace {

using namespace Logger;

constexpr char kLog[] = "/var/volatile/moslog";

// The log as a daemon has it: standard error is the file. Rotation is on, but never due.
class Daemon {
 public:
  explicit Daemon(int level) : report_(::dup(STDERR_FILENO)) {
    const platform::UniqueFd live(
        ::open((Root() + kLog).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_APPEND, 0644));
    ::dup2(live.Get(), STDERR_FILENO);
    logger_mgr::GetLogger()->Init("/varek/config/q5logging.cfg", kMeasOwner, STDERR_FILENO, kLog,
                                  2147483647);
    logger_mgr::SetModuleLevel(measurementL, level);
  }
  ~Daemon() { ::dup2(report_.Get(), STDERR_FILENO); }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  static const std::string& Root() {
    static const std::string root = [] {
      std::string pattern = "/dev/shm/q5logXXXXXX";
      const std::string made = ::mkdtemp(pattern.data());
      for (const char* directory : {"/var/volatile", "/varek/config"}) {
        std::filesystem::create_directories(made + directory);
      }
      std::FILE* config = std::fopen((made + "/varek/config/q5logging.cfg").c_str(), "w");
      std::fputs("Q5Logging: { rotateSize = 2000000; };\n", config);
      std::fclose(config);
      return made;
    }();
    return root;
  }

 private:
  platform::UniqueFd report_;
};

[[gnu::noinline]] void Empty() { benchmark::ClobberMemory(); }

void BM_EmptyCall(benchmark::State& state) {
  for (auto _ : state) Empty();
}
BENCHMARK(BM_EmptyCall);

void BM_PrintFiltered(benchmark::State& state) {
  const Daemon daemon(4);
  for (auto _ : state) logger_mgr::print(measurementL, 6, 0, "%s.%d: %f\n", __func__, 1, 2.0);
}
BENCHMARK(BM_PrintFiltered);

// Each run starts with an empty file; the threads of a run share it.
template <class Log>
void Written(benchmark::State& state, std::unique_ptr<Log>& log) {
  if (state.thread_index() == 0) log = std::make_unique<Log>();
  int i = 0;
  for (auto _ : state) log->Line(++i);
  if (state.thread_index() == 0) log.reset();
}

struct Print {
  Daemon daemon{7};
  void Line(int i) {
    logger_mgr::print(measurementL, 5, 0, "%s.%d: value %d of %f\n", "MeasMgr.Handle", 120, i, 1.5);
  }
};

struct FprintfUnderMutex {
  std::mutex file_mutex;
  std::FILE* file = std::fopen((Daemon::Root() + "/fprintf").c_str(), "w");
  FprintfUnderMutex() { std::setvbuf(file, nullptr, _IOLBF, 4096); }  // as a log: each line at once
  ~FprintfUnderMutex() { std::fclose(file); }
  void Line(int i) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[16];
    std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
    const std::lock_guard lock(file_mutex);
    std::fprintf(file, "%s.%09ld %9s:%d %s.%d: value %d of %f\n", stamp, now.tv_nsec, "meas", 5,
                 "MeasMgr.Handle", 120, i, 1.5);
  }
};

struct Spdlog {
  std::shared_ptr<spdlog::logger> logger;
  Spdlog() {
    auto sink =
        std::make_shared<spdlog::sinks::basic_file_sink_mt>(Daemon::Root() + "/spdlog", true);
    logger = std::make_shared<spdlog::logger>("meas", sink);
    logger->set_pattern("%H:%M:%S.%F %9n:%l %v");
    logger->flush_on(spdlog::level::info);  // as a log: each line at once
  }
  void Line(int i) { logger->info("{}.{}: value {} of {:f}", "MeasMgr.Handle", 120, i, 1.5); }
};

void BM_PrintWritten(benchmark::State& state) {
  static std::unique_ptr<Print> log;
  Written(state, log);
}
void BM_FprintfUnderMutex(benchmark::State& state) {
  static std::unique_ptr<FprintfUnderMutex> log;
  Written(state, log);
}
void BM_Spdlog(benchmark::State& state) {
  static std::unique_ptr<Spdlog> log;
  Written(state, log);
}
BENCHMARK(BM_PrintWritten)->Threads(4)->UseRealTime();
BENCHMARK(BM_FprintfUnderMutex)->Threads(4)->UseRealTime();
BENCHMARK(BM_Spdlog)->Threads(4)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  ::setenv("Q5_ROOT", Daemon::Root().c_str(), 1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::filesystem::remove_all(Daemon::Root());
  return 0;
}
