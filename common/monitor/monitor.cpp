#include "common/monitor/monitor.h"

#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "common/log/eventlog.h"
#include "common/log/log_line.h"
#include "platform/backend.h"
#include "platform/guarded.h"
#include "platform/thread_safety.h"

using Logger::eventlog;

namespace {

constexpr auto kTick = std::chrono::milliseconds(20);
constexpr std::uint64_t kNanoseconds[] = {1'000'000'000, 1'000'000, 1'000, 1};  // by unit
constexpr long kNanosecondsPerSecond = 1'000'000'000;
constexpr auto kElapsed = std::chrono::microseconds(800'000);
constexpr std::uint64_t kTimeoutEvent = 2;
constexpr std::uint64_t kResetEvent = 3;

struct SystemTimers {
  platform::Mutex mutex;
  std::unique_ptr<platform::Ticker> timer1 Q5_GUARDED_BY(mutex);
  std::unique_ptr<platform::Ticker> timer2 Q5_GUARDED_BY(mutex);
};

// Never destroyed: a tick may come while the process ends.
SystemTimers& TheSystemTimers() {
  static SystemTimers& timers = *new SystemTimers;
  return timers;
}

bool IsCoarse(int unit) { return unit == SECSE || unit == MSECSE; }
bool IsUnit(int unit) { return unit >= SECSE && unit <= NSECSE; }

timeval MonotonicTimeval() {
  const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
      platform::Machine().Clock().Monotonic());
  return {static_cast<time_t>(now.count() / 1'000'000),
          static_cast<suseconds_t>(now.count() % 1'000'000)};
}

timespec Now() { return platform::Machine().Clock().Realtime(); }

// Timers that expire all day long would fill the event log.
bool IsQuiet(const std::string& name) { return name == "logmonitorm" || name == "allokm"; }

void Capture(Logger::eventtypes_t event, const void* data) {
  eventlog::GetEventLog("moseventlog")->CaptureEvent(Logger::kInfo, event, data);
}

}  // namespace

std::atomic<unsigned> monitor::ID{0};

// --- The maps ---

monitor::Timers::Timers() {
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&lock_, &recursive);
  pthread_mutexattr_destroy(&recursive);
}

void monitor::Timers::Lock() {
  if (const int error = pthread_mutex_lock(&lock_)) {
    Q5_LOG_ERROR(monitorL, "pthread_mutex_lock %d\n", error);
  }
}

void monitor::Timers::Unlock() {
  if (const int error = pthread_mutex_unlock(&lock_)) {
    Q5_LOG_ERROR(monitorL, "pthread_mutex_unlock %d\n", error);
  }
}

