// The rotation of the log: what logger_mgr does when the live log has grown too large.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "common/log/build_info.h"
#include "common/log/log_files.h"
#include "common/log/log_shares.h"
#include "common/log/logger_mgr.h"
#include "platform/backend.h"
#include "platform/guarded.h"
#include "platform/output_file.h"

namespace Logger {
namespace {

constexpr std::int64_t _onekb = 1024;
/// A file of the ring takes logs until it would reach this.
constexpr std::int64_t kRingFileBytes = 21504 * _onekb;
constexpr char _stagingdir[] = "/staging/";
constexpr mode_t kLogMode = 0755;
/// Checks, one in 100 calls of print, that pass before something that failed is tried again.
constexpr int kRetryChecks = 10;

struct Daemon {
  std::string_view name;
  const char* log;
  int module;
};
constexpr Daemon kDaemons[] = {
    {"TOS", "toslog", kMainOwner},
    {"MOS", "moslog", kMeasOwner},
    {"SOS", "soslog", kSourceOwner},
    {"ETHB", "ethblog", kMainOwner},
};

constexpr std::size_t kNumberFileNameLimit = 64;
constexpr std::size_t kNumberFileNameFrame = 26;  // directory and ".txt"

const Daemon* FindDaemon(const char* name) {
  for (const Daemon& daemon : kDaemons) {
    if (daemon.name == name) return &daemon;
  }
  return nullptr;
}

/// The daemon's ring as seen from `module`: its directory and the log's name.
std::string RingPath(const Daemon& daemon, int module) {
  const std::string here =
      daemon.module == module ? "" : kMounts[static_cast<std::size_t>(daemon.module)];
  return here + kBackupDirectory + daemon.log;
}

std::int64_t FileSize(const std::string& path) {
  struct stat status {};
  return ::stat(platform::Machine().Path(path).c_str(), &status) == 0 ? status.st_size : -1;
}

std::optional<RotationNumbers> ReadNumbers(const std::string& path) {
  const auto text = ReadText(path, kMaxNumberFileBytes);
  return text ? ParseNumberFile(*text) : std::nullopt;
}

}  // namespace

int logger_mgr::SetDefaultRotationParameters(const char* logfile) {
  const std::string path = logfile;
  const std::string name = path.substr(path.find_last_of('/') + 1);
  if (name.empty()) {
    Complain("rotation name error logfile %s\n", logfile);
    return -1;
  }
  if (name.size() + kNumberFileNameFrame >= kNumberFileNameLimit) {
    Complain("rotation name length error name %s\n", name.c_str());
    return -1;
  }
  _logfile = path;
  _rotationNamePtr = name;
  _rotationNumberFileName = kBackupDirectory + name + ".txt";
  _rotationCollectPath = name.starts_with("sos")   ? "/mnt/src/"
                         : name.starts_with("mos") ? "/mnt/meas/"
                                                   : kBackupDirectory;
  _rotationAtBoot = _rotationNext = 1;
  _rotationCurrent = kRingFiles;
  _rotationCount = 0;
  return 0;
}

// True when a rotation is due; it is then this thread's.
bool logger_mgr::ClaimRotation(int force, std::int64_t& live, int& error) {
  platform::Lock lock(log_mutex_);
  if (!rotates_ || _rotationEnable == 0) return false;
  struct stat status {};
  if (::fstat(_logfd, &status) != 0) {
    error = errno;
    return false;
  }
  live = status.st_size;
  if (force == 0) {
    if (live < _maxlogsize && live <= _onekb * _rotateSize) return false;
    if (back_off_ > 0) {
      --back_off_;
      return false;
    }
  }
  _rotationEnable = 0;
  swapping_ = true;
  return true;
}

void logger_mgr::ReleaseClaim() {
  platform::Lock lock(log_mutex_);
  swapping_ = false;
  back_off_ = kRetryChecks;
  _rotationEnable = 1;
}

int logger_mgr::RotateLogFile(int flags, int force) {
  int result = -1;
  const std::int64_t waited = WaitingBytes();
  platform::Guarded("RotateLogFile", [&] {
    RetryBackup();
    result = Rotate(flags, force);
  });
  // a log that waits only since now gets the time until the next look to be staged
  if (WaitingBytes() <= waited) BoundLiveLog();
  return result;
}

// Memory is what the live log uses, and the old one until it is in staging: where nothing takes
// them, lines are lost rather than the instrument.
void logger_mgr::BoundLiveLog() {
  struct stat status {};
  {
    platform::Lock lock(log_mutex_);
    if (!rotates_ || swapping_ || ::fstat(_logfd, &status) != 0) return;
    if (status.st_size < _maxlogsize - waiting_bytes_ || ::ftruncate(_logfd, 0) != 0) return;
    ::lseek(_logfd, 0, SEEK_SET);
  }
  Complain("Logger: dropped %lld bytes of the log, which could not be rotated\n",
           static_cast<long long>(status.st_size));
}

int logger_mgr::Rotate(int flags, int force) {
  std::int64_t live = 0;
  int error = 0;
  if (!ClaimRotation(force, live, error)) {
    if (error == 0) return 0;
    print(mainL, kError, 0, "fstat error %d path %s error %s\n", error, _logfile.c_str(),
          std::strerror(error));
    return -1;
  }
  print(mainL, kNotice, 0, "Logger: Force Rotate %d\n", force);
  bool swapped = false;
  platform::Guarded("SwapLog", [&] { swapped = SwapLog(flags); });
  if (!swapped) {
    print(mainL, kError, 0, "logfile open error %s \n", std::strerror(errno));
    ReleaseClaim();
    return -1;
  }
  LogDateMarker(kWarning);
  const int number = _rotationCount + 1;
  if (!QueueBackup()) {
    print(mainL, kError, 0, "Logger: %s COULD NOT QUEUE IN PTHREAD TO LOG THE FILE logname %s \n",
          __func__, _logfile.c_str());
    BackupLater();
  }
  print(mainL, kNotice, 0, "LOG ROTATION #%d, File size copied %d\n", number,
        static_cast<int>(live));
  print(mainL, kNotice, 0, "hgrev %s, hgsumm %s, hgbranch %s \n", hgrev, hgsumm, hgbranch);
  return 0;
}

platform::UniqueFd logger_mgr::DuplicateLog() const {
  const platform::Lock lock(log_mutex_);
  return platform::UniqueFd(::fcntl(_logfd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

// The fresh log takes the name; of the old one the descriptor is left, which is copied later and
// elsewhere: a slow disk must hold nobody who prints. What fails leaves the log as it is.
bool logger_mgr::SwapLog(int flags) {
  const auto& machine = platform::Machine();
  const std::string fresh_name = _logfile + ".new";
  platform::UniqueFd fresh = platform::OpenToWrite(fresh_name, flags, kLogMode);
  platform::UniqueFd old = DuplicateLog();
  const std::string fresh_path = machine.Path(fresh_name);
  if (!fresh || !old || ::rename(fresh_path.c_str(), machine.Path(_logfile).c_str()) != 0) {
    const int error = errno;
    ::unlink(fresh_path.c_str());
    errno = error;
    return false;
  }
  platform::Lock lock(log_mutex_);
  swapping_ = false;
  back_off_ = 0;
  for (int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int got = ::dup2(fresh.Get(), standard);
    if (got < 0) {
      PrintLocked(mainL, kError, "Logger: dup2(%d) error: %s\n", standard, std::strerror(errno));
    } else if (got != standard) {
      PrintLocked(mainL, kWarning, "Logger: dup(%d) warning: %d differs from %d\n", fresh.Get(),
                  got, standard);
    }
  }
  // The standard descriptors are the fresh log by now, also when the old one was one of them.
  const int previous = std::exchange(_logfd, fresh.Release());
  if (previous > STDERR_FILENO) ::close(previous);
  rotation_ = RotationRecord();
  rotation_.logger = this;
  rotation_.old = std::move(old);
  struct stat status {};
  waiting_bytes_ = ::fstat(rotation_.old.Get(), &status) == 0 ? status.st_size : 0;
  return true;
}

// Chooses the ring's file: the newest one as long as it has space for this log, else the next.
void logger_mgr::NameRotation(std::int64_t size) {
  _bootlogname.clear();
  if (_rotationCount == 0) {
    _rotationNext = ReadNumbers(_rotationNumberFileName).value_or(RotationNumbers{}).next;
    _rotationAtBoot = _rotationNext;
    _bootlogname = _rotationNamePtr + ".boot";
  }
  _rotationCurrent = RingBefore(_rotationNext);
  const std::string newest = kBackupDirectory + RingName(_rotationNamePtr, _rotationCurrent);
  std::int64_t newest_size = FileSize(newest);
  if (newest_size < 0) {
    print(mainL, kWarning, 0, "stat error path %s error %s\n", newest.c_str(),
          std::strerror(errno));
    newest_size = kRingFileBytes;
  }
  _append = size + newest_size < kRingFileBytes ? 1 : 0;
  _modifiedlogname = RingName(_rotationNamePtr, _append != 0 ? _rotationCurrent : _rotationNext);
  _copytostaging = _stagingdir + _modifiedlogname;
}

std::int64_t logger_mgr::WaitingBytes() const {
  const platform::Lock lock(log_mutex_);
  return waiting_bytes_;
}

// False when the old log still waits in memory.
bool logger_mgr::StageLog() {
  RotationRecord& record = rotation_;
  if (!record.old) return true;
  NameRotation(WaitingBytes());
  if (FileCopy(Extent{record.old.Get()}, _copytostaging) != 0) {
    print(mainL, kError, 0, "Logger: cannot copy the log to %s: %s\n", _copytostaging.c_str(),
          std::strerror(errno));
    return false;
  }
  // the completion steps forward again
  if (_append != 0) _rotationNext = RingBefore(_rotationNext);
  record.log.ring = kBackupDirectory + _modifiedlogname;
  record.log.append = _append != 0;
  if (!_bootlogname.empty()) record.log.boot = kBackupDirectory + _bootlogname;
  record.log.number_file = _rotationNumberFileName;
  record.log.numbers = FormatNumberFile({_rotationAtBoot, RingAfter(_rotationNext)}, _rotationCount,
                                        kBackupDirectory, _rotationNamePtr);
  {
    platform::Lock lock(log_mutex_);
    record.old.Reset();
    waiting_bytes_ = 0;
  }
  print(mainL, kNotice, 0, "staging done\n");
  return true;
}

bool logger_mgr::QueueBackup() {
  const BackgroundQueue queue = background_queue_;
  return queue != nullptr && queue("BackupLogfile", &logger_mgr::BackupLogfile, &rotation_) == 0;
}

// The rotation stays this log's only one until its backup has been made. Comes last: from here on
// another thread may take it up.
void logger_mgr::BackupLater() {
  platform::Lock lock(log_mutex_);
  rotation_.retries = kRetryChecks;
  check_due_ = true;
}

void logger_mgr::RetryBackup() {
  {
    platform::Lock lock(log_mutex_);
    if (_rotationEnable != 0 || rotation_.retries == 0) return;
    check_due_ = true;
    if (--rotation_.retries > 0) return;
  }
  if (QueueBackup()) return;
  print(mainL, kError, 0, "COULD NOT QUEUE IN PTHREAD TO LOG THE FILE logname %s \n",
        _logfile.c_str());
  BackupLater();
}

// The ring first. The shares get theirs from there, on threads of their own, while the log may be
// rotated again.
int logger_mgr::BackupLogfile(void* data) {
  auto& record = *static_cast<RotationRecord*>(data);
  logger_mgr& logger = *record.logger;
  bool stored = false;
  platform::Guarded("BackupLogfile", [&] {
    stored = logger.StageLog() && (logger.StoreStaged(record) || logger.LogIsFull());
  });
  if (!stored) {
    // Kept until some place takes it: the live log grows up to its limit.
    logger.BackupLater();
    return -1;
  }
  platform::Guarded("BackupLogfile", [&] {
    const std::string& staged = logger._copytostaging;
    if (::unlink(platform::Machine().Path(staged).c_str()) != 0) {
      print(mainL, kError, 0, "unlink err in %s.%d, path %s, error %s\n", "BackupLogfile", __LINE__,
            staged.c_str(), std::strerror(errno));
    }
    StoreNumbers("", record.log);
  });
  logger.RotationComplete();
  return 0;
}

// True when at least one place has the log.
bool logger_mgr::StoreStaged(RotationRecord& record) const {
  platform::UniqueFd staged = OpenToRead(_copytostaging);
  const bool stored = StoreLog(Extent{staged.Get()}, "", record.log);
  if (record.on_a_share == nullptr) {
    record.on_a_share = std::make_shared<std::atomic<bool>>(false);
    SendToShares(record, std::move(staged), stored);
  }
  return stored || *record.on_a_share;
}

// What the ring has got is read from there: a share that hangs must not keep what is staged.
void logger_mgr::SendToShares(const RotationRecord& record, platform::UniqueFd staged,
                              bool in_ring) const {
  struct stat status {};
  ::fstat(staged.Get(), &status);
  Extent from{staged.Get(), 0, status.st_size};
  platform::UniqueFd file = std::move(staged);
  if (in_ring) {
    file = OpenToRead(record.log.ring);
    from.fd = file.Get();
    if (record.log.append) from.end = FileSize(record.log.ring);
    from.begin = from.end - status.st_size;
  }
  const auto shared = std::make_shared<const platform::UniqueFd>(std::move(file));
  for (std::size_t module = 0; module < kMounts.size(); ++module) {
    if (static_cast<int>(module) == _module) continue;
    ShareOf(module).Post({shared, from, record.log, record.on_a_share});
  }
}

// Early enough for a rotation of the live log before its lines would be dropped.
bool logger_mgr::LogIsFull() const {
  platform::Lock lock(log_mutex_);
  struct stat status {};
  return ::fstat(_logfd, &status) == 0 && status.st_size >= _maxlogsize / 4 * 3;
}

void logger_mgr::RotationComplete() {
  _rotationNext = RingAfter(_rotationNext);
  ++_rotationCount;
  platform::Lock lock(log_mutex_);
  _rotationEnable = 1;
}

int logger_mgr::GetRotationNext(const char* daemon) const {
  const Daemon* found = FindDaemon(daemon);
  if (found == nullptr) return -1;
  const auto numbers = ReadNumbers(RingPath(*found, _module) + ".txt");
  return numbers ? numbers->next : -1;
}

std::int64_t logger_mgr::checkSize(const char* daemon) const {
  const int next = GetRotationNext(daemon);
  if (next < 0) return -1;
  return FileSize(RingName(RingPath(*FindDaemon(daemon), _module), RingBefore(next)));
}

}  // namespace Logger
