// Any payload must come back as a complete reply, also without a board.
#include <cassert>
#include <cstdint>
#include <memory>

#include "common/msg/state/hmp_data.h"
#include "mos/instrument/share_state.h"
#include "mos/meas_mgr.h"
#include "tests/common/msg/records/wire.h"
#include "tests/platform/bare_machine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, size_t size) {
  static platform::MachineInPlace<> machine;
  machine.clock.SetAutoAdvance(true);  // a handler's waits cost nothing
  static libconfig::Config config;
  Mos::ShareState(Msg::HMPData::GetHMPData(config, Msg::MEAS_MODULE));
  static Dev::I2cMgr i2c(nullptr, 0);
  static Mos::MeasMgr manager(i2c, nullptr, 0);

  // Half of the inputs get a right sum, so that the fuzzer reaches the handlers.
  std::string payload(reinterpret_cast<const char*>(data), size);
  if (size >= 9 && (data[size - 1] & 1) != 0) {
    payload.resize(size - 1);
    payload[4] = static_cast<char>((size - 9) & 0xFF);
    payload[5] = static_cast<char>((size - 9) >> 8 & 0x7F);
    unsigned sum = 0;
    for (size_t i = 0; i < size - 3; ++i) sum += static_cast<unsigned char>(payload[i]);
    payload[size - 3] = static_cast<char>(sum & 0xFF);
    payload[size - 2] = static_cast<char>(sum >> 8 & 0xFF);
  }
  std::unique_ptr<Common::ZmbMessage> message(
      Common::ZmbMessage::Init(static_cast<int>(payload.size()) + 1, nullptr, true));
  message->SetPayload(payload.data(), static_cast<int>(payload.size()));
  manager.Handle(message.get());

  int length = 0;
  const void* frame = message->GetPayload(length);
  const test::Bytes reply = test::BytesOf(frame, length);
  assert(reply.size() >= 9 && test::IsWhole(reply));
  assert(reply[6] == 6 || reply[6] == 21);
  return 0;
}
