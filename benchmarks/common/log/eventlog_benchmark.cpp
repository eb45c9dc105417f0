// CaptureEvent: filtered out, and written to a file that nobody keeps, beside snprintf and write of
// a line of the same length.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "common/log/eventlog.h"
#include "common/log/logger_mgr.h"

namespace {

using namespace Logger;

const evseqdataI_t kWords{4, {1, 2, 3, 4, 0, 0}};

// Discards standard error while the object lives.
class Quiet {
 public:
  Quiet() : saved_(::dup(STDERR_FILENO)) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDERR_FILENO);
    ::close(null);
  }
  ~Quiet() {
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int saved_;
};

void Capture(benchmark::State& state, int module_level) {
  const Quiet quiet;
  logger_mgr::SetModuleLevel(eventlogL, module_level);
  eventlog* log = eventlog::GetEventLog("moseventlog");
  for (auto _ : state) log->CaptureEvent(kInfo, FINE_TUNE_DONE, &kWords);
}

void BM_CaptureFiltered(benchmark::State& state) { Capture(state, kError); }
BENCHMARK(BM_CaptureFiltered);

void BM_CaptureWritten(benchmark::State& state) { Capture(state, kInfo); }
BENCHMARK(BM_CaptureWritten);

void BM_SnprintfAndWrite(benchmark::State& state) {
  const Quiet quiet;
  char line[256];
  for (auto _ : state) {
    const int length =
        std::snprintf(line, sizeof line, "%s %9s:%d %-10d %-30s %04xh %04xh %04xh %04xh\n",
                      "12:00:00.000000000", "eventlog", 6, 0, "FINE_TUNE_DONE", 1u, 2u, 3u, 4u);
    if (::write(STDERR_FILENO, line, static_cast<size_t>(length)) < 0) state.SkipWithError("write");
  }
}
BENCHMARK(BM_SnprintfAndWrite);

}  // namespace

BENCHMARK_MAIN();
