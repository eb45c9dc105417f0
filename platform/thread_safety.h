// Which lock guards which field, in words that clang checks: a use without the lock fails its
// build.
//
// The standard library's mutexes carry no such words, so fields are guarded by a Mutex, which a
// Lock holds. Constructors and destructors are not checked, so threads that they begin or end need
// a second look. A lambda is checked by itself: one that runs under a lock says so after its
// parameters.
#pragma once

#include <mutex>

#ifdef __clang__
#define Q5_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define Q5_THREAD_SAFETY(attribute)
#endif

/// Of a field: only with this mutex held.
#define Q5_GUARDED_BY(mutex) Q5_THREAD_SAFETY(guarded_by(mutex))
/// Of a function: its caller holds these mutexes.
#define Q5_REQUIRES(...) Q5_THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// Of a function that calls what it is given: which lock that needs is its caller's business.
#define Q5_UNCHECKED Q5_THREAD_SAFETY(no_thread_safety_analysis)
#define Q5_ACQUIRE(...) Q5_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define Q5_RELEASE() Q5_THREAD_SAFETY(release_capability())

namespace platform {

class Q5_THREAD_SAFETY(capability("mutex")) Mutex {
 private:
  friend class Lock;
  std::mutex mutex_;
};

/// Holds a mutex for its own life, but for the time between Unlock and Relock.
class Q5_THREAD_SAFETY(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) Q5_ACQUIRE(mutex) : lock_(mutex.mutex_) {}
  ~Lock() Q5_RELEASE() {}  // not defaulted: the attribute is for a body
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Unlock() Q5_RELEASE() { lock_.unlock(); }
  void Relock() Q5_ACQUIRE() { lock_.lock(); }
  /// For waits on a condition, which return with the lock held.
  operator std::unique_lock<std::mutex>&() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace platform
