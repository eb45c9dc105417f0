// The one text log of a daemon.
//
// Every message names a module and a level; a message whose level is above its module's is dropped
// before any formatting. What passes is written to standard error as one line with a time stamp:
//   12:34:56.123456789      meas:6 MeasMgr.Handle: ...
// Levels: 3 error, 4 warning, 5 notice, 6 information, 7 debug; all start at 0.
//
// The log is the process's standard error; a daemon's is a file in volatile memory. When that file
// has grown past its limit, or on request, it is rotated into a ring of 20 numbered files on the
// SD card and on the mounts of the two other modules:
//
//   live log --(swap of descriptors)--> old log --(background queue)--> /staging/, ring
//                                                ring --(a thread a share)--> mounts
//
// Levels come from a configuration file, which is read again whenever it becomes newer.
// Errors: what fails here is logged and leaves the daemon running.
// Threads: any thread may call anything; a line is written whole. A print may start a rotation and
// with it a call of the background queue, so the queue must not print under its own lock.
#pragma once

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "common/log/log_config.h"
#include "common/log/log_modules.h"
#include "common/log/log_shares.h"
#include "common/log/number_file.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace Logger {

/// The open flags of the fresh log after a rotation: read-write, create, truncate, synchronous.
inline constexpr int kReopenFlags = 4674;
inline constexpr char kBackupDirectory[] = "/media/mmcblk0p2/logs/";

class logger_mgr {
 public:
  /// Takes `work` to be run with `data` on a thread of its own; 0, or another value when it is
  /// full.
  using BackgroundQueue = int (*)(const char* name, int (*work)(void*), void* data);
  /// The mounts of the other modules' file systems; null functions are not called.
  struct NetworkDrives {
    bool (*busy)() = nullptr;   ///< a mount command is under way
    bool (*done)() = nullptr;   ///< all are mounted
    void (*check)() = nullptr;  ///< mounts what is missing
  };

  /// The one instance; never destroyed.
  static logger_mgr* GetLogger();

  /// `format` supplies the line end. Returns the characters written, 0 when filtered out, -1 when
  /// the line could not be written; errno stays. The third argument is not used. Every 100th call,
  /// filtered or not, looks whether the log has to be rotated.
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
  /// The acquisition levels 100 and 110 spoil samples on purpose, for diagnosis.
  static bool CorruptAcquisitionBeforeProcessing();
  static bool CorruptAcquisitionAfterProcessing();

  // --- Start-up ---

  /// `configfile` and `logfile` are instrument paths, `module` the module id of the daemon, `logfd`
  /// the open log (readable) and `maxlogsize` its limit in bytes. Unless `logfd` is the file at
  /// `logfile` (a daemon in the foreground writes to a terminal) nothing is ever rotated. -1 when
  /// the configuration cannot be read or `logfile` names no log; all else works even then, and the
  /// configuration is used as soon as it exists.
  int Init(const char* configfile, int module, int logfd, const char* logfile, int maxlogsize);
  /// Until there is a queue, a rotated log waits in memory.
  void SetBackgroundQueue(BackgroundQueue queue) { background_queue_ = queue; }
  void SetNetworkDrives(const NetworkDrives& drives);
  /// The main module only: asks the other modules to rotate.
  void SetForceRotate(void (*send)()) { _sendForceRotate = send; }

  // --- Housekeeping ---

  /// To be run every 2 s: serves rotations asked for, a changed configuration and missing mounts.
  /// Returns at once while a call on another thread is still at work.
  int CheckUpdate();
  /// Safe in a signal handler; the next CheckUpdate rotates.
  void ForceRotateSignalHandler() { _forceRotateSignal = true; }

  // --- Rotation (log_rotation.cpp) ---

  /// Starts a rotation when the log is over its limit or `force` is not 0; `flags` open the fresh
  /// log. While the backup of the one before is under way nothing happens. 0, or -1 when the fresh
  /// log could not be opened: then nothing has been cut off, and it is tried again later. A log
  /// that has reached its limit all the same is emptied, which is its first line then.
  int RotateLogFile(int flags, int force);
  /// Ends a rotation: the next number is due.
  void RotationComplete();
  /// Next number of "SOS", "MOS", "TOS" or "ETHB", 1 to 20; -1 when it is unknown.
  int GetRotationNext(const char* daemon) const;
  /// Bytes of that daemon's newest rotated file, or -1.
  std::int64_t checkSize(const char* daemon) const;

  bool IsMainModule() const { return _module == kMainOwner; }
  bool IsMeasModule() const { return _module == kMeasOwner; }
  bool IsSourceModule() const { return _module == kSourceOwner; }

