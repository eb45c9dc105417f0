// The datagram by which the modules watch one another, in the byte order that all of them have.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Msg {

enum PacketType : std::int32_t {
  BOARD_REQUEST = 256,
  BOARD_ACK = 257,
  SOS_STATUS = 258,
  MOS_STATUS = 259,
};

enum PacketStatus : std::int32_t {
  SOS_ALIVE = 0,
  SOS_NOT_ALIVE = 1,
  MOS_ALIVE = 2,
  MOS_NOT_ALIVE = 3,
};

/// UDP port of every module.
inline constexpr int kNetworkCheckPort = 28960;

struct pktinfo_t {
  std::int32_t pkttype;
  std::uint8_t systemID[6];
  std::uint8_t rsvd1[6];
  std::uint64_t seqno;  ///< of the request; an answer repeats it
  std::int32_t status;
  std::int32_t boardtype;  ///< MODULE_ID of the sender
  std::uint32_t boardIP;   ///< network order; of the module that the packet is about
  std::uint8_t rsvd2[4];
};
static_assert(sizeof(pktinfo_t) == 40 && offsetof(pktinfo_t, seqno) == 16 &&
              offsetof(pktinfo_t, status) == 24 && offsetof(pktinfo_t, boardIP) == 32);

}  // namespace Msg
