// Requests from other programs.
#include "common/dev/i2c/bus/i2c_gateway.h"

#include <gtest/gtest.h>

#include <memory>

#include "common/dev/i2c/bus/i2c_mgr.h"
#include "libs/zmb/src/zmb_message.h"
#include "tests/common/dev/i2c/fake_bus.h"
#include "tests/libs/zmb/zmb_fixture.h"

namespace {

using Dev::I2cDev;
using Dev::I2cReq;
using i2c_test::Board;
using Log = std::vector<std::string>;

// A request on the wire: head, id, nbytes, optype, reg, three reserved words, data, checksum.
std::string Request(int id, int nbytes, int optype, int reg, const std::string& data = "") {
  std::string bytes = {1, 2, 0x50, 0, 22, 0};
  for (const int word : {id, nbytes, optype, reg, 0, 0, 0}) {
    bytes += static_cast<char>(word & 0xFF);
    bytes += static_cast<char>(word >> 8 & 0xFF);
  }
  bytes += data;
  bytes.resize(30);
  return bytes;
}

// The reply on the wire to one of those.
std::string Reply(int ack, int result, int data) {
  std::string bytes = {0, 0, '\xB0', '\xFF', 21, 0};
  for (const int byte : {ack, result, 0, data, 0}) bytes += static_cast<char>(byte);
  bytes.resize(27);
  unsigned sum = 0;
  for (const unsigned char byte : bytes) sum += byte;
  return bytes + static_cast<char>(sum & 0xFF) + static_cast<char>(sum >> 8);
}

TEST(Gateway, MakesTransfers) {
  const struct {
    std::string request;
    const char* key;
    int act;
    std::string out;
    int len2;
  } cases[] = {
      {Request(0, 0, 0, 0x3C), "2.13.14.1", I2cDev::do_wread, "\x98\x3C", 1},
      {Request(0, 1, 1, 0x3C, "\x77zz"), "2.13.14.1", I2cDev::do_write, "\x99\x3C\x77", 0},
      {Request(0, 2, 1, 0x3C, "\x77\x78"), "2.13.14.1", I2cDev::do_write, "\x77\x78", 0},
      // all of these are empty
      {Request(0, 9, 1, 0, "12345678"), "0.0.0.0", I2cDev::do_read, "", 0},
      {Request(0, -1, 1, 0), "0.0.0.0", I2cDev::do_read, "", 0},
      {Request(0, 1, 2, 0), "0.0.0.0", I2cDev::do_read, "", 0},
      {Request(0, 0, 0, 0x3C).substr(0, 29), "0.0.0.0", I2cDev::do_read, "", 0},
  };
  for (const auto& c : cases) {
    const I2cReq req = Dev::FillI2cReq(Dev::GatewayRequest(c.request));
    EXPECT_EQ(req._dev_info.Key(), c.key);
    EXPECT_EQ(int{req._act}, c.act);
    EXPECT_EQ(std::string(req._buf.data(), static_cast<std::size_t>(req._len)), c.out);
    EXPECT_EQ(req._len2, c.len2);
  }
}

std::string Handle(Dev::I2cMgr& manager, const std::string& request) {
  const int length = static_cast<int>(request.size());
  const std::unique_ptr<Common::ZmbMessage> msg(Common::ZmbMessage::Init(length, nullptr, true));
  if (length > 0) msg->SetPayload(request.data(), length);
  manager.Handle(msg.get());
  return zmb_test::PayloadOf(*msg);
}

TEST(Gateway, AnswersOverTheBus) {
  Board board;
  Board::ClearDevices();
  Dev::I2cMgr manager("Test.I2cMgr", 0);
  i2c_test::AddTestDev({._mid = 2,
                        ._aid = Dev::LV_SOURCE,
                        ._type = Dev::PSOC,
                        ._num = 1,
                        ._rate = 999,
                        ._bus = 2,
                        ._hmux = 4,
                        ._lmux = 4,
                        ._addr = 0x13});
  ASSERT_EQ(manager.Init(i2c_test::kBareModule, 3, *Msg::ghmp), 0);
  ASSERT_EQ(manager.Start(), 0);

  zmb_test::Peer tcp(ZMQ_DEALER);
  zmb_test::Peer ipc(ZMQ_DEALER);
  tcp.Connect("tcp://" + board.bus.HostAddress() + ":3100");
  ipc.Connect("ipc://" + board.machine.root.Path() + "/tmp/Test.I2cMgr.ipc");
  for (zmb_test::Peer* peer : {&tcp, &ipc}) {
    peer->Send({"", Request(0, 0, 0, 7)});
    EXPECT_EQ(peer->Recv(), (zmb_test::Frames{"", Reply(6, 0, 0x98)})) << "what was written last";
    EXPECT_EQ(board.bus.TakeLog(), (Log{"s2:13", "w2:13=9807", "r2:13*1"}));
  }
  EXPECT_EQ(Handle(manager, Request(0, 2, 1, 7, "\x77\x78")), Reply(6, 0, 0));
  EXPECT_EQ(board.bus.TakeLog(), (Log{"s2:13", "w2:13=7778"}));
}

TEST(Gateway, AnswersFailures) {
  Board board;
  Board::ClearDevices();
  Dev::I2cMgr manager("Test.I2cMgr", 0);
  const auto all = [&] {
    EXPECT_EQ(Handle(manager, Request(0, 0, 0, 7)), Reply(21, 1, 0)) << "no such device here";
    EXPECT_EQ(Handle(manager, Request(5, 0, 0, 7)), Reply(21, 1, 0));
    EXPECT_EQ(Handle(manager, Request(0, 0, 1, 7)), Reply(21, 1, 0));
    EXPECT_EQ(Handle(manager, Request(0, 0, 0, 7).substr(0, 4)), Reply(21, 1, 0));
    for (const std::string other : {"", "\x50", "\1\2\x51\0\0\0\0\0"}) {
      EXPECT_EQ(Handle(manager, other), other);
    }
  };
  all();  // without a worker
  ASSERT_EQ(manager.Init(i2c_test::kBareModule, 3, *Msg::ghmp), 0);
  all();
  EXPECT_EQ(board.bus.TakeLog(), Log{});
}

}  // namespace
