// The way to the chips for every other thread: one request at a time, served by the only thread
// that touches a bus (i2c_wkr.h). Also a bus worker that takes such requests from other programs.
//
// Threads: requests, the scanner and the network flag from any thread; Init, Start, End and the
// appending operations belong to the start-up and the end of the daemon. No operation may be called
// from a device's own work on the I2C worker, except requests, which then fail instead of waiting
// for themselves.
#pragma once

#include <cstdint>
#include <memory>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/i2c_req.h"
#include "libs/zmb/src/zmb_simple_worker.h"
#include "platform/thread_safety.h"

namespace Dev {

class I2cWkr;

class I2cMgr : public Worker::ZmbSimpleWorker, public Worker::ZmbWorkerMgr {
 public:
  /// Makes the single instance on the first call and returns it on every later one, whose arguments
  /// are ignored.
  static I2cMgr& CreateI2cMgr(const char* zid, std::uint16_t port);

  /// A null `zid` keeps the class's own name; `port` is the default front-end port, 0 for none.
  I2cMgr(const char* zid, std::uint16_t port);
  ~I2cMgr() override;

  int Init() override;
  /// As Init(); then loads multiplexers and devices of module `mid` with board revision `rev` and
  /// starts the I2C worker. Start is still to be called for requests from the bus. `state`
  /// outlives the manager. -1 when the end points cannot be bound or the worker gets no thread.
  int Init(int mid, int rev, Msg::HMPData& state);
  /// Ends both threads; requests return -1 from then on. Before the end of what devices work with.
  void End();

  /// Port 3100 of this module, and the ipc link of the identity. The default port is not bound, as
  /// there are these.
  void SetFeUris() override;
  /// Answers a gateway record in place; other messages stay as they are.
  int Handle(Common::ZmbMessage* msg) override;
  void DestroyWorker(Worker::ZmbWorker* worker) override;

  /// Waits until the I2C worker has served `req`, however long that takes. Its status, which is -1
  /// without a worker.
  int I2cWkrExecReq(I2cReq* req);

  /// A transfer with the device of this key. `len` bytes of `buf` go out with do_write and
  /// do_wread; what comes back is in `buf`, zeros behind it: with do_read in its first `len`
  /// bytes, with do_wread in its first `len2`. The result is the transfer's (i2c_dev.h); -1 also
  /// for a length outside 0 to 256.
  int I2cWkrWrapper(int mid, int aid, int type, int num, char* buf, int len, int len2,
                    I2cDev::Act act);

  /// A scan that is under way ends by itself.
  void StartScanner();
  void StopScanner();

  /// Adds the devices that are known only when the channel boards are, between transfers.
  void appndDevTbl(int mid, int rev);
  /// Takes those devices into the scan.
  void appndPerScanList();

  /// False without a worker.
  bool GetNetworkCommInProgress();
  void SetNetworkCommInProgress(bool busy);

 private:
  /// Keeps the worker alive while it is used; null when there is none.
  std::shared_ptr<I2cWkr> Wkr() const;

  mutable platform::Mutex wkr_mutex_;
  std::shared_ptr<I2cWkr> _i2c_wkr Q5_GUARDED_BY(wkr_mutex_);
};

}  // namespace Dev
