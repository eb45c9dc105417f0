#include "common/lib/pthreadobj.h"

#include <cstdio>
#include <utility>

#include "common/log/log_line.h"
#include "platform/guarded.h"

pthreadobj::~pthreadobj() { EndThread(); }

int pthreadobj::Init() {
  platform::Lock lock(avlock);
  workindex = freeindex = 0;
  available = kSlots;
  slots_.fill(Slot{});
  while (_jobs.TryWait()) {
  }
  _hasInit = true;
  return 0;
}

// Nothing is logged under avlock: a log line may start a rotation of the log, which posts work
// here.

int pthreadobj::SetCallbackFunction(const char* name, Callback callback, void* data) {
  int index = -1;
  {
    platform::Lock lock(avlock);
    index = freeindex;
    if (available > 0) {
      Slot& slot = slots_[static_cast<size_t>(freeindex)];
      slot.callback = callback;
      slot.data = data;
      std::snprintf(slot.name, sizeof slot.name, "%s", name);
      freeindex = (freeindex + 1) % kSlots;
      --available;
      return 0;
    }
  }
  Q5_LOG_WARNING(mainL, "pt:No free index %d \n", index);
  return -1;
}

void pthreadobj::Release() {
  startflag = true;
  PostWork();
}

// Null without work.
pthreadobj::Slot* pthreadobj::TakeWork() {
  platform::Lock lock(avlock);
  if (available == kSlots) return nullptr;
  Slot& slot = slots_[static_cast<size_t>(workindex)];
  workindex = (workindex + 1) % kSlots;
  return &slot;
}

void pthreadobj::FinishWork(Slot& slot) {
  Slot finished;
  {
    platform::Lock lock(avlock);
    finished = std::exchange(slot, Slot{});
    ++available;
    startflag = false;
  }
  Q5_LOG_DEBUG(mainL, "finished thread function %s\n", finished.name);
}

void pthreadobj::Run() {
  for (;;) {
    WaitWork();
    if (!_running) return;
    Slot* slot = TakeWork();
    if (slot == nullptr) {
      Q5_LOG_WARNING(mainL, "pt:No work index %d \n", -1);
      continue;
    }
    // The slot stays taken while its callback runs, so nobody else writes it.
    platform::Guarded(slot->name, [&] { slot->callback(slot->data); });
    FinishWork(*slot);
  }
}
