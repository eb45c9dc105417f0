#include "common/zpubsub/zpubsub.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "common/log/eventlog.h"
#include "common/log/log_limit.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/zpubsub/records/socket_plan.h"
#include "common/zpubsub/resource_log.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace IMSG {

using Logger::kError;
using Logger::kNotice;

namespace {

constexpr int kAddressTries = 60;
constexpr auto kAddressPeriod = std::chrono::seconds(1);

void CaptureAddresses(int tries, int module, const ModuleAddresses& found) {
  const int level = found.Complete() ? Logger::kInfo : kError;
  Logger::eventlog* log = Logger::eventlog::GetEventLog("moseventlog");
  if (!found.Complete()) log->CaptureEvent(level, Logger::IPNULL, nullptr);
  Logger::evaddresses_t event{.addresses = {}, .tries = tries, .module = module};
  found.main.copy(event.addresses[0], sizeof event.addresses[0] - 1);
  found.meas.copy(event.addresses[1], sizeof event.addresses[1] - 1);
  found.source.copy(event.addresses[2], sizeof event.addresses[2] - 1);
  log->CaptureEvent(level, Logger::MODULEIPS, &event);
}

/// How long what subscribers leave behind may grow.
constexpr int kTendPeriodMs = 100;
constexpr int kOwnPorts[] = {kMainPort, kMeasPort, kSourcePort};  // by MODULE_ID

}  // namespace

zpubsub& zpubsub::GetZPubSub() {
  static zpubsub instance;
  return instance;
}

int zpubsub::Init(void* ctx, int module, const std::function<ModuleAddresses()>& addresses) {
  if (module < Msg::MAIN_MODULE || module > Msg::SOURCE_MODULE) return -1;
  module_ = module;
  if (Publish(ctx) < 0) return -1;
  Subscribe(ctx, AwaitAddresses(addresses));
  return 0;
}

ModuleAddresses zpubsub::AwaitAddresses(const std::function<ModuleAddresses()>& addresses) const {
  ModuleAddresses found = addresses();
  const auto log = [&found](const char* text) {
    Q5_LOG_NOTICE(zpubsubL, "%s mainip %s measip %s srcip %s \n", text, found.main.c_str(),
                  found.meas.c_str(), found.source.c_str());
  };
  log("");
  int tries = 0;
  for (; tries < kAddressTries && !found.Complete(); ++tries) {
    Q5_LOG_WARNING(zpubsubL, "Error: %d ONE OR MORE IP IS NULL mainip %s measip %s srcip %s \n",
                   tries, found.main.c_str(), found.meas.c_str(), found.source.c_str());
    platform::Machine().Clock().SleepFor(kAddressPeriod);
    found = addresses();
  }
  log("zpubsub initialized");
  CaptureAddresses(tries, module_, found);
  return found;
}

int zpubsub::Publish(void* ctx) {
  const std::string end_point =
      "tcp://" + platform::Machine().ListenHost() + ":" + std::to_string(kOwnPorts[module_]);
  auto socket = Common::zmb_api::OpenSocket(ctx, ZMQ_PUB);
  if (!socket || Common::zmb_api::Bind(socket.get(), end_point.c_str()) != 0) {
    Q5_LOG_ERROR(zpubsubL, "meas pub %s: %s\n", end_point.c_str(), zmq_strerror(errno));
    return -1;
  }
  Q5_LOG_NOTICE(zpubsubL, "meas pub %p \n", socket.get());
  const platform::Lock lock(publisher_mutex_);
  publisher_ = std::move(socket);
  return 0;
}

// In the order in which the thread looks at them. A peer whose address is missing stays missing.
void zpubsub::Subscribe(void* ctx, const ModuleAddresses& addresses) {
  const std::string listens = platform::Machine().ListenHost();
  const std::string self = listens == "*" ? "127.0.0.1" : listens;
  const auto at = [&](int module, const std::string& address) {
    return module == module_ ? self : address;
  };
  const std::string main = at(Msg::MAIN_MODULE, addresses.main);
  const std::string meas = at(Msg::MEAS_MODULE, addresses.meas);
  const std::string source = at(Msg::SOURCE_MODULE, addresses.source);
  const struct {
    const std::string& address;
    int port;
    const char* failure;
    void (*log)(const char* text, int size);
  } publishers[] = {
      {main, kMainPort, "ZMQ CONNECT MAIN FAIL \n",
       [](const char* text, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got %s Message sub1 %d \n", text, size);
       }},
      {source, kSourcePort, "ZMQ CONNECT SRC FAIL \n",
       [](const char* text, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got %s Message sub2 %d \n", text, size);
       }},
      {meas, kMeasPort, "ZMQ CONNECT MEAS SELF NOTIFY FAIL \n",
       [](const char* text, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got %s Message sub3 %d \n", text, size);
       }},
      {main, kMainWatchdogPort, "ZMQ CONNECT MAIN WATCHDOG FAIL \n",
       [](const char* text, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got %s Message MAIN WDSOCK %d \n", text, size);
       }},
      {meas, kMeasWatchdogPort, "ZMQ CONNECT MEAS WATCHDOG FAIL \n",
       [](const char*, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got message watchdog %d MEAS WDSOCK \n", size);
       }},
      {source, kSourceWatchdogPort, "ZMQ CONNECT SRC WATCHDOG FAIL \n",
       [](const char*, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got message watchdog %d SRC WDSOCK \n", size);
       }},
      {main, kBridgePort, "ZMQ CONNECT ETHBSUB FAIL \n",
       [](const char* text, int size) {
         Q5_LOG_DEBUG(zpubsubL, "Got %s Message sub4 %d \n", text, size);
       }},
  };
  for (const auto& publisher : publishers) {
    if (publisher.address.empty()) continue;
    const std::string url = "tcp://" + publisher.address + ":" + std::to_string(publisher.port);
    Q5_LOG_INFO(zpubsubL, "urlstr %s \n", url.c_str());
    auto socket = Common::zmb_api::OpenSocket(ctx, ZMQ_SUB);
    if (!socket || zmq_setsockopt(socket.get(), ZMQ_SUBSCRIBE, "", 0) != 0 ||
        Common::zmb_api::Connect(socket.get(), url.c_str()) != 0) {
      Q5_LOG_ERROR(zpubsubL, "%s", publisher.failure);
      continue;
    }
    subscriptions_.push_back({publisher.log, std::move(socket)});
  }
}

