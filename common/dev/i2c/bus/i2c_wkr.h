// The only thread that touches a bus. It serves the requests of other threads, one at a time, and
// reads the devices of the table at their rates; what a device's Read() finds wrong becomes a
// safety fault. A request waits for one Read() at most.
//
//   callers --(_i2c_req_mutex, one at a time)--> _i2c_req --> Run --> device --> bus
//   one-second tick -------------------------> _do_scan --> Run --> every device that is due
//
// Threads: see each group below. The worker is kept while a request is under way.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "common/dev/i2c/bus/i2c_dev.h"
#include "common/dev/i2c/bus/i2c_job.h"
#include "common/dev/i2c/bus/i2c_req.h"
#include "libs/zmb/src/zmb_simple_publisher.h"
#include "platform/clock.h"
#include "platform/thread_safety.h"

namespace Dev {

class I2cWkr : public Worker::ZmbSimplePublisher {
 public:
  /// `state` outlives the worker.
  explicit I2cWkr(Msg::HMPData& state, Worker::ZmbWorkerMgr* manager = nullptr)
      : ZmbSimplePublisher(manager), state_(state) {}
  /// A request that waits ends with status -1.
  ~I2cWkr() override;

  // --- The owner ---

  /// Opens both buses and makes the scan lists; the devices are loaded before it. A bus that does
  /// not open is logged, and its devices' transfers fail.
  int Init() override;

  // --- Any thread but the worker's own ---

  /// Hands `req` over and waits until it is served, for two seconds or what is left of the thread's
  /// budget. Its status; -1 when the worker is not running or the time is up, and at once while a
  /// transfer that took too long still holds the bus. On the worker's own thread it is served at
  /// once, or refused in the middle of a device's Read() or another request.
  int InstI2cReq(I2cReq* req);

  /// Arms the one-second tick again.
  void StartScanner() { StartTimer(1); }
  /// A scan under way continues to its end.
  void StopScanner();
  /// The tick: asks for a scan.
  void HandleSigEvt();

  /// No transfer begins while one of these lives; its constructor waits for those under
  /// way. For changes of the map of devices and of the lists.
  class NoTransfers {
   public:
    explicit NoTransfers(I2cWkr& worker);

   private:
    std::unique_lock<std::mutex> requests_;
    std::unique_lock<std::mutex> scan_;
  };
  /// Takes the sensors of the channel boards, which are added to the map late, into the scan.
  void appndPerScanList();

  bool GetNetworkCommInProgress();
  void SetNetworkCommInProgress(bool busy);

  // --- The worker's own thread ---

  void Run() override;
  /// Reads the devices that are read only once.
  void HandleScanI2cOnce();
  /// A scan, if one is asked for. 0; -1 when it was abandoned.
  int HandleScanI2cReq();
  /// The request that waits, if any. Its status, or 0.
  int HandleInstI2cReq();

 private:
  /// A request on its way; it outlives a caller that has given up.
  struct Handover {
    I2cReq request;
    std::atomic<bool> served{false};
  };

  void OpenBuses();
  static int init_i2c(int bus);
  void SetDeviceFd(I2cDev& device) const;
  void InitScanLists();
  void StartTimer(int seconds);
  int ScanJob(I2cJob& job);
  int ExecI2cReq(I2cReq* req);
  void EndTransfer();
  int Refuse(const char* text);
  std::shared_ptr<Handover> TakeRequest();
  void GiveBack(Handover& handover);
  void RefuseWaiting();

  Msg::HMPData& state_;
  std::atomic<std::thread::id> runner_{};  ///< the worker's own thread while it runs

  std::mutex scan_mutex_;  ///< held during a scan; guards the lists
  std::vector<I2cJob> _one_time_list;
  std::vector<I2cJob> _periodic_list;

  std::mutex _i2c_req_mutex;  ///< one caller at a time; before scan_mutex_
  platform::Mutex handover_mutex_;
  std::condition_variable served_;
  std::shared_ptr<Handover> _i2c_req Q5_GUARDED_BY(handover_mutex_);
  std::atomic<bool> _do_req{false};
  std::atomic<bool> held_up_{false};  ///< a caller has given up on the transfer under way

  std::atomic<bool> _do_scan{false};
  std::atomic<bool> _i2crunning{false};  ///< a transfer is under way

  platform::Mutex timer_mutex_;
  std::atomic<int> period_{0};  ///< seconds; 0 while the scanner is stopped
  std::unique_ptr<platform::Ticker> ticker_ Q5_GUARDED_BY(timer_mutex_);

  int _i2cfd1 = -1;
  int _i2cfd2 = -1;

  platform::Mutex _nwcommlock;
  bool _nwcomm Q5_GUARDED_BY(_nwcommlock) = false;
};

}  // namespace Dev
