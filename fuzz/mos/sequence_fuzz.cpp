// Any sequence of records on a board of its own: each gets a whole reply, and an ordinary test can
// be run afterwards.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "common/msg/records/hmp_opcodes.h"
#include "common/msg/records/major_codes.h"
#include "fuzz/children.h"
#include "tests/mos/daemon_bench.h"

namespace {

using test::Bytes;

constexpr std::size_t kLargestReply = 1178;
constexpr int kMostSteps = 32;
constexpr int kAttempts = 5;  // where a clock that jumps has let the ring overflow

// What an input does besides sending records.
enum Step : std::uint8_t {
  kRawRecord = 0xFF,  ///< a record as it is, header and sum too
  kTime = 0xFE,       ///< time passes, and what watches it looks
  kControl = 0xFD,    ///< a line of kControls
};

constexpr const char* kControls[] = {
    "set source.on 1",
    "set source.amplitude 100",
    "set source.amplitude 20000",
    "fault i2c.SIGNAL_HOST.SI5338 off",
    "fault i2c.MEAS_CH1.SC18IS602B off",
    "fault i2c.MEAS_CH2.SC18IS602B garbage",
    "fault fpga off",
    "fault fpga garbage",
    "fault samples off",
    "fault samples garbage",
    "fault i2c.SIGNAL_HOST.SI5338 ok",
    "fault i2c.MEAS_CH1.SC18IS602B ok",
    "fault i2c.MEAS_CH2.SC18IS602B ok",
    "fault fpga ok",
    "fault samples ok",
    "set source.on 0",
};
constexpr std::size_t kCalm = 10;  // the first line of those that bring the board back

void Expect(bool holds, const char* what, const Bytes& reply = {}) {
  if (holds) return;
  std::fprintf(stderr, "%s:", what);
  for (const int byte : reply) std::fprintf(stderr, " %02X", static_cast<unsigned>(byte));
  std::fprintf(stderr, "\n");
  std::abort();
}

/// An input, byte by byte; zeros behind it.
class Input {
 public:
  explicit Input(std::span<const std::uint8_t> bytes) : rest_(bytes) {}
  bool AtEnd() const { return rest_.empty(); }
  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  /// A count, and as many bytes as there are of them.
  Bytes Body() {
    const std::size_t size = std::min<std::size_t>(Byte(), rest_.size());
    const Bytes body(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(size));
    rest_ = rest_.subspan(size);
    return body;
  }

 private:
  std::span<const std::uint8_t> rest_;
};

class Daemon : public DaemonBench {
 public:
  explicit Daemon(const simulator::Config& config) : DaemonBench(config) {
    Mos::MeasMgr::SetInstance(&manager);
    Mos::MeasMgr::StartResults();
    Expect(Init() == 0, "no start");
  }

  void Do(Input& input) {
    const int step = input.Byte();
    if (step == kRawRecord) {
      Ask(input.Body());
    } else if (step == kTime) {
      Pass(std::chrono::milliseconds(100) * input.Byte());
    } else if (step == kControl) {
      Control(kControls[input.Byte() % std::size(kControls)]);
    } else {
      AskFor(step, input.Body());
    }
  }

  /// The end that every test has, and then a test like any other.
  void RunOrdinaryTest() {
    for (std::size_t i = kCalm; i < std::size(kControls); ++i) Control(kControls[i]);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      AskFor(0x07);
      AskFor(0x37);
      if (SetUpTest()) return;
      Expect(test::WordAt(reply, 11) == Msg::NAK_MCODE_MOS_ACQ_OVERFLOW, "refused", reply);
    }
    Expect(false, "refused again and again", reply);
  }

 private:
  /// True when the start is answered with an ACK; else `reply` is the first refusal.
  bool SetUpTest() {
    Msg::HmpIniTestParamReq set_up{};
    set_up.testype = Msg::TEST_HVVFPF;
    set_up.voltsrc = 0x1200;
    set_up.voltmax = 100;
    Msg::HmpUpdTestParamReq update{};
    update.volttarget = 100;
    update.curange = 1;
    update.frequency = 60;
    return Send(0x03, set_up) == Msg::HMP_ACK && Send(0x17, Msg::HmpTestRlyReq{}) == Msg::HMP_ACK &&
           Send(0x28, Msg::HmpLeadConfigReq{}) == Msg::HMP_ACK &&
           Send(0x04, update) == Msg::HMP_ACK && Send(0x05, Msg::HmpStartTestReq{}) == Msg::HMP_ACK;
  }

  /// A right record, as long as the catalogue wants it at least.
  void AskFor(int opcode, Bytes body = {}) {
    const Msg::Message* message = Msg::FindMessage(static_cast<std::int16_t>(opcode));
    if (message != nullptr && message->request != nullptr) {
      const auto whole = static_cast<std::size_t>(message->request->size - 8);
      body.resize(std::max(body.size(), whole));
    }
    Ask(test::WireRecord(opcode, body));
    Expect(test::WordAt(reply, 2) == -opcode, "another's reply", reply);
  }

  void Ask(const Bytes& record) {
    reply = AskManager(manager, record, result);
    Expect(reply.size() >= 9 && reply.size() <= kLargestReply, "size", reply);
    Expect(test::IsWhole(reply), "length or sum", reply);
    const int ack = reply.at(6);
    Expect(ack == Msg::HMP_ACK || ack == Msg::HMP_NAK || ack == Msg::HMP_ACK_IN_PROGRESS, "ack",
           reply);
  }

  void Pass(std::chrono::milliseconds time) {
    clock.Advance(time);
    manager.GetRecovery().AllokRecovery();
    manager.GetRecovery().TestMonitor();
    manager.GetRecovery().MessageMonitor();
  }
};

simulator::Config ConfigOf(int choice) {
  simulator::Config config;
  config.board_revision = static_cast<unsigned>(2 + (choice & 3));
  if ((choice & 4) != 0) config.cpld[0].id = simulator::CpldId::k0985;
  if ((choice & 8) != 0) config.cpld[1].id = simulator::CpldId::k0985;
  return config;
}

void RunSteps(std::span<const std::uint8_t> bytes) {
  testing::FLAGS_gtest_break_on_failure = true;
  Input input(bytes);
  auto& daemon = *new Daemon(ConfigOf(input.Byte()));  // ends with the process
  for (int i = 0; i < kMostSteps && !input.AtEnd(); ++i) daemon.Do(input);
  daemon.RunOrdinaryTest();
}

fuzz::Children& TheChildren() {
  static fuzz::Children children(RunSteps);
  return children;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  TheChildren();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TheChildren().Run({data, size});
  return 0;
}
