// The last word of a dying daemon: ALLOK goes down, so that no other module lets a voltage stand
// that nobody watches any more.
#pragma once

#include <array>
#include <atomic>

#include "platform/prepared_ioctl.h"
#include "platform/thread_safety.h"

namespace Dev {

class AllokDrop {
 public:
  AllokDrop() = default;
  ~AllokDrop();
  AllokDrop(const AllokDrop&) = delete;
  AllokDrop& operator=(const AllokDrop&) = delete;

  /// A write of `value` to the register at `offset` is what drops the line from now on. On a
  /// descriptor of its own, so that a request that is wedged does not stand in the way. -1 when it
  /// cannot be had. Threads: any.
  int Prepare(int offset, unsigned value);
  bool IsPrepared() const { return ready_ != nullptr; }
  /// Makes the write; nothing before the first Prepare. Async-signal-safe.
  void Send() const;
  /// As Send, for a process that ends: whoever writes the line up after this drops it again.
  /// Async-signal-safe.
  void SendLast();
  bool IsLast() const { return last_; }
  /// The same where a wedged driver must not hold up the caller; for the process's object.
  void SendFromThread() const;

 private:
  platform::Mutex mutex_;
  int fd_ Q5_GUARDED_BY(mutex_) = -1;
  std::size_t next_ Q5_GUARDED_BY(mutex_) = 0;
  // the one that a handler may be sending is not written: values change seldom
  std::array<platform::PreparedIoctl, 4> slots_;
  std::atomic<platform::PreparedIoctl*> ready_{nullptr};
  std::atomic<bool> last_{false};
};

/// Of the process.
AllokDrop& TheAllokDrop();

}  // namespace Dev
