#include "libs/zmb/src/zmb_guard.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <optional>

#include "libs/zmb/src/zmb_limits.h"
#include "libs/zmb/src/zmb_log.h"
#include "libs/zmb/src/zmb_util.h"

namespace Common {

namespace {

/// A reason is logged once in this time: a log that grows with each attempt would be
/// one more thing that a peer can fill.
constexpr std::chrono::minutes kQuiet{1};

constexpr std::uint32_t kNetMask = 0xFFFFFF00;  // of the instrument's own net

bool IsLoopback(std::uint32_t address) { return address >> 24 == IN_LOOPBACKNET; }

bool IsNeighbour(const ZmbGuard::Ends& ends) {
  return ends.peer == 0 || IsLoopback(ends.peer) || (ends.peer & kNetMask) == (ends.own & kNetMask);
}

/// New descriptors are the lowest free ones, so one near the limit says that few are left.
bool LeavesDescriptors(int fd) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return true;
  return static_cast<rlim_t>(fd) + limits::kSpareDescriptors < limit.rlim_cur;
}

/// The IPv4 address of one end, 0 for an ipc socket; nothing for any other kind.
std::optional<std::uint32_t> AddressOf(int fd, decltype(&::getpeername) end) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  if (end(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0) return std::nullopt;
  if (name.ss_family == AF_UNIX) return 0;
  if (name.ss_family != AF_INET) return std::nullopt;
  return ntohl(reinterpret_cast<const sockaddr_in&>(name).sin_addr.s_addr);
}

}  // namespace

ZmbGuard& ZmbGuard::Instance() {
  static auto* guard = new ZmbGuard;  // libzmq's threads may outlive static objects
  return *guard;
}

ZmbGuard::Waiting::Waiting(Socket socket) : socket_(socket) { Instance().BeginsToWait(socket_); }

ZmbGuard::Waiting::~Waiting() { Instance().EndsToWait(socket_); }

void ZmbGuard::Listens(int listener, Socket socket, bool publishes) {
  const platform::Lock lock(mutex_);
  listeners_[listener] = {socket, publishes};
  left_behind_.Open(socket, now_());
}

void ZmbGuard::SocketClosed(Socket socket) {
  const platform::Lock lock(mutex_);
  std::erase_if(listeners_, [&](const auto& entry) { return entry.second.socket == socket; });
  left_behind_.Close(socket);
}

void ZmbGuard::FoundEmpty(Socket socket) {
  const platform::Lock lock(mutex_);
  left_behind_.FoundEmpty(socket);
}

void ZmbGuard::BeginsToWait(Socket socket) {
  const platform::Lock lock(mutex_);
  left_behind_.BeginsToWait(socket);
}

void ZmbGuard::EndsToWait(Socket socket) {
  const platform::Lock lock(mutex_);
  left_behind_.EndsToWait(socket, now_());
}

void ZmbGuard::HasRead(Socket socket) {
  const platform::Lock lock(mutex_);
  left_behind_.HasRead(socket);
}

bool ZmbGuard::Admit(int fd, int listener) {
  const auto peer = AddressOf(fd, ::getpeername);
  const auto own = AddressOf(fd, ::getsockname);
  return peer && own && Admit(fd, {*peer, *own}, listener);
}

bool ZmbGuard::Admit(int fd, const Ends& ends, int listener) {
  platform::Lock lock(mutex_);
  connections_.erase(fd);  // a new one, so an old one of the number is gone
  const auto overdue = EndOverdue();
  std::optional<Ended> idle;
  const char* refusal = RefusalOf(fd, ends);
  if (refusal == nullptr) refusal = FindPlace(ends.peer, idle);
  if (refusal == nullptr) {
    const auto reads = listeners_.find(listener);
    const Listener its = reads != listeners_.end() ? reads->second : Listener{};
    connections_.emplace(fd, Connection{.role = its.publishes ? Role::kSubscribes : Role::kAsks,
                                        .peer = ends.peer,
                                        .socket = its.socket,
                                        .since = now_(),
                                        .watch = ZmbStreamWatch(its.publishes)});
    Mark(fd, true);
  }
  lock.Unlock();
  for (const auto& ended : {overdue, idle}) {
    if (ended) Report(ended->reason, ended->peer);
  }
  if (refusal != nullptr) Report(refusal, ends.peer);
  return refusal == nullptr;
}

