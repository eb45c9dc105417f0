// A thread for work that a handler or a timer must not wait for.
//
// A ring of 20 slots: SetCallbackFunction fills the next free one, Release wakes the thread, which
// runs the callbacks one at a time in the order posted. Threads: any thread may post.
#pragma once

#include <array>
#include <atomic>

#include "libs/zmb/src/zmb_worker.h"
#include "platform/thread_safety.h"

class pthreadobj : public Worker::ZmbWorker {
 public:
  using Callback = int (*)(void*);
  static constexpr int kSlots = 20;
  static constexpr int kNameLength = 100;

  pthreadobj() = default;
  /// Waits for a callback that runs; what has not begun is dropped.
  ~pthreadobj() override;

  /// Empties the ring. Makes no bus context: this worker does not use the bus.
  int Init() override;
  /// Takes the next free slot; a `name` over 100 characters is cut. -1 when all 20 are taken.
  int SetCallbackFunction(const char* name, Callback callback, void* data);
  /// Wakes the thread for one slot; call it once after each SetCallbackFunction that gave 0.
  void Release();

 protected:
  void Run() override;

 private:
  struct Slot {
    Callback callback = nullptr;
    void* data = nullptr;
    char name[kNameLength + 1] = "";
  };

  Slot* TakeWork();
  void FinishWork(Slot& slot);

  platform::Mutex avlock;
  std::array<Slot, kSlots> slots_ Q5_GUARDED_BY(avlock);
  int workindex Q5_GUARDED_BY(avlock) = 0;
  int freeindex Q5_GUARDED_BY(avlock) = 0;
  int available Q5_GUARDED_BY(avlock) = kSlots;
  std::atomic<bool> startflag{false};  // work was released and has not ended
};
