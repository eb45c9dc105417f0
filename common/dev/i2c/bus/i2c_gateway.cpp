#include "common/dev/i2c/bus/i2c_gateway.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "common/msg/records/module_id.h"

namespace Dev {
namespace {

constexpr int kRead = 0;
constexpr int kWrite = 1;
constexpr std::int16_t kNoOperation = -1;

// Commands of the power stage.
constexpr char kReadRegister = '\x98';
constexpr char kWriteRegister = '\x99';

constexpr std::int16_t kDone = 0;
constexpr std::int16_t kFailed = 1;

struct GatewayDevice {
  int id;
  int mid, aid, type, num;
};
constexpr GatewayDevice kDevices[] = {{0, Msg::SOURCE_MODULE, LV_SOURCE, PSOC, 1}};

bool FillI2cTuple(int id, I2cDevInfo& info) {
  const auto* device = std::ranges::find(kDevices, id, &GatewayDevice::id);
  if (device == std::end(kDevices)) return false;
  info._mid = device->mid;
  info._aid = device->aid;
  info._type = device->type;
  info._num = device->num;
  return true;
}

void FillBytes(I2cReq& req, std::span<const char> bytes) {
  std::ranges::copy(bytes, req._buf.begin());
  req._len = static_cast<int>(bytes.size());
}

/// False for an unknown operation.
bool FillTransfer(const Msg::HmpI2cGatewayReq& request, I2cReq& req) {
  const char reg = static_cast<char>(request.reg);
  const int count = request.nbytes;
  if (request.optype == kRead) {
    const char bytes[] = {kReadRegister, reg};
    FillBytes(req, bytes);
    req._len2 = 1;
    req._act = I2cDev::do_wread;
    return true;
  }
  if (request.optype != kWrite || count < 1 || count > int{sizeof request.data}) return false;
  req._act = I2cDev::do_write;
  if (count == 1) {
    const char bytes[] = {kWriteRegister, reg, request.data[0]};
    FillBytes(req, bytes);
  } else {
    FillBytes(req, std::span(request.data).first(static_cast<std::size_t>(count)));
  }
  return true;
}

}  // namespace

I2cReq FillI2cReq(const Msg::HmpI2cGatewayReq& request) {
  I2cReq req;
  if (FillI2cTuple(request.id, req._dev_info) && FillTransfer(request, req)) return req;
  return {};
}

Msg::HmpI2cGatewayReq GatewayRequest(std::span<const char> payload) {
  Msg::HmpI2cGatewayReq request{};
  // of a short record only the head counts
  const std::size_t used =
      payload.size() < sizeof request ? sizeof(Msg::HmpMsgHead) : sizeof request;
  std::ranges::copy(payload.first(std::min(used, payload.size())), request.GetData());
  if (used < sizeof request) request.optype = kNoOperation;
  return request;
}

Msg::HmpI2cGatewayRep GatewayReply(const Msg::HmpI2cGatewayReq& request, const I2cReq& done) {
  Msg::HmpI2cGatewayRep reply{};
  reply.opcode = request.opcode;
  const bool worked = done._status >= 0;
  reply.result = worked ? kDone : kFailed;
  if (worked) reply.data = static_cast<unsigned char>(done._buf2[0]);
  constexpr int kPayload = sizeof reply - Msg::kFrameOverhead;
  reply.SetReply(kPayload, worked ? Msg::HMP_ACK : Msg::HMP_NAK);
  return reply;
}

}  // namespace Dev
