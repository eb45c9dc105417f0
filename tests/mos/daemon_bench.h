// The daemon's objects on the virtual board in process, up to MeasMgr::Init, and requests to them.
#pragma once

#include <memory>

#include "mos/meas_mgr.h"
#include "simulator/root_dir.h"
#include "tests/common/dev/i2c/board_machine.h"
#include "tests/common/msg/records/wire.h"

/// Serves one record; the reply, and the handler's result.
inline test::Bytes AskManager(Mos::MeasMgr& manager, const test::Bytes& payload, int& result) {
  std::unique_ptr<Common::ZmbMessage> message(
      Common::ZmbMessage::Init(static_cast<int>(payload.size()) + 1, nullptr, true));
  message->SetPayload(payload.data(), static_cast<int>(payload.size()));
  result = manager.Handle(message.get());
  int size = 0;
  const auto* data = static_cast<const unsigned char*>(message->GetPayload(size));
  return test::Bytes(data, data + size);
}

class DaemonBench : public BoardMachine {
 protected:
  explicit DaemonBench(const simulator::Config& its_config = {}) : BoardMachine(its_config) {
    EXPECT_EQ(root_dir.Claim(root.Path()), "");
    EXPECT_EQ(root_dir.WriteFiles(config), "");
  }
  int Init() {
    const auto revision = static_cast<int>(config.board_revision);
    manager.SetRevision(revision);
    return manager.Init(revision);
  }
  /// As main does when all else is done.
  void Ready() { manager.GetAllok().Withdraw(Dev::AllokLine::kNotReady); }
  std::string Register(const std::string& name) { return Control("get fpga." + name); }

  /// The whole record `request`, its header and sum made right; -1 and the NAK's first code behind
  /// the module's for a refusal, else the ack.
  template <class Request>
  int Send(int opcode, Request request) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&request);
    reply = AskManager(manager, test::WireRecord(opcode, {bytes + 6, bytes + sizeof request - 2}),
                       result);
    return reply.at(6) == 21 ? -test::WordAt(reply, 11) : reply.at(6);
  }

  simulator::RootDir root_dir;
  Mos::MeasMgr manager{i2c, "Test.MeasMgr", 0};
  test::Bytes reply;
  int result = 0;
};
