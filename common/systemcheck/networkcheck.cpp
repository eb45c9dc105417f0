#include "common/systemcheck/networkcheck.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "common/log/log_limit.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"
#include "platform/backend.h"
#include "platform/guarded.h"

namespace {

constexpr int kDefaultFrequency = 2;  // s
constexpr int kDefaultTimeout = 1;    // s

platform::UniqueFd OpenUdp() {
  platform::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM, 0));
  const int flags = fd ? ::fcntl(fd.Get(), F_GETFD) : -1;
  if (flags < 0) {
    Q5_LOG_ERROR(nwcheckL, "fcntl getfd failed %s \n", std::strerror(errno));
  } else if (::fcntl(fd.Get(), F_SETFD, flags | FD_CLOEXEC) < 0) {
    Q5_LOG_ERROR(nwcheckL, "fcnt setfd failed %s \n", std::strerror(errno));
  }
  return fd;
}

sockaddr_in At(std::uint32_t address, int port) {
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_port = htons(static_cast<std::uint16_t>(port));
  at.sin_addr.s_addr = address;
  return at;
}

const sockaddr* Generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

networkcheck* networkcheck::GetNetworkCheck() {
  static auto* const instance = new networkcheck;  // its words are read up to the very end
  return instance;
}

int networkcheck::Init(int module, const char* meas, const char* source, int port) {
  systemcheck::Init(module, meas, source);
  _port = port;
  peers_ = {Peer{"Mos", "meas", Msg::MEAS_MODULE, kMeasBit, Msg::NAK_MCODE_MOS_RESTART},
            Peer{"Sos", "source", Msg::SOURCE_MODULE, kSourceBit, Msg::NAK_MCODE_SOS_RESTART}};
  peers_[0].address = At(_measIP, port);
  peers_[1].address = At(_sourceIP, port);
  _sockfd = OpenUdp();
  _serverfd = OpenUdp();
  stop_ = platform::UniqueFd(::eventfd(0, EFD_CLOEXEC));
  if (!_sockfd || !_serverfd || !stop_) return -1;
  // where a machine has several modules, the sender's address must say which of them it is
  const bool alone = platform::Machine().ListenHost() == "*";
  const sockaddr_in from = At(alone ? INADDR_ANY : _boardIP.load(), 0);
  const sockaddr_in own = At(from.sin_addr.s_addr, port);
  if (::bind(_sockfd.Get(), Generic(from), sizeof from) != 0 ||
      ::bind(_serverfd.Get(), Generic(own), sizeof own) != 0) {
    Q5_LOG_ERROR(nwcheckL, "%s %s\n", IsMainHost() ? "bind1 error" : "bind error",
                 std::strerror(errno));
    return -1;
  }
  Q5_LOG_NOTICE(nwcheckL, "NWIP:%s\n", Dotted(_boardIP).c_str());
  return 0;
}

int networkcheck::Start() {
  if (!_serverfd) return -1;
  try {
    _nwthread = std::thread([this] {
      platform::GuardedLoop("networkcheck", [this] { IsMainHost() ? query() : listenserver(); });
    });
  } catch (const std::system_error& error) {
    Q5_LOG_ERROR(nwcheckL, "no thread: %s\n", error.what());
    return -1;
  }
  Q5_LOG_NOTICE(nwcheckL, "Started the networkcheck thread\n");
  return 0;
}

void networkcheck::End() {
  if (!_nwthread.joinable()) return;
  const std::uint64_t one = 1;
  if (::write(stop_.Get(), &one, sizeof one) == sizeof one) _nwthread.join();
}

void networkcheck::SetEthHeartbeatFrequency(int seconds) {
  _ethheartbeatfrequency = seconds < 1 ? kDefaultFrequency : seconds;
}

void networkcheck::SetEthHeartbeatTimeout(int seconds) {
  _ethheartbeattimeout = seconds < 1 ? kDefaultTimeout : seconds;
}

Msg::pktinfo_t networkcheck::Packet(Msg::PacketType type) const {
  Msg::pktinfo_t packet{};
  packet.pkttype = type;
  packet.boardtype = _moduleID;
  packet.boardIP = _boardIP;
  return packet;
}

int networkcheck::Send(const Msg::pktinfo_t& packet, const sockaddr_in& to) const {
  return static_cast<int>(
      ::sendto(_sockfd.Get(), &packet, sizeof packet, 0, Generic(to), sizeof to));
}

// True for a whole packet; false for none in time, a datagram that is none, or the end.
bool networkcheck::Receive(platform::Nanoseconds patience, Msg::pktinfo_t& packet,
                           sockaddr_in& from) {
  pollfd ready[] = {{_serverfd.Get(), POLLIN, 0}, {stop_.Get(), POLLIN, 0}};
  using Milliseconds = std::chrono::milliseconds;
  const bool forever = patience < platform::Nanoseconds::zero();
  const int timeout =
      forever ? -1 : static_cast<int>(std::chrono::duration_cast<Milliseconds>(patience).count());
  const int found = ::poll(ready, 2, timeout);
  if (found < 0) {
    Q5_LOG_ERROR(nwcheckL, "Select fail %d %s\n", found, std::strerror(errno));
    return false;
  }
  if (found == 0) Q5_LOG_INFO_HERE(nwcheckL, "%s.%d Select timedout\n");
  if ((ready[0].revents & POLLIN) == 0 || ready[1].revents != 0) return false;
  std::array<std::uint8_t, 512> datagram;
  socklen_t size = sizeof from;
  const ssize_t received = ::recvfrom(_serverfd.Get(), datagram.data(), datagram.size(), 0,
                                      reinterpret_cast<sockaddr*>(&from), &size);
  if (received < 0) {
    Q5_LOG_ERROR(nwcheckL, "recvfrom fail n %d %s \n", static_cast<int>(received),
                 std::strerror(errno));
    return false;
  }
  const auto found_packet =
      PacketIn(std::span(datagram).first(static_cast<std::size_t>(received)), from);
  if (found_packet) packet = *found_packet;
  return found_packet.has_value();
}

std::optional<Msg::pktinfo_t> networkcheck::PacketIn(std::span<const std::uint8_t> datagram,
                                                     const sockaddr_in& from) {
  Msg::pktinfo_t packet;
  if (datagram.size() != sizeof packet || from.sin_family != AF_INET) {
    Q5_LOG_SELDOM(Logger::kWarning, nwcheckL, "a datagram of %zu bytes is no packet\n",
                  datagram.size());
    return std::nullopt;
  }
  std::memcpy(&packet, datagram.data(), sizeof packet);
  return packet;
}

bool networkcheck::Rest(std::chrono::milliseconds duration) const {
  pollfd stop{stop_.Get(), POLLIN, 0};
  return ::poll(&stop, 1, static_cast<int>(duration.count())) == 0;
}