class monitor::Guard {
 public:
  explicit Guard(Timers& timers) : timers_(timers) { timers_.Lock(); }
  ~Guard() { timers_.Unlock(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  Timers& timers_;
};

monitor::Timers& monitor::monsecs() {
  static Timers& timers = *new Timers;
  return timers;
}

monitor::Timers& monitor::rtmin2() {
  static Timers& timers = *new Timers;
  return timers;
}

// --- The class as a whole ---

int monitor::Init() {
  SystemTimers& timers = TheSystemTimers();
  platform::Lock lock(timers.mutex);
  if (timers.timer2) return 0;
  auto& clock = platform::Machine().Clock();
  timers.timer1 = clock.StartTicks(kTick, HandleSigEvent1);
  if (!timers.timer1) {
    Q5_LOG_ERROR(monitorL, "timer create failed\n");
    return -1;
  }
  timers.timer2 = clock.StartTicks(kTick, HandleSigEvent2);
  if (!timers.timer2) {
    timers.timer1.reset();
    Q5_LOG_ERROR(monitorL, "timer2 create failed\n");
    return -1;
  }
  Q5_LOG_NOTICE(monitorL, "Monitor Init only one time\n");
  return 0;
}

void monitor::End() {
  SystemTimers& timers = TheSystemTimers();
  platform::Lock lock(timers.mutex);
  timers.timer1.reset();
  timers.timer2.reset();
}

void monitor::GetSize() {
  Guard ok_guard(monsecs());
  Guard guard(rtmin2());
  std::fprintf(stderr, "Allokmonitor size %d Number of other timers %d \n",
               static_cast<int>(monsecs().map.size()), static_cast<int>(rtmin2().map.size()));
}

void monitor::ListTimers() {
  for (Timers* timers : {&monsecs(), &rtmin2()}) {
    Guard guard(*timers);
    for (const auto& [id, timer] : timers->map)
      std::printf("monitor name %s\n", timer->name.c_str());
  }
  std::fflush(stdout);
}

void monitor::HandleSigEvent1() {
  Timers& timers = monsecs();
  Guard guard(timers);
  for (auto position = timers.map.begin(); position != timers.map.end();) {
    const auto [id, timer] = *position;
    if (timer->MilliSecondCountDown() == 0) {
      ++position;
      continue;
    }
    timers.Unlock();
    timer->callercb();
    timers.Lock();
    position = timers.map.upper_bound(id);  // the callback may have changed the map
  }
}

void monitor::HandleSigEvent2() {
  Timers& timers = rtmin2();
  Guard guard(timers);
  Q5_LOG_DEBUG(monitorL, "size of rtmin2 %d\n", static_cast<int>(timers.map.size()));
  for (auto position = timers.map.begin(); position != timers.map.end();) {
    const auto [id, timer] = *position;
    if (timer->DidCBFinished() && !timer->recurring) {
      Q5_LOG_NOTICE(monitorL, "monitor late deletion %s id %d\n", timer->name.c_str(), timer->Id());
      ++position;
      timer->StopTimer();
    } else if (timer->IsCBStarted() && !timer->DidCBFinished()) {
      Q5_LOG_NOTICE(monitorL, "monitor delayed %s id %d\n", timer->name.c_str(), timer->Id());
      ++position;
    } else if (timer->MilliSecondCountDown() == 0) {
      ++position;
    } else if (!timer->ServeExpired(position)) {
      return;
    }
  }
}

// Runs the callback of the timer at `position`, with the map's lock released, and moves on. False
// when it took so long that this tick's walk is over.
bool monitor::ServeExpired(Map::iterator& position) {
  Timers& timers = rtmin2();
  const unsigned id = position->first;
  const unsigned armed_before = TimesArmed();
  timers.Unlock();
  callercb();
  timers.Lock();
  position = timers.map.find(id);
  if (position == timers.map.end()) {  // the callback stopped it
    position = timers.map.upper_bound(id);
    return true;
  }
  if (!completeintime) {
    Q5_LOG_NOTICE(monitorL, "monitor longer %s id %d\n", name.c_str(), Id());
    return false;
  }
  ++position;
  if (recurring) {
    Q5_LOG_DEBUG(monitorL, "%s recurring\n", name.c_str());
  } else if (TimesArmed() == armed_before) {  // else the callback stopped it and armed it again
    StopTimer();
  }
  return true;
}

// --- One timer ---

monitor::monitor(const char* its_name) : mID(++ID), name(its_name) {}

monitor::~monitor() {
  size_t taken_out = 0;
  for (Timers* timers : {&monsecs(), &rtmin2()}) {
    Guard guard(*timers);
    taken_out += timers->map.erase(mID);
  }
  if (taken_out > 0) {
    std::printf("monitor %s ends with %llu ns left\n", name.c_str(),
                static_cast<unsigned long long>(GetCounter()));
  }
}

unsigned monitor::TimesArmed() const {
  platform::Lock lock(monitorlock);
  return armed;
}

bool monitor::Running() const {
  Guard guard(rtmin2());
  return rtmin2().map.contains(mID);
}

void monitor::Arm(std::uint64_t nanoseconds, int unit, Callback callback, void* data) {
  platform::Lock lock(monitorlock);
  cb = callback;
  cbdata = data;
  timerunit = unit;
  time = counter = nanoseconds;
  ++armed;
  completeintime = false;
  resettime = {};
  cbstart = cbend = {};
}

int monitor::AddTimer(int its_time, int unit, Callback callback, void* data) {
  if (!IsUnit(unit) || its_time < 0) return -1;
  const std::uint64_t extra = recurring ? 0 : resolution;
  const std::uint64_t nanoseconds = static_cast<std::uint64_t>(its_time) * kNanoseconds[unit];
  if (!IsCoarse(unit)) {
    platform::Lock lock(monitorlock);
    timerunit = unit;
    time = counter = nanoseconds;
  } else {
    // held over test and insertion, so that of two threads one is refused
    Guard guard(rtmin2());
    if (IsTimerAlive()) {
      const unsigned long long left = GetCounter();
      if (unit == SECSE) {
        Q5_LOG_WARNING(monitorL, "SEC timer not added %s counter %llu\n", name.c_str(), left);
      } else {
        Q5_LOG_WARNING(monitorL, "MSEC timer not added %s counter %llu \n", name.c_str(), left);
      }
      return -1;
    }
    Arm(nanoseconds + extra, unit, callback, data);
    if (!rtmin2().map.emplace(mID, this).second) {
      Q5_LOG_ERROR(monitorL, "Insert failed duplicate MID %d\n", Id());
    }
    CaptureNamed(Logger::MONITOR_ADD);
    const unsigned long long period = nanoseconds + extra;
    if (unit == SECSE) {
      Q5_LOG_INFO(monitorL, "ATIMER adding the seconds %s time %llu counter %llu\n", name.c_str(),
                  period, period);
    } else {
      Q5_LOG_INFO(monitorL, "ATIMER adding the milliseconds %s time %llu counter %llu \n",
                  name.c_str(), period, period);
    }
  }
  Q5_LOG_INFO(monitorL, "%s recurring  %d \n", name.c_str(), recurring ? 1 : 0);
  return 0;
}

int monitor::AddAlarm(int its_time, int unit, Callback callback, void* data) {
  recurring = false;
  return AddTimer(its_time, unit, callback, data);
}

int monitor::AddOKTimer(int its_time, int unit, Callback callback, void* data) {
  if (!IsCoarse(unit) || its_time < 0) return -1;
  Guard guard(monsecs());
  Arm(static_cast<std::uint64_t>(its_time) * kNanoseconds[unit], unit, callback, data);
  if (!monsecs().map.emplace(mID, this).second) {
    Q5_LOG_ERROR(monitorL, "monsecs Insert failed duplicate MID %d\n", Id());
  }
  return 0;
}

int monitor::ResetTimer() {
  Logger::evseqdataU64_t data{4, {kResetEvent}};
  {
    platform::Lock lock(monitorlock);
    counter = time;
    resettime = MonotonicTimeval();
    data.dataarr[1] = counter;
    data.dataarr[2] = time;
    data.dataarr[3] = mID;
  }
  Capture(Logger::MONITOR_RESET, &data);
  return 0;
}

int monitor::StopTimer() {
  if (!IsCoarse(timerunit)) return -1;
  Guard guard(rtmin2());
  if (rtmin2().map.erase(mID) == 0) return -1;
  CaptureNamed(Logger::MONITOR_ERASE);
  return 0;
}

bool monitor::IsTimerAlive() {
  if (!Running()) return false;
  const Logger::evseqdataI_t data{1, {Id()}};
  Capture(Logger::MONITOR_ALIVE, &data);
  return true;
}

void monitor::ModifyTimer(int t) {
  const std::uint64_t nanoseconds =
      static_cast<std::uint64_t>(t > 0 ? t : 0) * kNanoseconds[timerunit];
  {
    platform::Lock lock(monitorlock);
    time = counter = nanoseconds;
  }
  Q5_LOG_INFO(monitorL, "Modifytimer factor %d temp %llu \n", t,
              static_cast<unsigned long long>(nanoseconds));
}

std::uint64_t monitor::GetCounter() const {
  platform::Lock lock(monitorlock);
  return counter;
}

std::uint64_t monitor::GetBackupCounter() const {
  platform::Lock lock(monitorlock);
  return time;
}

bool monitor::IsCBStarted() const {
  platform::Lock lock(monitorlock);
  return cbstart.tv_sec > 0;
}

bool monitor::DidCBFinished() const {
  platform::Lock lock(monitorlock);
  return cbstart.tv_sec > 0 && cbend.tv_sec > 0;
}

bool monitor::TimeElapsed() const {
  platform::Lock lock(monitorlock);
  if (resettime.tv_sec == 0 && resettime.tv_usec == 0) return true;
  const timeval now = MonotonicTimeval();
  const auto since = std::chrono::seconds(now.tv_sec - resettime.tv_sec) +
                     std::chrono::microseconds(now.tv_usec - resettime.tv_usec);
  return since >= kElapsed;
}

void monitor::ClearMissedOnes() {
  std::uint64_t missed = 0;
  {
    platform::Lock lock(TheSystemTimers().mutex);
    if (TheSystemTimers().timer2)
      missed = static_cast<std::uint64_t>(TheSystemTimers().timer2->Overrun());
  }
  platform::Lock lock(monitorlock);
  counter -= std::min(counter, missed * resolution);
  if (counter == 0) counter = time;
}

// The per-tick step of one timer; 1 when it expired, which starts it again.
int monitor::MilliSecondCountDown() {
  Logger::evseqdataU64_t data{3, {kTimeoutEvent}};
  {
    platform::Lock lock(monitorlock);
    counter -= std::min(counter, resolution);
    if (counter != 0) return 0;
    Q5_LOG_DEBUG(monitorL, "EXP:%s\n", name.c_str());
    counter = time;
    completeintime = false;
    cbstart = cbend = {};
    data.dataarr[1] = time;
    data.dataarr[2] = mID;
  }
  if (!IsQuiet(name)) {
    Capture(Logger::MONITOR_TIMEOUT, &data);
    Capture(Logger::MONITOR_NAME, name.c_str());
  }
  return 1;
}

void monitor::callercb() {
  Callback callback = nullptr;
  void* data = nullptr;
  const timespec start = Now();
  {
    platform::Lock lock(monitorlock);
    cbstart = start;
    cbend = {};
    callback = cb;
    data = cbdata;
  }
  // setting the time of day must not look like a slow callback, or hide one
  platform::Clock& clock = platform::Machine().Clock();
  const platform::Nanoseconds began = clock.Monotonic();
  if (callback != nullptr) platform::Guarded(name.c_str(), [&] { callback(data); });
  const platform::Nanoseconds elapsed = clock.Monotonic() - began;
  const timespec end = Now();
  CalcCBElapsed(elapsed, start, end);
  platform::Lock lock(monitorlock);
  cbend = end;
}

void monitor::CalcCBElapsed(platform::Nanoseconds elapsed, const timespec& start,
                            const timespec& end) {
  completeintime = elapsed < kTick;
  if (completeintime) return;
  CaptureNamed(Logger::MONITOR_VIOLATION);
  Q5_LOG_WARNING(
      monitorL,
      "monitor violation sec %lld nanos %ld start sec %lld nsec %ld end sec %lld nsec %ld\n",
      static_cast<long long>(elapsed.count() / kNanosecondsPerSecond),
      static_cast<long>(elapsed.count() % kNanosecondsPerSecond),
      static_cast<long long>(start.tv_sec), start.tv_nsec, static_cast<long long>(end.tv_sec),
      end.tv_nsec);
}

void monitor::CaptureNamed(int event) const {
  Logger::evnamedata_t data{};
  name.copy(data.name, sizeof data.name - 1);
  data.id = Id();
  Capture(static_cast<Logger::eventtypes_t>(event), &data);
}
