// From the send of a message between modules to its reaction in zpubsub, beside a bare ZeroMQ
// subscriber to the same publisher. Both hear every message; medians of the same run.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "common/zpubsub/records/socket_plan.h"
#include "common/zpubsub/zpubsub.h"
#include "tests/common/zpubsub/module_net.h"

namespace {

using Clock = std::chrono::steady_clock;
using IMSG::IntPubSubMsg;

constexpr int kMessages = 20000;

std::int64_t Now() { return Clock::now().time_since_epoch().count(); }

double MedianMicroseconds(std::vector<std::int64_t> times) {
  std::nth_element(times.begin(), times.begin() + kMessages / 2, times.end());
  return static_cast<double>(times[kMessages / 2]) / 1000;
}

/// Receives in a loop of its own, as plain as it can be.
class BareSubscriber {
 public:
  explicit BareSubscriber(const std::string& url) : context_(zmq_ctx_new()) {
    socket_ = zmq_socket(context_, ZMQ_SUB);
    zmq_setsockopt(socket_, ZMQ_SUBSCRIBE, "", 0);
    zmq_connect(socket_, url.c_str());
    thread_ = std::thread([this] {
      IntPubSubMsg message;
      zmq_pollitem_t item{socket_, 0, ZMQ_POLLIN, 0};
      while (zmq_poll(&item, 1, -1) >= 0) {
        if (zmq_recv(socket_, &message, sizeof message, ZMQ_DONTWAIT) > 0) heard = Now();
      }
    });
  }
  ~BareSubscriber() {
    zmq_ctx_shutdown(context_);
    thread_.join();
    zmq_close(socket_);
    zmq_ctx_term(context_);
  }
  std::atomic<std::int64_t> heard{0};

 private:
  void* context_;
  void* socket_;
  std::thread thread_;
};

}  // namespace

int main() {
  const platform::MachineInPlace<test::ModuleNet> machine;
  const auto context = Common::zmb_api::OpenContext();
  auto publisher = Common::zmb_api::OpenSocket(context.get(), ZMQ_PUB);
  const std::string url = "tcp://" + test::NetAddress(53) + ":" + std::to_string(IMSG::kSourcePort);
  if (Common::zmb_api::Bind(publisher.get(), url.c_str()) != 0) return 1;
  std::atomic<std::int64_t> reacted{0};
  const auto own_context = Common::zmb_api::OpenContext();
  IMSG::zpubsub messages;
  messages.On(IMSG::CHANEVENTMSG, [&](const IntPubSubMsg&) { reacted = Now(); });
  const auto addresses = [] {
    return IMSG::ModuleAddresses{test::NetAddress(51), test::NetAddress(52), test::NetAddress(53)};
  };
  if (messages.Init(own_context.get(), 1, addresses) < 0 || messages.Start() < 0) return 1;
  BareSubscriber bare(url);

  auto message = IntPubSubMsg::Make(IMSG::CHANEVENTMSG, 2);
  message.DoChkSum();
  const auto send = [&] {
    const std::int64_t sent = Now();
    zmq_send(publisher.get(), &message, sizeof message, 0);
    return sent;
  };
  while (reacted == 0 || bare.heard == 0) {  // until both are connected
    send();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  std::vector<std::int64_t> through;
  std::vector<std::int64_t> plain;
  for (int i = 0; i < kMessages; ++i) {
    const std::int64_t sent = send();
    while (reacted < sent || bare.heard < sent) std::this_thread::yield();
    through.push_back(reacted - sent);
    plain.push_back(bare.heard - sent);
  }
  const double ours = MedianMicroseconds(std::move(through));
  const double rival = MedianMicroseconds(std::move(plain));
  std::printf("reaction %.1f us, bare subscriber %.1f us, ratio %.2f\n", ours, rival, ours / rival);
  messages.End();
  return 0;
}