// A message without end from a peer that this process asks or hears would take all memory, too.
void ZmbGuard::Connects(int fd) {
  const platform::Lock lock(mutex_);
  connections_.insert_or_assign(
      fd, Connection{.role = Role::kOutgoing, .peer = 0, .socket = nullptr, .since = now_()});
  Mark(fd, true);
}

const char* ZmbGuard::RefusalOf(int fd, const Ends& ends) const {
  if (!IsNeighbour(ends)) return "not of this net";
  if (!LeavesDescriptors(fd)) return "too few descriptors";
  return nullptr;
}

// Beyond the limit are places of connections that were ended here, but of which something is left:
// then no more are ended.
const char* ZmbGuard::FindPlace(std::uint32_t peer, std::optional<Ended>& ended) {
  const Places places = PlacesInUse(peer);
  const int same_left = limits::kConnectionsOfOneAddress - places.same;
  const int tcp_left = peer == 0 ? 1 : limits::kTcpConnections - places.tcp;
  if (same_left > 0 && tcp_left > 0) return nullptr;
  if (same_left >= 0 && tcp_left >= 0) {
    ended = EndIdlest([&](const Connection& other) {
      return same_left == 0 ? other.peer == peer : other.peer != 0;
    });
    if (!ended && same_left > 0) ended = EndOfTheGreediest(peer);
  }
  if (ended) return nullptr;
  return same_left <= 0 ? "too many connections of one address" : "too many connections";
}

ZmbGuard::Places ZmbGuard::PlacesInUse(std::uint32_t peer) const {
  Places places;
  const auto count = [&](std::uint32_t other) {
    if (other == peer) ++places.same;
    if (other != 0) ++places.tcp;
  };
  for (const auto& [fd, connection] : connections_) {
    if (!connection.ended && connection.role != Role::kOutgoing) count(connection.peer);
  }
  left_behind_.ForEach(count);
  return places;
}

// libzmq never ends the handshake of a peer of the first two versions, so its own limit would cut
// them in the middle of their work.
std::optional<ZmbGuard::Ended> ZmbGuard::EndOverdue() {
  const Time limit = now_() - std::chrono::milliseconds(limits::kHandshakeMs);
  std::optional<Ended> ended;
  for (auto& [fd, connection] : connections_) {
    if (connection.named || connection.ended || connection.since > limit) continue;
    if (connection.role == Role::kOutgoing) continue;
    End(fd, connection);
    ended = {"handshake too slow", connection.peer};
  }
  return ended;
}

// A connection of which a message still waits is not idle, however long it waits. Nor is one that
// subscribes, which has nothing to say.
template <class Match>
std::optional<ZmbGuard::Ended> ZmbGuard::EndIdlest(Match match) {
  Time limit = now_() - std::chrono::milliseconds(limits::kIdleMs);
  auto idlest = connections_.end();
  for (auto entry = connections_.begin(); entry != connections_.end(); ++entry) {
    const Connection& connection = entry->second;
    if (connection.role != Role::kAsks) continue;
    if (connection.ended || connection.last > limit || !match(connection)) continue;
    if (!left_behind_.IsReadUntil(connection.socket, connection.last)) continue;
    limit = connection.last;
    idlest = entry;
  }
  if (idlest == connections_.end()) return std::nullopt;
  End(idlest->first, idlest->second);
  return Ended{"idle while others find no place", idlest->second.peer};
}

