#include "mos/handlers/line_frequency.h"

#include <chrono>

#include "common/log/log_line.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"

namespace Mos::handlers {

using Msg::ghmp;

namespace {

constexpr std::chrono::seconds kLineWait{3};
constexpr std::chrono::milliseconds kLinePoll{1};
constexpr std::uint64_t kLowestLine = 47;   // Hz
constexpr std::uint64_t kHighestLine = 63;  // Hz

// Until the source module has reported the line's frequency; at most 3 s.
platform::Nanoseconds AwaitLineFrequency() {
  platform::Clock& clock = platform::Machine().Clock();
  const auto estimator_start_time = clock.Monotonic();
  while (ghmp->GetLineFrequency().a == 0) {
    if (clock.Monotonic() - estimator_start_time > kLineWait) break;
    clock.SleepFor(kLinePoll);
  }
  return clock.Monotonic() - estimator_start_time;
}

void LogWait(const char* prefix, platform::Nanoseconds waited) {
  const auto micro = std::chrono::duration_cast<std::chrono::microseconds>(waited).count();
  Q5_LOG_INFO_HERE(measurementL, "%s.%d:%s MOS waited %ld.%06ldsec. for line frequency from SOS\n",
                   prefix, static_cast<long>(micro / 1000000), static_cast<long>(micro % 1000000));
  const m3x64_num line = ghmp->GetLineFrequency();
  Q5_LOG_INFO_HERE(measurementL, "%s.%d:%s Using line frequency %lld %lld/%lld(%f) from SOS\n",
                   prefix, static_cast<long long>(line.a), static_cast<long long>(line.b),
                   static_cast<long long>(line.c), ValueOf(line));
}

}  // namespace

bool HasLineFrequency(const char* prefix, bool started) {
  if (!started) LogWait(prefix, AwaitLineFrequency());
  const m3x64_num line = ghmp->GetLineFrequency();
  if (line.a >= kLowestLine && line.a <= kHighestLine) return true;
  Q5_LOG_ERROR_HERE(measurementL,
                    "%s.%d:%s Invalid measured frequency:%f not close to 50Hz or 60Hz\n", prefix,
                    ValueOf(line));
  return false;
}

float FollowLine(float hertz) {
  if (!ghmp->IsLineSyncTracker()) return hertz;
  ghmp->SetFrequency(ghmp->GetLineFrequency());
  return ghmp->GetFrequency();
}

}  // namespace Mos::handlers