 private:
  // What the background work needs to know of one rotation.
  struct RotationRecord {
    logger_mgr* logger = nullptr;
    platform::UniqueFd old;                         // the log until it has been staged
    RotatedLog log;                                 // once it has been staged
    std::shared_ptr<std::atomic<bool>> on_a_share;  // once it has been sent to the shares
    int retries Q5_GUARDED_BY(log_mutex_) = 0;      // checks until it is queued again
  };

  logger_mgr() = default;

  static void CountCall();
  [[gnu::format(printf, 3, 4)]] static int PrintLocked(int module, int level, const char* format,
                                                       ...) Q5_REQUIRES(log_mutex_);
  [[gnu::format(printf, 3, 0)]] static int WriteLine(int module, int level, const char* format,
                                                     std::va_list args) Q5_REQUIRES(log_mutex_);
  // As an error of the main module, whatever its level: while the levels cannot be read they are 0.
  [[gnu::format(printf, 1, 2)]] static void Complain(const char* format, ...);
  static void LogDateMarker(int level);

  void CheckConfig();
  void CheckDrives();
  int ReadConfigFile(int fd);
  void SetModuleLogLevels();

  int SetDefaultRotationParameters(const char* logfile);
  int Rotate(int flags, int force);
  void BoundLiveLog();
  bool ClaimRotation(int force, std::int64_t& live, int& error);
  void ReleaseClaim();
  platform::UniqueFd DuplicateLog() const;
  bool SwapLog(int flags);
  void NameRotation(std::int64_t size);
  std::int64_t WaitingBytes() const;
  bool StageLog();
  bool QueueBackup();
  void BackupLater();
  void RetryBackup();
  static int BackupLogfile(void* record);
  bool StoreStaged(RotationRecord& record) const;
  void SendToShares(const RotationRecord& record, platform::UniqueFd staged, bool in_ring) const;
  bool LogIsFull() const;

  static std::array<std::atomic<int>, maxlogL> _verbose;
  static std::atomic<long> utc_offset_;  // seconds east of UTC, as of the last line
  static const std::array<const char*, maxlogL>& _moduleStr;
  static char _logstr[1025] Q5_GUARDED_BY(log_mutex_);  // the line being formatted
  static platform::Mutex log_mutex_;
  // Set by every line written and while a rotation waits: only then can the log have to rotate.
  static std::atomic<bool> check_due_;
  static std::atomic<bool> _forceRotateSignal;

  std::atomic<int> _module{kMeasOwner};
  std::atomic<BackgroundQueue> background_queue_{nullptr};
  std::atomic<void (*)()> _sendForceRotate{nullptr};

  std::mutex update_mutex_;  // guards what CheckUpdate and Init work on:
  std::string _configfile;
  LogSettings _logconfig;
  std::int64_t _oldtime = 0;  // modification time of what was read last, in ns
  int dated_hour_ = -1;       // whose date is in the log
  NetworkDrives drives_;

  int _logfd Q5_GUARDED_BY(log_mutex_) = -1;
  bool rotates_ Q5_GUARDED_BY(log_mutex_) = false;  // the log is a file of the log's own
  std::int64_t _maxlogsize Q5_GUARDED_BY(log_mutex_) = 0;
  std::int64_t _rotateSize Q5_GUARDED_BY(log_mutex_) = kDefaultRotateSize;  // KiB
  int _rotationEnable Q5_GUARDED_BY(log_mutex_) = 0;  // 1 while no rotation is under way
  int back_off_ Q5_GUARDED_BY(log_mutex_) = 0;        // checks to let pass after a failure
  // Claimed by a thread that has not removed it yet.
  bool swapping_ Q5_GUARDED_BY(log_mutex_) = false;
  // Of the old log that still is in memory.
  std::int64_t waiting_bytes_ Q5_GUARDED_BY(log_mutex_) = 0;

  // Belongs to the rotation that is under way, whichever thread works on it:
  std::string _logfile;
  std::string _rotationNamePtr;  // base name of _logfile
  std::string _rotationNumberFileName;
  std::string _rotationCollectPath;  // this daemon's ring as the main module sees it
  std::string _modifiedlogname;
  std::string _bootlogname;
  std::string _copytostaging;
  RotationRecord rotation_;
  int _rotationAtBoot = 1;
  int _rotationNext = 1;
  int _rotationCurrent = kRingFiles;
  int _rotationCount = 0;
  int _append = 0;
};

/// The callback of the `logmonitor` timer: runs CheckUpdate.
int LogCallBack(void*);

}  // namespace Logger