// No three addresses keep all others out. The newest has to go: who has been served for longer
// stays, however much others of his address ask for.
std::optional<ZmbGuard::Ended> ZmbGuard::EndOfTheGreediest(std::uint32_t peer) {
  std::unordered_map<std::uint32_t, int> counts;
  for (const auto& [fd, connection] : connections_) {
    if (connection.role == Role::kAsks && !connection.ended) ++counts[connection.peer];
  }
  const int own = counts[peer];
  counts.erase(0);
  const auto most =
      std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second; });
  if (most == counts.end() || most->second < own + 2) return std::nullopt;
  auto newest = connections_.end();
  for (auto entry = connections_.begin(); entry != connections_.end(); ++entry) {
    const Connection& connection = entry->second;
    if (connection.role != Role::kAsks || connection.ended) continue;
    if (connection.peer != most->first) continue;
    if (newest == connections_.end() || connection.since > newest->second.since) newest = entry;
  }
  End(newest->first, newest->second);
  return Ended{"of the address with the most, in favour of another", most->first};
}

// The descriptor cannot be another file's yet: who closes it waits in Closed until this is over.
// libzmq sees the end and closes it; until then the entry stays, since bytes that came before the
// shutdown can still be received.
void ZmbGuard::End(int fd, Connection& connection) {
  connection.ended = true;
  ::shutdown(fd, SHUT_RDWR);
}

bool ZmbGuard::Received(int fd, std::span<const std::uint8_t> bytes) {
  platform::Lock lock(mutex_);
  const auto entry = connections_.find(fd);
  if (entry == connections_.end()) return true;
  if (entry->second.ended) return false;
  Connection& connection = entry->second;
  const std::uint64_t messages = connection.watch.Messages();
  connection.bytes += bytes.size();
  const std::uint32_t peer = connection.peer;
  const char* refusal = Follow(connection, bytes);
  // a sign of life that asks for nothing keeps no place
  if (connection.watch.Messages() != messages) connection.last = now_();
  lock.Unlock();
  if (refusal != nullptr) Report(refusal, peer);
  return refusal == nullptr;
}

const char* ZmbGuard::Follow(Connection& connection, std::span<const std::uint8_t> bytes) const {
  if (const char* wrong = connection.watch.Take(bytes)) return wrong;
  if (connection.role == Role::kOutgoing) return nullptr;
  if (connection.role == Role::kSubscribes && connection.bytes > limits::kSubscriberBytes) {
    return "a subscriber that says too much";
  }
  const auto& name = connection.watch.Identity();
  if (connection.named || !name) return nullptr;
  if (name->starts_with('\0')) return "identity of the transport's own";
  if (IsNameOfAnother(connection)) return "identity of another address";
  connection.named = true;
  return nullptr;
}

// A host that comes back from its own address takes its identity over at once; the end of its old
// connection may not have been noticed.
bool ZmbGuard::IsNameOfAnother(const Connection& connection) const {
  const auto& name = connection.watch.Identity();
  if (name->empty()) return false;
  return std::ranges::any_of(connections_, [&](const auto& entry) {
    const Connection& other = entry.second;
    return other.named && other.peer != connection.peer && other.watch.Identity() == name;
  });
}

void ZmbGuard::Closed(int fd) {
  const platform::Lock lock(mutex_);
  Mark(fd, false);
  const auto entry = connections_.find(fd);
  if (entry == connections_.end()) return;
  const Connection& connection = entry->second;
  if (connection.role != Role::kOutgoing && connection.watch.HasGreeted())
    left_behind_.Add(connection.socket, connection.peer);
  connections_.erase(entry);
}

void ZmbGuard::Report(const char* reason, std::uint32_t peer) {
  platform::Lock lock(mutex_);
  const Time now = now_();
  const auto [reported, first] = reported_.try_emplace(reason, now);
  if (!first && now - reported->second < kQuiet) return;
  reported->second = now;
  const auto count = std::ranges::count_if(
      connections_, [](const auto& entry) { return entry.second.role != Role::kOutgoing; });
  lock.Unlock();
  zmb_log.Print(ZMB_WARN, "<warn func=ZmbGuard refused peer=%s connections=%d reason=\"%s\"/>\n",
                peer == 0 ? "ipc" : ToIpString(htonl(peer)).c_str(), static_cast<int>(count),
                reason);
}

}  // namespace Common