int zpubsub::Start() {
  stop_ = platform::UniqueFd(::eventfd(0, EFD_CLOEXEC));
  try {
    pubsubthread = std::thread(
        [this] { platform::GuardedLoop("zpubsub", [this] { PubSubThreadFunction(); }); });
  } catch (const std::system_error& error) {
    Q5_LOG_ERROR(zpubsubL, "%s.%d pubsub thread creation failerror %s  \n", __func__, __LINE__,
                 error.what());
    return -1;
  }
  StartResourceLog();
  Q5_LOG_NOTICE(zpubsubL, "%s.%d zpubsub started \n", __func__, __LINE__);
  return 0;
}

void zpubsub::End() {
  if (pubsubthread.joinable()) {
    StopResourceLog();
    const std::uint64_t one = 1;
    if (::write(stop_.Get(), &one, sizeof one) == sizeof one) pubsubthread.join();
  }
  subscriptions_.clear();
  const platform::Lock lock(publisher_mutex_);
  publisher_.reset();
}

void zpubsub::PubSubThreadFunction() {
  std::vector<zmq_pollitem_t> items;
  items.reserve(subscriptions_.size() + 1);
  for (const Subscription& from : subscriptions_)
    items.push_back({from.socket.get(), 0, ZMQ_POLLIN, 0});
  items.push_back({nullptr, stop_.Get(), ZMQ_POLLIN, 0});
  while ((items.back().revents & ZMQ_POLLIN) == 0) {
    const int ready =
        Common::zmb_api::Poll(items.data(), static_cast<int>(items.size()), kTendPeriodMs);
    if (ready < 0 && errno == ETERM) return;
    TendPublisher();
    if (ready < 0) continue;
    for (std::size_t i = 0; i < subscriptions_.size(); ++i) {
      if ((items[i].revents & ZMQ_POLLIN) != 0) Receive(subscriptions_[i]);
    }
  }
}

void zpubsub::TendPublisher() {
  const auto now = std::chrono::steady_clock::now();
  if (now - tended_ < std::chrono::milliseconds(kTendPeriodMs)) return;
  tended_ = now;
  const platform::Lock lock(publisher_mutex_);
  if (publisher_) Common::zmb_api::TendPublisher(publisher_.get());
}

// A peer is not trusted to say what it should: only one frame of the right length is a message.
void zpubsub::Receive(const Subscription& from) {
  std::array<std::uint8_t, sizeof(IntPubSubMsg)> bytes;
  int size = 0;
  int frames = 0;
  for (int more = 1; more != 0; ++frames) {
    const int received = zmq_recv(from.socket.get(), bytes.data(), bytes.size(), ZMQ_DONTWAIT);
    if (received < 0) return;
    if (frames == 0) size = received;
    std::size_t width = sizeof more;
    if (zmq_getsockopt(from.socket.get(), ZMQ_RCVMORE, &more, &width) != 0) return;
  }
  if (frames != 1 || size != static_cast<int>(bytes.size())) {
    Q5_LOG_SELDOM(Logger::kWarning, zpubsubL, "%d frames, %d bytes: no message\n", frames, size);
    return;
  }
  Take(bytes, from.log);
}

void zpubsub::Take(std::span<const std::uint8_t> frame, void (*log)(const char* text, int size)) {
  IntPubSubMsg message{};
  if (frame.size() != sizeof message) return;
  std::memcpy(static_cast<void*>(&message), frame.data(), sizeof message);
  msgtype = message.msgtype;
  if (log != nullptr) log(GetMsgStr(), static_cast<int>(frame.size()));
  PubSubHandle(message);
}

void zpubsub::PubSubHandle(const IntPubSubMsg& message) {
  const int id = message.msgtype;
  if (id < kFirstMessage || id > kLastMessage) {
    Q5_LOG_SELDOM(Logger::kError, zpubsubL, "%s.%d UNKNOWN PUBSUB MSG %s(%d) %x %d\n", __func__,
                  __LINE__, GetMsgStr(), id, static_cast<unsigned>(id), int{message.module});
    return;
  }
  if (id == MOSACKMSG) relayack = message.relayAck != 0;
  const auto reaction = reactions_.find(id);
  if (reaction == reactions_.end()) return;
  platform::Guarded("zpubsub", [&] { reaction->second(message); });
}

}  // namespace IMSG
