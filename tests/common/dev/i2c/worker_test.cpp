// The I2C worker: scanning by hand on the test's thread, where every outcome is one, and requests
// with the worker's own thread.
#include "common/dev/i2c/bus/i2c_wkr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <set>
#include <thread>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/safety_nak.h"
#include "platform/semaphore.h"
#include "tests/common/dev/i2c/fake_bus.h"

namespace {

using Dev::I2cDev;
using Dev::I2cReq;
using i2c_test::AddTestDev;
using i2c_test::Board;
using i2c_test::TestDev;
using std::chrono::seconds;
using Log = std::vector<std::string>;

constexpr int kNotSerialized = 481;

I2cReq RequestTo(int num, I2cDev::Act act = I2cDev::do_write) {
  I2cReq req;
  req._dev_info._mid = 1;
  req._dev_info._aid = Dev::MEAS_CH1;
  req._dev_info._type = Dev::SPI_BRIDGE;
  req._dev_info._num = num;
  req._act = act;
  req._len = 1;
  return req;
}

// --- The scan ---

struct ScanBench : Board {
  TestDev& Add(int num, int rate, bool during_test, int result = 0) {
    TestDev& device = AddTestDev(num, rate, during_test);
    device.scan = [this, num, result] {
      ++reads[num];
      return result;
    };
    return device;
  }
  void Ticks(int count) {
    for (int i = 0; i < count; ++i) {
      worker.HandleSigEvt();
      EXPECT_EQ(worker.HandleScanI2cReq(), 0);
    }
  }
  std::map<int, int> reads;  ///< by device
  Dev::I2cWkr worker{*Msg::ghmp};
};

TEST(Scan, ReadsEachDeviceAtItsRate) {
  ScanBench bench;
  const int rates[] = {0, 1, 3, 5, 60, 999, 2, 61};
  for (int i = 0; i < 8; ++i) bench.Add(i, rates[i], false);
  ASSERT_EQ(bench.worker.Init(), 0);

  bench.worker.HandleScanI2cOnce();
  EXPECT_EQ(bench.reads, (std::map<int, int>{{0, 1}}));
  EXPECT_EQ(bench.worker.HandleScanI2cReq(), 0);
  EXPECT_EQ(bench.reads.size(), 1u) << "nobody asked for a scan";
  bench.Ticks(59);
  EXPECT_EQ(bench.reads, (std::map<int, int>{{0, 1}, {1, 59}, {2, 19}, {3, 11}}));
  bench.Ticks(61);
  EXPECT_EQ(bench.reads, (std::map<int, int>{{0, 1}, {1, 120}, {2, 40}, {3, 24}, {4, 2}}));
}

TEST(Scan, LeavesDevicesAloneDuringATest) {
  ScanBench bench;
  bench.Add(1, 5, false);
  bench.Add(2, 5, true);
  ASSERT_EQ(bench.worker.Init(), 0);
  bench.Ticks(4);
  Msg::ghmp->testStart = true;
  bench.Ticks(11);
  EXPECT_EQ(bench.reads, (std::map<int, int>{{2, 3}}));
  Msg::ghmp->testStart = false;
  bench.Ticks(1);
  EXPECT_EQ(bench.reads, (std::map<int, int>{{1, 1}, {2, 3}})) << "its count has stood still";
}

TEST(Scan, ReportsFaultsAsSafetyFaults) {
  ScanBench bench;
  bench.Add(1, 0, true, -5);
  TestDev& second = bench.Add(2, 1, true, 7);
  ASSERT_EQ(bench.worker.Init(), 0);
  bench.worker.HandleScanI2cOnce();
  bench.Ticks(10);
  EXPECT_EQ(bench.reads[2], 10) << "a fault does not end the scan";
  auto record = Msg::safetyFault.Copy();
  EXPECT_EQ(record.len, 4);
  EXPECT_EQ(record.etlen, 1);
  EXPECT_EQ((std::vector<int>(record.errcode.begin(), record.errcode.begin() + 4)),
            (std::vector<int>{12802, 0x21, 1, 11}));

  Msg::safetyFault.Clear();
  bench.Ticks(1);
  EXPECT_EQ(Msg::safetyFault.Copy().errcode[1], 0x22);
  Msg::safetyFault.Clear();
  second.scan = nullptr;
  bench.Ticks(1);
  EXPECT_FALSE(Msg::safetyFault.CheckSafetyFault());
}

TEST(Scan, FollowsTheTick) {
  Board board;
  platform::Semaphore read;
  AddTestDev(1, 1, true).scan = [&] {
    read.Post();
    return 0;
  };
  AddTestDev(2, 999, true);
  Dev::I2cMgr manager("Test.I2cMgr", 0);
  ASSERT_EQ(manager.Init(i2c_test::kBareModule, 3, *Msg::ghmp), 0);
  I2cReq req = RequestTo(2);
  const auto settle = [&] {  // a request is served after the start, or a scan, that came before it
    EXPECT_EQ(manager.I2cWkrExecReq(&req), 1);
    EXPECT_EQ(manager.I2cWkrExecReq(&req), 1);
  };
  settle();
  for (int i = 0; i < 3; ++i) {
    board.machine.clock.Advance(seconds(1));
    read.Wait();
  }
  manager.StopScanner();
  board.machine.clock.Advance(seconds(3));
  settle();
  EXPECT_FALSE(read.TryWait());
  manager.StartScanner();
  manager.StartScanner();
  board.machine.clock.Advance(seconds(1));
  read.Wait();
  settle();
  EXPECT_FALSE(read.TryWait()) << "one tick, not two";
}

// --- Requests ---

struct RequestBench : Board {
  RequestBench() {
    ClearDevices();
    for (int num = 1; num <= 4; ++num) devices.push_back(&AddTestDev(num, 1, true));
  }
  void Start() { ASSERT_EQ(manager.Init(i2c_test::kBareModule, 3, *Msg::ghmp), 0); }
  int Wrapper(int num, char* buf, int len, int len2, I2cDev::Act act) {
    return manager.I2cWkrWrapper(1, Dev::MEAS_CH1, Dev::SPI_BRIDGE, num, buf, len, len2, act);
  }
  std::vector<TestDev*> devices;
  Dev::I2cMgr manager{"Test.I2cMgr", 0};
};

TEST(Wrapper, CopiesTheTransferredBytes) {
  RequestBench bench;
  bench.Start();
  char buf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  const auto bytes = [&] { return std::string(buf, sizeof buf); };
  EXPECT_EQ(bench.Wrapper(1, buf, 3, 0, I2cDev::do_write), 3);
  EXPECT_EQ(bytes(), "\1\2\3\4\5\6\7\x08");
  EXPECT_EQ(bench.Wrapper(1, buf, 5, 0, I2cDev::do_read), 5);
  EXPECT_EQ(bytes(), std::string("\1\2\3\0\0\6\7\x08", 8));
  EXPECT_EQ(bench.Wrapper(1, buf, 1, 4, I2cDev::do_wread), 4);
  EXPECT_EQ(bytes(), std::string("\1\0\0\0\0\6\7\x08", 8));

  bench.devices[0]->request = [](char*) { return -1; };
  EXPECT_EQ(bench.Wrapper(1, buf, 1, 4, I2cDev::do_wread), -1);
  EXPECT_EQ(bytes(), std::string("\1\0\0\0\0\6\7\x08", 8)) << "as before a transfer that failed";
}

TEST(Wrapper, RefusesBadLengths) {
  RequestBench bench;
  bench.Start();
  std::vector<char> buf(257, 'x');
  bench.bus.TakeLog();
  for (const auto& [len, len2] : {std::pair{-1, 0}, {257, 0}, {0, -1}, {1, 257}, {INT_MIN, 0}}) {
    for (const auto act : {I2cDev::do_read, I2cDev::do_write, I2cDev::do_wread}) {
      EXPECT_EQ(bench.Wrapper(1, buf.data(), len, len2, act), -1) << len << " " << len2;
    }
  }
  EXPECT_EQ(bench.Wrapper(9, buf.data(), 1, 1, I2cDev::do_wread), -1) << "no such device";
  EXPECT_EQ(bench.bus.TakeLog(), Log{});
  EXPECT_EQ(buf, std::vector<char>(257, 'x'));
  EXPECT_EQ(bench.Wrapper(1, buf.data(), 256, 256, I2cDev::do_wread), 256);
}

TEST(Requests, OfTheWorkersOwnThreadAreRefused) {
  RequestBench bench;
  std::atomic<int> inner = 0;
  I2cReq req = RequestTo(2);
  bench.devices[0]->request = [&](char*) {
    inner = bench.manager.I2cWkrExecReq(&req);
    return 5;
  };
  bench.Start();
  I2cReq outer = RequestTo(1);
  EXPECT_EQ(bench.manager.I2cWkrExecReq(&outer), 5);
  EXPECT_EQ(inner, -1);
  EXPECT_EQ(Board::Errors(kNotSerialized), 1);
  EXPECT_EQ(bench.manager.I2cWkrExecReq(&req), 1);
  EXPECT_EQ(Board::Errors(kNotSerialized), 1);
}

/// Tells when a request has been handed over.
class WatchedWkr : public Dev::I2cWkr {
 public:
  using I2cWkr::I2cWkr;
  ~WatchedWkr() override { EndThread(); }
  void PostWork() override {
    I2cWkr::PostWork();
    if (platform::Semaphore* told = posted) told->Post();
  }
  std::atomic<platform::Semaphore*> posted{nullptr};
};

TEST(Requests, AreServedBetweenTwoDevicesOfAScan) {
  Board board;
  platform::Semaphore posted;
  WatchedWkr worker{*Msg::ghmp};
  I2cReq req = RequestTo(3);
  Log order;  // of the worker's thread
  std::jthread caller;
  AddTestDev(1, 1, true).scan = [&] {
    worker.posted = &posted;
    caller = std::jthread([&] { worker.InstI2cReq(&req); });
    posted.Wait();
    worker.posted = nullptr;
    order.emplace_back("first");
    return 0;
  };
  platform::Semaphore done;
  AddTestDev(2, 1, true).scan = [&] {
    order.emplace_back("second");
    done.Post();
    return 0;
  };
  AddTestDev(3, 999, true).request = [&](char*) {
    order.emplace_back("request");
    return -1;
  };
  ASSERT_EQ(worker.Start(), 0);
  worker.HandleSigEvt();
  done.Wait();
  worker.EndThread();
  EXPECT_EQ(order, (Log{"first", "request", "second"}));
}

TEST(Requests, FailWhileATransferHangs) {
  Board board;
  platform::Semaphore lifted;
  std::atomic<int> requests = 0;
  AddTestDev(1, 999, true).request = [&](char*) {
    if (++requests == 1) lifted.Wait();
    return 3;
  };
  WatchedWkr worker{*Msg::ghmp};
  ASSERT_EQ(worker.Start(), 0);
  I2cReq req = RequestTo(1);
  EXPECT_EQ(worker.InstI2cReq(&req), -1);
  EXPECT_EQ(worker.InstI2cReq(&req), -1);
  EXPECT_EQ(requests, 1);
  lifted.Post();
  while (worker.InstI2cReq(&req) < 0) std::this_thread::yield();
  EXPECT_EQ(req._status, 3);
  worker.EndThread();
}

TEST(Requests, FailWhenTheWorkerEnds) {
  Board board;
  platform::Semaphore posted;
  platform::Semaphore go;
  AddTestDev(1, 0, true).scan = [&] {
    go.Wait();
    return 0;
  };
  WatchedWkr worker{*Msg::ghmp};
  worker.posted = &posted;
  I2cReq req = RequestTo(1);
  req._status = 5;
  EXPECT_EQ(worker.InstI2cReq(&req), -1) << "not started";
  ASSERT_EQ(worker.Start(), 0);
  std::atomic<int> status = 0;
  const std::jthread caller([&] { status = worker.InstI2cReq(&req); });
  posted.Wait();  // it waits, and the worker is still at its first device
  const std::jthread releaser([&] {
    while (worker.IsRunning()) std::this_thread::yield();
    go.Post();
  });
  worker.EndThread();
  EXPECT_EQ(worker.InstI2cReq(&req), -1);
  while (status == 0) std::this_thread::yield();
  EXPECT_EQ(status, -1);
  EXPECT_EQ(board.bus.TakeLog(), Log{});
}

TEST(Requests, OfManyThreadsStaySeparate) {
  RequestBench bench;
  std::atomic<int> scans{0};
  std::mutex threads_mutex;
  std::set<std::thread::id> bus_threads;
  bench.bus.observer = [&](const std::string&) {
    const std::lock_guard lock(threads_mutex);
    bus_threads.insert(std::this_thread::get_id());
  };
  for (TestDev* device : bench.devices) {
    device->scan = [&] { return ++scans < 0 ? 1 : 0; };
  }
  bench.Start();
  std::atomic<int> at_work{4};
  std::atomic<int> wrong{0};
  std::vector<std::jthread> callers;
  for (int num = 1; num <= 4; ++num) {
    callers.emplace_back([&, num] {
      for (int i = 0; i < 300; ++i) {
        char buf[2] = {static_cast<char>(num), static_cast<char>(i)};
        const std::string sent(buf, 2);
        wrong += bench.Wrapper(num, buf, 2, 0, I2cDev::do_write) == 2 ? 0 : 1;
        wrong += bench.Wrapper(num, buf, 2, 0, I2cDev::do_read) == 2 ? 0 : 1;
        wrong += std::string(buf, 2) == sent ? 0 : 1;
      }
      --at_work;
    });
  }
  while (at_work > 0 || scans == 0) {
    bench.manager.StopScanner();
    bench.manager.StartScanner();
    bench.machine.clock.Advance(seconds(1));
    bench.manager.SetNetworkCommInProgress(!bench.manager.GetNetworkCommInProgress());
    bench.manager.appndPerScanList();
  }
  bench.manager.End();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(bus_threads.size(), 1u);
  EXPECT_EQ(Board::Errors(kNotSerialized), 0);
}

}  // namespace
