// Any bytes as what another module publishes: only a frame of a message's length with a known id
// reaches the daemon, with the bytes as they came.
#include <cstdlib>
#include <cstring>

#include "common/zpubsub/zpubsub.h"

namespace {

using IMSG::IntPubSubMsg;

void Expect(bool holds) {
  if (!holds) std::abort();
}

/// A subscriber that takes every message, and keeps the last.
class Subscriber {
 public:
  Subscriber() {
    for (int id = IMSG::kFirstMessage; id <= IMSG::kLastMessage; ++id) {
      messages_.On(static_cast<IMSG::MessageId>(id), [this](const IntPubSubMsg& message) {
        last_ = message;
        ++taken_;
      });
    }
  }
  void Take(std::span<const std::uint8_t> frame) {
    const int before = taken_;
    messages_.Take(frame);
    std::int32_t id = 0;
    const bool whole = frame.size() == sizeof last_;
    if (whole) std::memcpy(&id, frame.data() + sizeof(Msg::HmpMsgHead), sizeof id);
    const bool known = whole && id >= IMSG::kFirstMessage && id <= IMSG::kLastMessage;
    Expect(taken_ == before + (known ? 1 : 0));
    if (!known) return;
    Expect(std::memcmp(&last_, frame.data(), frame.size()) == 0);
    if (id == IMSG::MOSACKMSG) Expect(messages_.relayack == (last_.relayAck != 0));
    static_cast<void>(ValueOf(last_.GetFrequency()));
  }

 private:
  IMSG::zpubsub messages_;
  IntPubSubMsg last_{};
  int taken_ = 0;
};

}  // namespace

// The first byte, where it is an id, goes where a message has it: else hardly a known one comes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Subscriber subscriber;
  std::vector<std::uint8_t> frame(bytes, bytes + size);
  subscriber.Take(frame);
  if (size < sizeof(IntPubSubMsg)) return 0;
  frame.resize(sizeof(IntPubSubMsg));
  const std::int32_t id = frame[0];
  std::memcpy(frame.data() + sizeof(Msg::HmpMsgHead), &id, sizeof id);
  subscriber.Take(frame);
  return 0;
}
