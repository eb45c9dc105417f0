#include "common/dev/i2c/bus/i2c_wkr.h"

#include <chrono>
#include <optional>

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/i2c_bus.h"
#include "common/dev/i2c/bus/set_safety.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "platform/backend.h"
#include "platform/guarded.h"
#include "platform/look_for.h"
#include "platform/timed_calls.h"

namespace Dev {

using Logger::kDebug;

namespace {

constexpr int kBusRetries = 10;  // of the adapter, for a chip that does not answer

// Longer than any transfer of a healthy bus, and short beside the host's patience.
constexpr platform::Nanoseconds kLimit = std::chrono::seconds(2);

}  // namespace

I2cWkr::~I2cWkr() {
  EndThread();
  StopScanner();
  for (const int fd : {_i2cfd1, _i2cfd2}) {
    if (fd >= 0) platform::Machine().Close(fd);
  }
}

// --- Start ---

int I2cWkr::Init() {
  if (_hasInit) return 0;
  if (ZmbSimplePublisher::Init() != 0) return -1;
  OpenBuses();
  InitScanLists();
  return 0;
}

int I2cWkr::init_i2c(int bus) {
  const int fd = OpenBus(bus);
  if (fd < 0) {
    Q5_LOG_ERROR(i2cmainL, "Error while opening i2c device %s\n", BusDevice(bus));
    return -1;
  }
  if (SetRetries(fd, kBusRetries) < 0) {
    Q5_LOG_ERROR(i2cmainL, "Error while setting i2c driver retries for device %s\n",
                 BusDevice(bus));
  }
  return fd;
}

void I2cWkr::OpenBuses() {
  _i2cfd1 = init_i2c(1);
  _i2cfd2 = init_i2c(2);
}

void I2cWkr::SetDeviceFd(I2cDev& device) const {
  device.SetFd(device.GetBus() == 1 ? _i2cfd1 : _i2cfd2);
}

void I2cWkr::InitScanLists() {
  const std::lock_guard lock(scan_mutex_);
  for (const auto& [key, device] : I2cDev::GetDevices()) {
    SetDeviceFd(*device);
    const std::optional<I2cJob> job = I2cJob::For(*device);
    if (job) (job->IsPeriodic() ? _periodic_list : _one_time_list).push_back(*job);
  }
}

I2cWkr::NoTransfers::NoTransfers(I2cWkr& worker)
    : requests_(worker._i2c_req_mutex), scan_(worker.scan_mutex_) {}

void I2cWkr::appndPerScanList() {
  const NoTransfers quiet(*this);
  for (const auto& [key, device] : I2cDev::GetDevices()) {
    SetDeviceFd(*device);
    if (device->GetId() != kChannelSensorId) continue;
    if (const std::optional<I2cJob> job = I2cJob::For(*device)) _periodic_list.push_back(*job);
  }
}

// --- The thread ---

void I2cWkr::Run() {
  runner_ = std::this_thread::get_id();
  StartScanner();
  HandleScanI2cOnce();
  while (_running) {
    WaitWork();
    if (!_running) break;
    HandleInstI2cReq();
    HandleScanI2cReq();
    platform::LookFor([this] { return _do_req.load(); });
  }
  StopScanner();
  RefuseWaiting();
  runner_ = std::thread::id();
  Stop();  // the worker may be gone after it
}

// Whoever hands a request over from now on sees that the worker no longer runs.
void I2cWkr::RefuseWaiting() {
  if (const auto handover = TakeRequest()) {
    handover->request._status = -1;
    GiveBack(*handover);
  }
}

// --- Scanner ---

void I2cWkr::StartTimer(int seconds) {
  const platform::Lock lock(timer_mutex_);
  ticker_.reset();
  ticker_ = platform::Machine().Clock().StartTicks(std::chrono::seconds(seconds),
                                                   [this] { HandleSigEvt(); });
  period_ = ticker_ != nullptr ? seconds : 0;
  if (ticker_ != nullptr) return;
  Q5_LOG_ERROR(i2cmainL, "<panic func=I2cWkr.StartTimer timer_create=failed/>\n");
}

void I2cWkr::StopScanner() {
  const platform::Lock lock(timer_mutex_);
  ticker_.reset();
  period_ = 0;
  _do_scan = false;
}

void I2cWkr::HandleSigEvt() {
  _do_scan = true;
  PostWork();
}

void I2cWkr::HandleScanI2cOnce() {
  const std::lock_guard lock(scan_mutex_);
  for (const I2cJob& job : _one_time_list) {
    int result = -1;
    platform::Guarded("I2cWkr.HandleScanI2cOnce", [&] { result = job.Device().Read(); });
    if (result != 0) SetSafety(result, &job.Device());
  }
}

int I2cWkr::HandleScanI2cReq() {
  if (!_do_scan.exchange(false)) return 0;
  Q5_LOG_DEBUG(i2cmainL, "<I2cWkr func=HandleScanI2cReq wake=%d sec>\n", period_.load());
  const std::lock_guard lock(scan_mutex_);
  for (I2cJob& job : _periodic_list) {
    if (state_.testStart && !job.GetScanReq()) continue;
    if (ScanJob(job) < 0) return -1;
    if (HandleInstI2cReq() < 0) {
      Q5_LOG_DEBUG(i2cmainL, "INSTANT I2C REQ FAILED IN SCANLOOP, BUT CONTINUING SCANNING\n");
    }
  }
  return 0;
}

int I2cWkr::ScanJob(I2cJob& job) {
  if (!job.CountDown()) return 0;
  if (_i2crunning.exchange(true)) return Refuse("Scanner:I2c transaction still running \n");
  int result = -1;
  platform::Guarded("I2cWkr.ScanJob", [&] { result = job.Device().Read(); });
  EndTransfer();
  if (result != 0) SetSafety(result, &job.Device());
  return 0;
}

// Whoever gives up sees either the transfer or its end.
void I2cWkr::EndTransfer() {
  const platform::Lock lock(handover_mutex_);
  _i2crunning = false;
  held_up_ = false;
}

int I2cWkr::Refuse(const char* text) {
  Q5_LOG_ERROR(i2cmainL, "%s", text);
  state_.SetErrorCode(Msg::NAK_MCODE_I2CNOTSERIALIZED);
  return -1;
}

// --- Requests ---

int I2cWkr::InstI2cReq(I2cReq* req) {
  if (runner_.load() == std::this_thread::get_id()) return ExecI2cReq(req);
  const std::lock_guard one_caller(_i2c_req_mutex);
  const auto limit = platform::TimeBudget::Left(kLimit);
  if (limit <= platform::Nanoseconds::zero() || held_up_) return req->_status = -1;
  const auto handover = std::make_shared<Handover>();
  handover->request = *req;
  platform::Lock lock(handover_mutex_);
  if (!_running) return req->_status = -1;
  _i2c_req = handover;
  _do_req = true;
  lock.Unlock();
  PostWork();
  platform::LookFor([&] { return handover->served.load(); });
  lock.Relock();
  if (served_.wait_for(lock, limit, [&] { return handover->served.load(); })) {
    *req = handover->request;
    return req->_status;
  }
  _i2c_req.reset();
  _do_req = false;
  held_up_ = _i2crunning.load();
  lock.Unlock();
  Q5_LOG_ERROR(i2cmainL, "I2C device %s: no answer within %.1f s\n", req->_dev_info.Key().c_str(),
               std::chrono::duration<double>(limit).count());
  return req->_status = -1;
}

std::shared_ptr<I2cWkr::Handover> I2cWkr::TakeRequest() {
  const platform::Lock lock(handover_mutex_);
  _do_req = false;
  return std::move(_i2c_req);
}

void I2cWkr::GiveBack(Handover& handover) {
  {
    const platform::Lock lock(handover_mutex_);
    handover.served = true;
  }
  served_.notify_one();
}

int I2cWkr::HandleInstI2cReq() {
  if (!_do_req) return 0;
  const auto handover = TakeRequest();
  if (handover == nullptr) return 0;
  Q5_LOG_DEBUG(i2cmainL, "<I2cWkr func=HandleInstI2cReq recv=instant-req/>\n");
  const int status = ExecI2cReq(&handover->request);
  GiveBack(*handover);
  return status;
}

int I2cWkr::ExecI2cReq(I2cReq* req) {
  const std::string key = req->_dev_info.Key();
  I2cDev* device = I2cDev::GetDevice(key);
  req->_status = -1;
  if (_i2crunning.exchange(true)) return Refuse("I2c transaction still running \n");
  if (device != nullptr) {
    const auto transfer = device->DoesOriginal() ? &I2cDev::DoReqOriginal : &I2cDev::DoReq;
    platform::Guarded("I2cWkr.ExecI2cReq", [&] {
      req->_status = (device->*transfer)(req->_buf.data(), req->_len, req->_buf2.data(), req->_len2,
                                         req->_act);
    });
  } else {
    Q5_LOG_WARNING(i2cmainL, "<warn func=I2cWkr.ExecI2cReq err=bad-dev key=%s/>\n", key.c_str());
  }
  req->Show(kDebug);
  EndTransfer();
  return req->_status;
}

// --- Network flag ---

bool I2cWkr::GetNetworkCommInProgress() {
  const platform::Lock lock(_nwcommlock);
  return _nwcomm;
}

void I2cWkr::SetNetworkCommInProgress(bool busy) {
  const platform::Lock lock(_nwcommlock);
  _nwcomm = busy;
}

}  // namespace Dev
