#include "simulator/heartbeat.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "common/msg/records/module_id.h"

namespace simulator {
namespace {

constexpr auto kQuickly = std::chrono::milliseconds(100);
constexpr auto kSteadily = std::chrono::seconds(1);

sockaddr_in At(const std::string& dotted) {
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_port = htons(Msg::kNetworkCheckPort);
  ::inet_pton(AF_INET, dotted.c_str(), &at.sin_addr);
  return at;
}

}  // namespace

Heartbeat::Heartbeat(Setup setup, platform::Clock& clock, Units& units)
    : setup_(std::move(setup)), clock_(clock), meas_(At(setup_.meas)) {
  socket_ = platform::UniqueFd(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const sockaddr_in own = At(setup_.main);
  if (!socket_ || ::bind(socket_.Get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0) {
    problem_ = "cannot watch the modules at " + setup_.main + ": " + std::strerror(errno);
  }
  units.AddValue("heartbeat.acks", [this] { return std::to_string(acks_); });
}

void Heartbeat::Send(Msg::PacketType type, std::int32_t status, const std::string& about) {
  Msg::pktinfo_t packet{};
  packet.pkttype = type;
  packet.seqno = ++seqno_;
  packet.status = status;
  packet.boardtype = Msg::MAIN_MODULE;
  packet.boardIP = At(about).sin_addr.s_addr;
  // a daemon that is not there yet is asked again
  ::sendto(socket_.Get(), &packet, sizeof packet, 0, reinterpret_cast<const sockaddr*>(&meas_),
           sizeof meas_);
}

void Heartbeat::Receive() {
  Msg::pktinfo_t packet{};
  ssize_t received = 0;
  while ((received = ::recv(socket_.Get(), &packet, sizeof packet, MSG_TRUNC)) >= 0) {
    if (received != sizeof packet || packet.pkttype != Msg::BOARD_ACK) continue;
    ++acks_;
    Send(Msg::SOS_STATUS, setup_.source_up() ? Msg::SOS_ALIVE : Msg::SOS_NOT_ALIVE, setup_.source);
  }
}

void Heartbeat::Update() {
  if (!setup_.main_up()) return;
  Receive();
  const auto now = clock_.Monotonic();
  if (now < next_) return;
  next_ = now + (acks_ == 0 ? platform::Nanoseconds(kQuickly) : platform::Nanoseconds(kSteadily));
  Send(Msg::BOARD_REQUEST, 0, setup_.main);
}

}  // namespace simulator
