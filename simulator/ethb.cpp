#include "simulator/ethb.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <zmq.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <optional>
#include <vector>

#include "simulator/record_cutter.h"

namespace simulator {
namespace {

/// Replies that a host has not taken; one that leaves more than this unread is cut off.
constexpr std::size_t kMostUnread = 1 << 20;
/// Records on their way; more than this waits in the host's own socket.
constexpr std::size_t kMostPending = 256;
/// How long a host whose stream has ended or broken gets to see the replies that are still on their
/// way.
constexpr platform::Nanoseconds kFarewell = std::chrono::seconds(2);
/// How long a record waits for a daemon; one that starts later must not act on it.
constexpr platform::Nanoseconds kBusPatience = std::chrono::seconds(1);
/// How long a record is held for the source module, and how often that is asked.
constexpr platform::Nanoseconds kLongestHold = std::chrono::seconds(2);
constexpr long kHoldPollMs = 2;
constexpr std::size_t kMostRefused = 16;
/// How soon a fault that is set takes effect on a silent connection.
constexpr long kFaultPollMs = 100;

class BusMessage {
 public:
  BusMessage() { zmq_msg_init(&message_); }
  ~BusMessage() { zmq_msg_close(&message_); }
  BusMessage(const BusMessage&) = delete;
  BusMessage& operator=(const BusMessage&) = delete;
  zmq_msg_t* Get() { return &message_; }
  std::span<const std::byte> Data() {
    return {static_cast<const std::byte*>(zmq_msg_data(&message_)), zmq_msg_size(&message_)};
  }

 private:
  zmq_msg_t message_;
};

}  // namespace

/// One host's connection with a bus socket of its own, so that replies to a host that has left
/// are dropped. Of the ethb thread.
class Ethb::HostLink {
 public:
  HostLink(platform::UniqueFd socket, void* bus_context, const std::string& bus_endpoint,
           platform::Clock& clock)
      : clock_(clock),
        bus_context_(bus_context),
        bus_endpoint_(bus_endpoint),
        socket_(std::move(socket)) {
    const int on = 1;
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  }

  zmq_pollitem_t HostItem() const {
    const int input = WantsInput() ? ZMQ_POLLIN : 0;
    const int output = unread_.empty() ? 0 : ZMQ_POLLOUT;
    return {nullptr, socket_.Get(), static_cast<short>(input | output), 0};
  }
  /// There is one from the first record on: a host that only connects costs no bus traffic.
  bool HasBus() const { return bus_ != nullptr; }
  zmq_pollitem_t BusItem() const {
    return {bus_.get(), 0, static_cast<short>(ZMQ_POLLIN | (blocked_ ? ZMQ_POLLOUT : 0)), 0};
  }

  /// The next record that the host has sent and the bus can take.
  std::optional<RecordCutter::Record> NextRecord() {
    if (blocked_ || held_ || pending_.size() >= kMostPending) return std::nullopt;
    auto record = cutter_.Next();
    if (cutter_.Broken()) TakeLeave();
    return record;
  }

  void Hold(RecordCutter::Record record) {
    held_ = std::move(record);
    held_until_ = clock_.Monotonic() + kLongestHold;
  }
  bool IsHolding() const { return held_.has_value(); }

  void PassHeld(bool may_pass) {
    if (!held_ || !(may_pass || clock_.Monotonic() >= held_until_)) return;
    PassToBus(std::move(*held_));
    held_.reset();
  }

  void PassToBus(RecordCutter::Record record) {
    if (!HasBus()) OpenBus();
    blocked_ = std::move(record);
    give_up_at_ = clock_.Monotonic() + kBusPatience;
    RetryBus();
  }

