// The one text log of a daemon.
//
// Every message names a module and a level; a message whose level is above its module's is dropped
// before any formatting. What passes goes to standard error as one line with a time stamp:
//   12:34:56.123456789      meas:6 MeasMgr.Handle: ...
// Levels: 3 error, 4 warning, 5 notice, 6 information, 7 debug; all start at 0.
// Threads: any thread may print; a line is written whole.
#pragma once

#include <array>
#include <atomic>
#include <cstdarg>
#include <mutex>

#include "common/log/log_modules.h"

namespace Logger {

class logger_mgr {
 public:
  /// The one instance; never destroyed.
  static logger_mgr* GetLogger();

  /// `format` supplies the line end. Returns the characters written, 0 when filtered out, -1 when
  /// the time or the line could not be had. The third argument is not used.
  [[gnu::format(printf, 4, 5)]] static int print(int module, int level, int, const char* format,
                                                 ...);
  [[gnu::format(printf, 3, 0)]] static int vprint(int module, int level, const char* format,
                                                  std::va_list args);
  /// As print, for signal handlers: takes no lock and allocates nothing, so it may mix with a line
  /// that another thread writes. Only integers and short texts belong in `format`.
  [[gnu::format(printf, 3, 4)]] static void PrintFromSignal(int module, int level,
                                                            const char* format, ...);
  /// True when a message of this module and level would be written.
  static bool LogSamples(int module, int level);
  static void SetModuleLevel(int module, int level);

 private:
  static std::array<std::atomic<int>, maxlogL> _verbose;
  static std::atomic<long> utc_offset_;  // seconds east of UTC, as of the last line
  static const std::array<const char*, maxlogL>& _moduleStr;
  static char _logstr[1025];  // the line being formatted; guarded by log_mutex_
  static std::mutex log_mutex_;
};

}  // namespace Logger
