#include "common/dev/i2c/bus/i2c_mgr.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <optional>
#include <span>

#include "common/dev/i2c/bus/i2c_gateway.h"
#include "common/dev/i2c/bus/i2c_mux.h"
#include "common/dev/i2c/bus/i2c_wkr.h"
#include "common/log/log_line.h"
#include "common/msg/records/hmp_opcodes.h"

namespace Dev {

namespace {

constexpr short kGatewayPort = 3100;

bool FitsBuffer(int len) { return len >= 0 && len <= I2cReq::kBytes; }

/// The first `len` bytes of `buf`, as far as it has them.
std::span<char> First(char* buf, int len) { return {buf, static_cast<std::size_t>(len)}; }

/// What a transfer brought, zeros behind it; `count` is the transfer's own and not trusted.
void CopyOut(const std::array<char, I2cReq::kBytes>& bytes, int count, std::span<char> out) {
  std::ranges::fill(out, '\0');
  std::copy_n(bytes.begin(), std::min(static_cast<std::size_t>(count), out.size()), out.begin());
}

}  // namespace

I2cMgr& I2cMgr::CreateI2cMgr(const char* zid, std::uint16_t port) {
  static I2cMgr manager(zid, port);
  return manager;
}

I2cMgr::I2cMgr(const char* zid, std::uint16_t port) {
  if (zid != nullptr) SetZid(zid);
  if (port != 0) SetDefFeTcpPort(static_cast<short>(port));
}

I2cMgr::~I2cMgr() { End(); }

int I2cMgr::Init() { return ZmbSimpleWorker::Init(); }

int I2cMgr::Init(int mid, int rev, Msg::HMPData& state) {
  if (Init() < 0) return -1;
  Q5_LOG_INFO(i2cmainL, "Loading the i2c muxs\n");
  I2cMux::LoadI2cMuxs(mid, rev);
  I2cDev::LoadI2cDevices(mid, rev, state);
  Q5_LOG_INFO(i2cmainL, "Loading the i2c devices done\n");
  const auto wkr = std::make_shared<I2cWkr>(state, this);
  {
    const platform::Lock lock(wkr_mutex_);
    _i2c_wkr = wkr;
  }
  return wkr->Init() == 0 && wkr->Start() == 0 ? 0 : -1;
}

void I2cMgr::End() {
  EndThread();
  if (const auto wkr = Wkr()) I2cMgr::DestroyWorker(wkr.get());
}

void I2cMgr::DestroyWorker(Worker::ZmbWorker* worker) {
  Q5_LOG_INFO(i2cmainL, "<I2cMgr func=DestroyWorker/>\n");
  // Callers that hold it are released by the end of its thread; the last of them deletes it.
  const auto wkr = Wkr();
  assert(worker == wkr.get());
  wkr->EndThread();
  const platform::Lock lock(wkr_mutex_);
  _i2c_wkr.reset();
}

std::shared_ptr<I2cWkr> I2cMgr::Wkr() const {
  const platform::Lock lock(wkr_mutex_);
  return _i2c_wkr;
}

// --- Requests ---

int I2cMgr::I2cWkrExecReq(I2cReq* req) {
  const auto wkr = Wkr();
  const bool running = wkr != nullptr && wkr->IsRunning();
  if (running) return wkr->InstI2cReq(req);
  Q5_LOG_ERROR(i2cmainL, "<panic func=I2cMgr.I2cWkrExecReq wkr=invalid  />_i2c_wkr=%p_running=%d\n",
               static_cast<const void*>(wkr.get()), running);
  return req->_status = -1;
}

int I2cMgr::I2cWkrWrapper(int mid, int aid, int type, int num, char* buf, int len, int len2,
                          I2cDev::Act act) {
  if (!FitsBuffer(len) || !FitsBuffer(len2)) {
    Q5_LOG_ERROR(i2cmainL, "<warn func=I2cMgr.I2cWkrWrapper err=bad-len key=%s len=%d len2=%d/>\n",
                 DeviceKey(mid, aid, type, num).c_str(), len, len2);
    return -1;
  }
  I2cReq req;
  req._dev_info._mid = mid;
  req._dev_info._aid = aid;
  req._dev_info._type = type;
  req._dev_info._num = num;
  req._act = act;
  req._len = len;
  req._len2 = len2;
  if (act == I2cDev::do_read) std::ranges::fill(First(buf, len), '\0');
  if (act == I2cDev::do_write || act == I2cDev::do_wread) {
    std::ranges::copy(First(buf, len), req._buf.begin());
  }

  const int status = I2cWkrExecReq(&req);
  if (status >= 0 && act == I2cDev::do_read) CopyOut(req._buf, status, First(buf, len));
  if (status >= 0 && act == I2cDev::do_wread) CopyOut(req._buf2, status, First(buf, len2));
  if (const I2cDev* device = I2cDev::GetDevice(req._dev_info.Key())) {
    Q5_LOG_DEBUG(i2cmainL, "resultlen %d rev %d\n", status, device->GetRevision());
  } else {
    Q5_LOG_WARNING(i2cmainL, "I2CDEV NULL \n");
  }
  return status;
}

// --- Scanner and device table ---

void I2cMgr::StartScanner() {
  if (const auto wkr = Wkr()) wkr->StartScanner();
}

void I2cMgr::StopScanner() {
  if (const auto wkr = Wkr()) wkr->StopScanner();
}

void I2cMgr::appndDevTbl(int mid, int rev) {
  const auto wkr = Wkr();
  std::optional<I2cWkr::NoTransfers> quiet;
  if (wkr != nullptr) quiet.emplace(*wkr);
  I2cDev::appndDevTbl(mid, rev);
}

void I2cMgr::appndPerScanList() {
  if (const auto wkr = Wkr()) wkr->appndPerScanList();
}

bool I2cMgr::GetNetworkCommInProgress() {
  const auto wkr = Wkr();
  return wkr != nullptr && wkr->GetNetworkCommInProgress();
}

void I2cMgr::SetNetworkCommInProgress(bool busy) {
  if (const auto wkr = Wkr()) wkr->SetNetworkCommInProgress(busy);
}

// --- Gateway ---

void I2cMgr::SetFeUris() {
  AddFeTcpLink(kGatewayPort);
  AddFeIpcLink("/tmp/" + GetZidStr() + ".ipc");
}

int I2cMgr::Handle(Common::ZmbMessage* msg) {
  const auto [data, size] = msg->GetPayload();
  const Msg::HmpI2cGatewayReq request =
      GatewayRequest({static_cast<const char*>(data), static_cast<std::size_t>(size)});
  I2cReq req;
  if (request.opcode == Msg::HMP_I2C_GATEWAY) {
    req = FillI2cReq(request);
  } else {
    Q5_LOG_WARNING(i2cmainL, "log 22 opcode 0x%x \n", request.opcode & 0xFFFFu);
  }
  const int status = I2cWkrExecReq(&req);
  if (request.opcode == Msg::HMP_I2C_GATEWAY) {
    const Msg::HmpI2cGatewayRep reply = GatewayReply(request, req);
    msg->SetPayload(&reply, sizeof reply);
  }
  return status;
}

}  // namespace Dev
