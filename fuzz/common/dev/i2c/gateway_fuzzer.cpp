// Whatever comes in, the transfer stays within its buffers, and a gateway request gets a whole
// reply.
#include <cassert>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "common/dev/i2c/bus/i2c_gateway.h"
#include "common/dev/i2c/bus/i2c_mgr.h"
#include "libs/zmb/src/zmb_message.h"
#include "tests/platform/bare_machine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  static platform::MachineInPlace<> machine;
  static Dev::I2cMgr manager("Fuzz.I2cMgr", 0);
  const std::string sent(reinterpret_cast<const char*>(data), size);

  const Msg::HmpI2cGatewayReq request = Dev::GatewayRequest(sent);
  const Dev::I2cReq req = Dev::FillI2cReq(request);
  assert(req._len >= 0 && req._len <= 8);
  assert(req._len2 >= 0 && req._len2 <= 1);
  assert(size >= sizeof request || req._len == 0);

  const std::unique_ptr<Common::ZmbMessage> msg(
      Common::ZmbMessage::Init(static_cast<int>(size), nullptr, true));
  if (size > 0) msg->SetPayload(data, static_cast<int>(size));
  manager.Handle(msg.get());
  int length = 0;
  const auto* reply = static_cast<const char*>(msg->GetPayload(length));
  if (request.opcode != 0x50) {
    assert(std::string(reply, static_cast<size_t>(length)) == sent);
    return 0;
  }
  assert(length == 29 && reply[4] == 21 && reply[5] == 0 && reply[7] == 1);
  unsigned sum = 0;
  for (int i = 0; i < 27; ++i) sum += static_cast<unsigned char>(reply[i]);
  assert(static_cast<char>(sum & 0xFF) == reply[27] && static_cast<char>(sum >> 8) == reply[28]);
  return 0;
}
