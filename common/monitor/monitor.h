// monitor: the daemon's software timers. Alarms, recurring ticks and watchdogs.
//
// All objects share two system timers of 20 ms. Each object is a countdown that a tick decrements;
// at zero its callback runs, on the tick's thread. OK timers hang on the first system timer, all
// others on the second, so that a slow callback of one of those cannot hold up an OK timer. Nothing
// is finer than 20 ms. A callback that takes a tick or longer is a violation: it is logged, and the
// timers behind it miss that tick.
//
// Threads: any thread may add, reset or stop a timer, also from its own callback. Lock order: a
// map's lock, then monitorlock.
#pragma once

#include <sys/time.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "platform/clock.h"
#include "platform/thread_safety.h"

enum secs_t : int { SECSE = 0, MSECSE = 1, USECSE = 2, NSECSE = 3 };

class monitor {
 public:
  using Callback = int (*)(void*);  // its result is ignored

  explicit monitor(const char* its_name);
  /// A timer that still counts is removed, with a line on standard output. Its callback must
  /// not be running.
  virtual ~monitor();
  monitor(const monitor&) = delete;
  monitor& operator=(const monitor&) = delete;

  /// Starts the two system timers, once. 0, or -1 with a line in the log.
  static int Init();
  /// Ends the system timers, after the callback that runs; for programs that end in good order.
  static void End();

  /// Arms the timer, as recurring or as an alarm. An alarm gets a tick more, so that it cannot fire
  /// early. -1 when it is counting already (nothing changes then) or `its_time` is negative. Units
  /// finer than milliseconds set the time, but such an object never runs.
  int AddTimer(int its_time, int unit, Callback callback, void* data);
  /// As AddTimer, once; the object stays an alarm for good.
  int AddAlarm(int its_time, int unit, Callback callback, void* data);
  /// A recurring timer on the first system timer, which cannot be stopped. -1 for a unit other than
  /// SECSE and MSECSE.
  int AddOKTimer(int its_time, int unit, Callback callback, void* data);
  /// Restarts the countdown; a stopped timer does not start. 0.
  int ResetTimer();
  /// 0, or -1 if it is not counting.
  int StopTimer();
  bool IsTimerAlive();
  /// The new period and countdown, in the object's unit.
  void ModifyTimer(int t);

  const std::string& GetName() const { return name; }
  unsigned GetMID() const { return mID; }
  std::uint64_t GetCounter() const;        ///< nanoseconds left
  std::uint64_t GetBackupCounter() const;  ///< the period, in nanoseconds
  bool IsRecurring() const { return recurring; }
  bool CompletedInTime() const { return completeintime; }
  bool IsCBStarted() const;
  bool DidCBFinished() const;
  /// True when 0.8 s have passed since the last ResetTimer, or there was none.
  bool TimeElapsed() const;
  /// Subtracts the ticks that the second system timer missed.
  void ClearMissedOnes();

  static void GetSize();
  static void ListTimers();

 private:
  using Map = std::map<unsigned, monitor*>;

  /// A map of timers and its recursive lock; a failure of the lock is logged.
  class Timers {
   public:
    Timers();
    void Lock();
    void Unlock();
    Map map;

   private:
    pthread_mutex_t lock_;
  };
  class Guard;

  static Timers& monsecs();  // the OK timers
  static Timers& rtmin2();   // all others

  static void HandleSigEvent1();
  static void HandleSigEvent2();

  void Arm(std::uint64_t nanoseconds, int unit, Callback callback, void* data);
  int Id() const { return static_cast<int>(mID); }  // as the log and the events have it
  bool Running() const;
  unsigned TimesArmed() const;
  int MilliSecondCountDown();
  void callercb();
  void CalcCBElapsed(platform::Nanoseconds elapsed, const timespec& start, const timespec& end);
  void CaptureNamed(int event) const;
  bool ServeExpired(Map::iterator& position);

  static std::atomic<unsigned> ID;

  mutable platform::Mutex monitorlock;
  const unsigned mID;
  Callback cb Q5_GUARDED_BY(monitorlock) = nullptr;
  void* cbdata Q5_GUARDED_BY(monitorlock) = nullptr;
  std::uint64_t time Q5_GUARDED_BY(monitorlock) = 0;     // period, nanoseconds
  std::uint64_t counter Q5_GUARDED_BY(monitorlock) = 0;  // nanoseconds left
  const std::string name;
  unsigned armed Q5_GUARDED_BY(monitorlock) = 0;  // how often it was armed
  std::atomic<bool> recurring{true};
  std::atomic<bool> completeintime{false};
  std::atomic<int> timerunit{SECSE};
  static constexpr std::uint64_t resolution = 20'000'000;  // the tick, nanoseconds
  timeval resettime Q5_GUARDED_BY(monitorlock){};
  timespec cbstart Q5_GUARDED_BY(monitorlock){};
  timespec cbend Q5_GUARDED_BY(monitorlock){};
};
