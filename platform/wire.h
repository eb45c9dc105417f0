// The packets between the virtual back end and q5sim's device server.
//
// A sequenced-packet Unix socket ($Q5_ROOT/q5sim.sock) carries one packet for a request and one for
// its reply: a header, then `size` bytes of data; a reply to kMap also carries a descriptor. Both
// ends run on one machine, so numbers travel in its own byte order. Every length is checked on both
// ends.
//
//   op            request: value, data               reply: value, data
//   kOpen         flags, path                        token of the open file
//   kAttach       token                              0: this connection may kRead that file
//   kRead         bytes wanted, the record that the  count, the bytes
//                 read takes (ioctl_table.h)
//   kPread        bytes wanted, offset (int64)       count, the bytes
//   kWrite        0, the bytes                       count
//   kIoctl        request, argument (ioctl_table.h)  the driver's result, argument
//   kMap          length, offset (int64)             0 and the descriptor of the memory
//   kSystem       0, the command                     wait status
//   kSetRealtime  0, seconds and nanoseconds (int64) 0
//   kRealtime     0                                  0, seconds and nanoseconds (int64)
//   kHostAddress  0                                  0, the address
//   kSystemLog    0, the line                        0
//
// A failure replies value -1 and the errno in `error`. EAGAIN to kRead means "not yet": the device
// still waits, the server still lives, ask again. Closing the connection that opened a file closes
// it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/unique_fd.h"

namespace platform::wire {

inline constexpr std::uint16_t kVersion = 1;
/// A packet must fit the kernel's default buffer of a Unix socket with room to spare.
inline constexpr std::size_t kMaxData = std::size_t{60} * 1024;
inline constexpr char kSocketName[] = "/q5sim.sock";

enum class Op : std::uint16_t {
  kOpen = 1,
  kAttach,
  kRead,
  kWrite,
  kIoctl,
  kMap,
  kSystem,
  kSetRealtime,
  kRealtime,
  kHostAddress,
  kSystemLog,
  kPread,
};

struct Header {
  std::uint16_t version = kVersion;
  Op op{};
  std::uint32_t sequence = 0;  ///< a reply carries its request's
  std::int64_t value = 0;
  std::int32_t error = 0;  ///< an errno, in replies
  std::uint32_t size = 0;  ///< bytes of data behind the header
};
static_assert(sizeof(Header) == 24);

inline constexpr std::size_t kMaxPacket = sizeof(Header) + kMaxData;

struct Packet {
  Header header;
  std::vector<std::byte> data;
  UniqueFd descriptor;

  std::string_view Text() const {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
  }
};

/// The two numbers of a time, as kSetRealtime and kRealtime carry them.
using TimeWords = std::array<std::int64_t, 2>;

/// One object of a plain type as the data of a packet.
template <class T>
std::span<const std::byte> AsData(const T& object) {
  return std::as_bytes(std::span(&object, 1));
}
inline std::span<const std::byte> AsData(std::string_view text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

/// False when the bytes are no packet of this version or their length is not what the header says.
bool Parse(std::span<const std::byte> bytes, Packet& packet);

/// `header.size` is set from `data`; `descriptor` below 0 for none. Never raises SIGPIPE.
/// 0 or an errno; EMSGSIZE when the data is longer than kMaxData.
int Send(int socket, Header header, std::span<const std::byte> data, int descriptor = -1);

/// The next packet. 0 or an errno: EPIPE when the other end has closed, EPROTO for what is no
/// packet, ETIMEDOUT when nothing came for `limit` (negative: waits without limit).
int Receive(int socket, Packet& packet, Nanoseconds limit = Nanoseconds(-1));
/// The same on a socket of Connect, within the limit that it was given there: one system call, not
/// two.
int ReceiveReply(int socket, Packet& packet);

/// A send or an answer on `socket` that takes longer fails with ETIMEDOUT; zero: no limit.
void SetLimit(int socket, Nanoseconds limit);

/// A connection to the server at `path`. 0 or an errno; ETIMEDOUT when the server does not take it,
/// or a later send, or answers, within `limit`.
int Connect(const char* path, Nanoseconds limit, UniqueFd& socket);

}  // namespace platform::wire
