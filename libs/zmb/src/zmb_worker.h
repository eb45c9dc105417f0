// A worker: work on a thread of its own, with a ZeroMQ context of its own.
//
// Who ends the thread: whoever destroys the worker calls EndThread first, and a class that can be
// destroyed while its thread runs calls it at the top of its own destructor, since the thread works
// on that class's members. A worker destroyed with its thread still attached stops the process, as
// a std::thread does: a thread on a dead object would be worse. A worker may also destroy itself:
// the last statement of its Run is Stop, whose DestroyWorker deletes it on its own thread.
//
// A worker without bus (deferred work, say) overrides Init, does not call this one's, and sets
// _hasInit itself; it then has no context and its Run waits with WaitWork.
//
// Threads: Init, Start and EndThread belong to the owner; Stop, PostWork and WaitWork to any.
#pragma once

#include <atomic>
#include <thread>

#include "libs/zmb/src/zmb_node.h"
#include "platform/semaphore.h"

namespace Worker {

class ZmbWorker;

/// The owner of workers.
class ZmbWorkerMgr {
 public:
  virtual ~ZmbWorkerMgr() = default;
  /// The worker has been stopped and is done with: delete it.
  virtual void DestroyWorker(ZmbWorker* worker) = 0;
};

class ZmbWorker : public Common::ZmbNode {
 public:
  /// `manager` may be null; else it outlives the worker.
  explicit ZmbWorker(ZmbWorkerMgr* manager = nullptr) : _wkr_mgr(manager) {}
  ~ZmbWorker() override;

  /// Takes the posts off, makes context and identity. 0; a derived class returns -1 when it cannot
  /// listen. On an initialised object it does nothing.
  virtual int Init();

  /// Starts Run on a thread, after Init if that has not been done. 0; -1 if Init failed; else the
  /// error for which there is no new thread (EBUSY: the worker runs).
  virtual int Start();

  /// Asks Run to end, then hands the worker to its manager, if any; the worker may be gone after
  /// it.
  virtual void Stop();

  virtual void PostWork() { _jobs.Post(); }
  /// Waits for one post.
  virtual void WaitWork() { _jobs.Wait(); }

  /// The thread's work; ends when _running is cleared. One that throws is logged and called again.
  virtual void Run() = 0;

  /// Clears _running, wakes a Run that waits for work or on one of its sockets, and waits for its
  /// end; on the worker's own thread it only lets go of the thread. The context is of no use
  /// afterwards: such a worker is to be destroyed.
  void EndThread();

  bool IsRunning() const { return _running; }

  /// The context of the worker that was initialised last; null when that one is gone.
  static std::atomic<void*> static_zmq_ctx;

 protected:
  std::thread _thread;
  platform::Semaphore _jobs{0};
  ZmbWorkerMgr* _wkr_mgr;

 private:
  void KeepRunning();

  std::atomic<bool> _destroying{false};  ///< by the manager or by EndThread's caller
};

}  // namespace Worker
