#include "platform/wire.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "platform/unix_address.h"

namespace platform::wire {
namespace {

/// What a socket's own timeout is called elsewhere.
int TimeoutName(int error) { return error == EAGAIN ? ETIMEDOUT : error; }

using ControlBuffer = std::array<char, CMSG_SPACE(sizeof(int))>;

int WaitReadable(int socket, Nanoseconds limit) {
  pollfd entry{socket, POLLIN, 0};
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(limit).count();
  for (;;) {
    const int ready = ::poll(&entry, 1, limit.count() < 0 ? -1 : static_cast<int>(wait));
    if (ready > 0) return 0;
    if (ready == 0) return ETIMEDOUT;
    if (errno != EINTR) return errno;
  }
}

/// Takes over what descriptors came along: the first one is returned, the others are closed.
UniqueFd TakeDescriptor(msghdr& message) {
  UniqueFd first;
  for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
       part = CMSG_NXTHDR(&message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int number = -1;
      std::memcpy(&number, CMSG_DATA(part) + i * sizeof(int), sizeof number);
      UniqueFd descriptor(number);
      if (!first) first = std::move(descriptor);
    }
  }
  return first;
}

}  // namespace

bool Parse(std::span<const std::byte> bytes, Packet& packet) {
  if (bytes.size() < sizeof(Header)) return false;
  std::memcpy(&packet.header, bytes.data(), sizeof(Header));
  const auto data = bytes.subspan(sizeof(Header));
  if (packet.header.version != kVersion || packet.header.size != data.size()) return false;
  packet.data.assign(data.begin(), data.end());
  return true;
}

int Send(int socket, Header header, std::span<const std::byte> data, int descriptor) {
  if (data.size() > kMaxData) return EMSGSIZE;
  header.size = static_cast<std::uint32_t>(data.size());
  iovec parts[] = {{&header, sizeof header}, {const_cast<std::byte*>(data.data()), data.size()}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = std::size(parts);
  alignas(cmsghdr) ControlBuffer control{};
  if (descriptor >= 0) {
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* part = CMSG_FIRSTHDR(&message);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(part), &descriptor, sizeof descriptor);
  }
  while (::sendmsg(socket, &message, MSG_NOSIGNAL) < 0) {
    if (errno != EINTR) return TimeoutName(errno);
  }
  return 0;
}

int Receive(int socket, Packet& packet, Nanoseconds limit) {
  if (const int error = WaitReadable(socket, limit)) return error;
  return ReceiveReply(socket, packet);
}

int ReceiveReply(int socket, Packet& packet) {
  std::array<std::byte, kMaxPacket> buffer;
  iovec part{buffer.data(), buffer.size()};
  alignas(cmsghdr) ControlBuffer control;
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control.data();
  message.msg_controllen = control.size();
  ssize_t count = 0;
  while ((count = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC)) < 0) {
    if (errno != EINTR) return TimeoutName(errno);
  }
  packet.descriptor = TakeDescriptor(message);
  if (count == 0) return EPIPE;
  if ((message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) return EPROTO;
  const std::span<const std::byte> bytes(buffer.data(), static_cast<std::size_t>(count));
  return Parse(bytes, packet) ? 0 : EPROTO;
}

void SetLimit(int socket, Nanoseconds limit) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(limit);
  timeval wait{};
  wait.tv_sec = static_cast<time_t>(seconds.count());
  wait.tv_usec = static_cast<suseconds_t>((limit - seconds) / std::chrono::microseconds(1));
  for (const int option : {SO_SNDTIMEO, SO_RCVTIMEO}) {
    ::setsockopt(socket, SOL_SOCKET, option, &wait, sizeof wait);
  }
}

int Connect(const char* path, Nanoseconds limit, UniqueFd& socket) {
  const auto address = UnixAddress(path);
  if (!address) return ENAMETOOLONG;
  UniqueFd made(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!made) return errno;
  SetLimit(made.Get(), limit);
  if (::connect(made.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    return TimeoutName(errno);
  }
  socket = std::move(made);
  return 0;
}

}  // namespace platform::wire