  void RetryBus() {
    if (!blocked_) return;
    const std::string descriptor = std::to_string(next_descriptor_);
    // The first frame decides: once the bus has taken it, it takes the rest.
    if (zmq_send(bus_.get(), "", 0, ZMQ_SNDMORE | ZMQ_DONTWAIT) < 0) {
      if (clock_.Monotonic() >= give_up_at_) DropWaiting();
      return;
    }
    zmq_send(bus_.get(), descriptor.data(), descriptor.size(), ZMQ_SNDMORE);
    zmq_send(bus_.get(), blocked_->data(), blocked_->size(), 0);
    pending_.push_back(descriptor);
    ++next_descriptor_;
    blocked_.reset();
  }

  /// False when the host has gone. One that has only ended its stream still gets its replies.
  bool ReadHost() {
    if (farewell_) return false;  // polled for errors alone
    std::array<std::byte, 4096> buffer;
    const ssize_t count = ::recv(socket_.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    if (count == 0) TakeLeave();
    cutter_.Feed({buffer.data(), static_cast<std::size_t>(count)});
    return true;
  }

  /// False when the host has gone or reads nothing.
  bool WriteHost() {
    if (unread_.empty()) return true;
    const ssize_t count =
        ::send(socket_.Get(), unread_.data(), unread_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    unread_.erase(unread_.begin(), unread_.begin() + count);
    return true;
  }

  /// False when the host leaves too much unread.
  bool ReadBus() {
    if (!HasBus()) return true;
    for (std::vector<std::vector<std::byte>> frames; ReceiveFrames(frames);) {
      if (frames.size() == 3) TakeReply(frames[1], frames[2]);
    }
    return unread_.size() <= kMostUnread;
  }

  /// No record comes any more; the next host need not wait for the replies.
  bool IsLeaving() const { return farewell_.has_value(); }

  /// True when an ended or broken stream has been answered, or has had its time.
  bool Finished() const {
    if (!farewell_) return false;
    const bool answered = pending_.empty() && unread_.empty() && !blocked_ && !held_;
    return answered || clock_.Monotonic() >= *farewell_;
  }

 private:
  void OpenBus() {
    bus_.reset(zmq_socket(bus_context_, ZMQ_DEALER));
    assert(bus_ != nullptr);
    const int no_linger = 0;
    zmq_setsockopt(bus_.get(), ZMQ_LINGER, &no_linger, sizeof no_linger);
    const int only_connected = 1;  // nothing queues for a missing daemon
    zmq_setsockopt(bus_.get(), ZMQ_IMMEDIATE, &only_connected, sizeof only_connected);
    const int connected = zmq_connect(bus_.get(), bus_endpoint_.c_str());
    assert(connected == 0);  // only a malformed end point fails
  }

  bool WantsInput() const {
    return !blocked_ && !held_ && !farewell_ && pending_.size() < kMostPending;
  }

  void DropWaiting() {
    blocked_.reset();
    while (cutter_.Next()) {
    }
  }

  void TakeLeave() {
    if (!farewell_) farewell_ = clock_.Monotonic() + kFarewell;
  }

  bool ReceiveFrames(std::vector<std::vector<std::byte>>& frames) {
    frames.clear();
    for (int more = 1; more != 0;) {
      BusMessage message;
      if (zmq_msg_recv(message.Get(), bus_.get(), ZMQ_DONTWAIT) < 0) return false;
      const auto data = message.Data();
      frames.emplace_back(data.begin(), data.end());
      more = zmq_msg_more(message.Get());
    }
    return true;
  }

  void TakeReply(std::span<const std::byte> descriptor, std::span<const std::byte> payload) {
    const std::string_view name(reinterpret_cast<const char*>(descriptor.data()),
                                descriptor.size());
    const auto found = std::ranges::find(pending_, name);
    if (found == pending_.end()) return;
    pending_.erase(pending_.begin(), found + 1);
    unread_.insert(unread_.end(), payload.begin(), payload.end());
  }

  platform::Clock& clock_;
  void* const bus_context_;
  const std::string& bus_endpoint_;
  const platform::UniqueFd socket_;
  std::unique_ptr<void, int (*)(void*)> bus_{nullptr, zmq_close};
  RecordCutter cutter_;
  std::optional<RecordCutter::Record> held_;  ///< a record that the source module acts on first
  platform::Nanoseconds held_until_{0};
  std::optional<RecordCutter::Record> blocked_;  ///< a record that the bus does not take yet
  platform::Nanoseconds give_up_at_{0};          ///< that record, and what waits behind it
  std::deque<std::string> pending_;              ///< descriptors of records without a reply
  std::uint64_t next_descriptor_ = 1;
  std::vector<std::byte> unread_;  ///< replies that the host has not taken yet
  std::optional<platform::Nanoseconds> farewell_;
};

Ethb::Ethb(Setup setup, platform::Clock& clock, Units& units)
    : setup_(std::move(setup)),
      clock_(clock),
      faults_({Fault::kOff, Fault::kSlow, Fault::kIntermittent}, setup_.seed),
      stop_(::eventfd(0, EFD_CLOEXEC)),
      bus_context_(zmq_ctx_new(), zmq_ctx_term) {
  units.AddFaults("ethb", faults_);
  thread_ = std::thread(&Ethb::Run, this);
}

Ethb::~Ethb() {
  ::eventfd_write(stop_.Get(), 1);
  thread_.join();
}

bool Ethb::Pause(platform::Nanoseconds duration) {
  pollfd stop{stop_.Get(), POLLIN, 0};
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(duration).count();
  return ::poll(&stop, 1, static_cast<int>(wait)) == 0;
}

void Ethb::Accept(std::unique_ptr<HostLink>& host) {
  platform::UniqueFd socket(
      ::accept4(setup_.host_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket || faults_.Chosen() == Fault::kOff) return;
  if (host != nullptr && !host->IsLeaving()) {
    std::fprintf(stderr, "q5sim: ethb: a second host was turned away, one is connected\n");
    if (refused_.size() < kMostRefused)
      refused_.emplace_back(std::move(socket), clock_.Monotonic());
    return;
  }
  host = std::make_unique<HostLink>(std::move(socket), bus_context_.get(), setup_.bus_endpoint,
                                    clock_);
}

bool Ethb::Serve(HostLink& host, const zmq_pollitem_t& polled) {
  if (faults_.Chosen() == Fault::kOff) return false;
  if ((polled.revents & (ZMQ_POLLIN | ZMQ_POLLERR)) != 0 && !host.ReadHost()) return false;
  host.RetryBus();
  host.PassHeld(MayPass());
  while (auto record = host.NextRecord()) {
    const Fault fault = faults_.Now();
    if (fault == Fault::kSlow && !Pause(faults_.Delay())) return false;
    if (fault == Fault::kOff) continue;
    if (setup_.listener) setup_.listener(*record);
    host.Hold(std::move(*record));
    host.PassHeld(MayPass());
  }
  return host.ReadBus() && host.WriteHost() && !host.Finished();
}

void Ethb::Run() {
  std::unique_ptr<HostLink> host;
  for (;;) {
    std::vector<zmq_pollitem_t> items = {{nullptr, stop_.Get(), ZMQ_POLLIN, 0},
                                         {nullptr, setup_.host_listener.Get(), ZMQ_POLLIN, 0}};
    if (host != nullptr) {
      items.push_back(host->HostItem());
      if (host->HasBus()) items.push_back(host->BusItem());
    }
    for (const RefusedHost& refused : refused_) {
      items.push_back({nullptr, refused.Descriptor(), ZMQ_POLLIN, 0});
    }
    const bool holds = host != nullptr && host->IsHolding();
    zmq_poll(items.data(), static_cast<int>(items.size()), holds ? kHoldPollMs : kFaultPollMs);
    if (items[0].revents != 0) return;
    if (host != nullptr && !Serve(*host, items[2])) host.reset();
    if (faults_.Chosen() == Fault::kOff) refused_.clear();
    std::erase_if(refused_,
                  [this](RefusedHost& refused) { return !refused.Serve(clock_.Monotonic()); });
    if (items[1].revents != 0) Accept(host);
  }
}

}  // namespace simulator
