#include "libs/zmb/src/zmb_worker.h"

#include <cassert>
#include <cerrno>
#include <chrono>
#include <latch>
#include <memory>
#include <system_error>

#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_util.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace Worker {

using Common::zmb_log;

namespace {

/// A Run that fails at once each time must not take a core.
constexpr std::chrono::milliseconds kRestartPause{100};

}  // namespace

std::atomic<void*> ZmbWorker::static_zmq_ctx{nullptr};

ZmbWorker::~ZmbWorker() {
  assert(!_thread.joinable() && "EndThread() comes before the destructor");
  void* mine = _zmq_ctx.get();
  if (mine != nullptr) static_zmq_ctx.compare_exchange_strong(mine, nullptr);
}

int ZmbWorker::Init() {
  if (_hasInit) return 0;
  while (_jobs.TryWait()) {
  }
  OpenNode();
  static_zmq_ctx = GetZmqCtx();
  _hasInit = true;
  zmb_log.Print(Common::ZMB_INFO, "<ZmbWorker hostname=%s/>\n", Common::HostName().c_str());
  _zmb_id.ShowID();
  return 0;
}

int ZmbWorker::Start() {
  if (!_hasInit && Init() != 0) return -1;
  if (_thread.joinable() && !_running) _thread.join();  // an earlier Run that was asked to end
  int rc = 0;
  if (_thread.joinable()) {
    rc = EBUSY;
  } else {
    // Run may destroy the worker at once: it waits until this function has let go of it.
    const auto started = std::make_shared<std::latch>(1);
    _running = true;
    try {
      _thread = std::thread([this, started] {
        started->wait();
        KeepRunning();
      });
      started->count_down();
      return 0;
    } catch (const std::system_error& error) {
      _running = false;
      rc = error.code().value();
    }
  }
  zmb_log.Print(Common::ZMB_ERROR, "<panic func=ZmbWorker.Start pthread_create=failed rc=%d/>\n",
                rc);
  return rc;
}

// A thread that ends by an exception would end the daemon, and with it every watch on a test that
// runs. After a Run that returns the worker may be gone.
void ZmbWorker::KeepRunning() {
  while (!platform::Guarded("ZmbWorker.Run", [this] { Run(); })) {
    if (!_running) return;
    platform::Machine().Clock().SleepFor(kRestartPause);
  }
}

void ZmbWorker::Stop() {
  _running = false;
  if (_wkr_mgr != nullptr && !_destroying.exchange(true)) _wkr_mgr->DestroyWorker(this);
}

void ZmbWorker::EndThread() {
  _destroying = true;
  _running = false;
  if (!_thread.joinable()) return;
  _jobs.Post();
  if (_zmq_ctx) Common::zmb_api::ShutContext(_zmq_ctx.get());
  if (_thread.get_id() == std::this_thread::get_id()) {
    _thread.detach();
  } else {
    _thread.join();
  }
}

}  // namespace Worker
