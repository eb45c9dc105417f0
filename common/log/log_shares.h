// Where a rotated log is stored: the ring of this module, and its copies on the mounts of the
// others.
//
// A share of another module may hang for minutes, or for good. Each has a thread of its own, so
// that it holds up nothing but its own copies.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <string>

#include "common/log/log_files.h"
#include "platform/thread_safety.h"
#include "platform/unique_fd.h"

namespace Logger {

/// A rotated log as every place gets it. Paths are those of the log's own module.
struct RotatedLog {
  std::string ring;     // its file in the ring
  bool append = false;  // onto what the ring's file holds
  std::string boot;     // path of the copy of a boot's first log, or empty
  std::string number_file;
  std::string numbers;  // text of the number file
};

/// `place` is put before the paths of `log`. What fails is logged; false when the ring has not got
/// the log.
bool StoreLog(const Extent& from, const std::string& place, const RotatedLog& log);
void StoreNumbers(const std::string& place, const RotatedLog& log);

/// The mount of another module. Its thread begins with the first copy and stays for good, so a
/// share lives as long as the process. Threads: any.
class Share {
 public:
  struct Copy {
    std::shared_ptr<const platform::UniqueFd> file;
    Extent from;  // of `file`
    RotatedLog log;
    std::shared_ptr<std::atomic<bool>> stored;  // set when the share has it
  };

  explicit Share(const char* mount) : mount_(mount) {}
  ~Share() = delete;

  /// Never waits. While the share hangs the latest copies wait; the oldest is given up for a new
  /// one.
  void Post(Copy copy);

 private:
  friend bool SharesAreIdle();

  static constexpr std::size_t kMostWaiting = 4;

  void Run();
  bool StartThread();

  const std::string mount_;
  platform::Mutex mutex_;
  std::condition_variable wake_;
  std::deque<Copy> waiting_ Q5_GUARDED_BY(mutex_);
  bool runs_ Q5_GUARDED_BY(mutex_) = false;
  bool copies_ Q5_GUARDED_BY(mutex_) = false;
};

/// Where each module finds the files of the others, by module id.
inline constexpr std::array kMounts = {"/mnt/main", "/mnt/meas", "/mnt/src"};

/// The share of each module.
Share& ShareOf(std::size_t module);
/// True when no share has a copy to make.
bool SharesAreIdle();

}  // namespace Logger
