// The header that every record of the host link and of the inter-module messages begins with.
//
// A record is this header, `len` bytes of payload and a two-byte checksum, all little-endian and
// packed. It is read and written in place in its frame. The header is a view of the start of that
// frame, and its operations reach beyond the header as far as `len` says. Nothing here knows the
// length of the frame: a caller that takes a record from a wire must call FrameHolds first.
//
// Threads: a record belongs to one thread at a time.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace Msg {

static_assert(std::endian::native == std::endian::little, "records are little-endian in place");

/// First payload byte of every reply.
enum HmpAck : std::uint8_t {
  HMP_ACK = 6,
  HMP_NAK = 21,
  HMP_ACK_IN_PROGRESS = 23,  ///< the request was accepted and its work continues
};

struct [[gnu::packed]] HmpMsgHead {
  char src;             ///< sender's address; not interpreted
  char dst;             ///< receiver's address; not interpreted
  std::int16_t opcode;  ///< positive in a request, its two's complement in the reply
  std::int16_t len;     ///< payload bytes, header and checksum not counted; never negative

  /// True if a frame of `frame_size` bytes that starts here contains the whole record. The frame
  /// may be too short for the header. All operations below rely on it.
  bool FrameHolds(std::size_t frame_size) const;

  /// The checksum of the record's present bytes, 0 to 65535; logs it at `level`.
  int Chksm(int level) const;
  /// True if the stored checksum differs from the computed one, which is logged, or if `len` is
  /// negative.
  bool ChksmInvalid() const;
  /// Computes the checksum and stores it after the payload; logs it at `level`.
  void SetChksm(int level);

  void Show(int level) const;

  /// Bytes of the whole record: `len` + 8. A negative `len` counts as an empty payload here and in
  /// the checksum.
  int GetSize() const;
  /// The record's own first byte.
  char* GetData() { return reinterpret_cast<char*>(this); }
  const char* GetData() const { return reinterpret_cast<const char*>(this); }

  void BzeroPayload();

  /// Makes the record a reply: negates the opcode, sets `len`, the first payload byte and the
  /// checksum. The rest of the payload stays.
  void SetReply(int payload_size, HmpAck ack);

 private:
  int PayloadSize() const { return len > 0 ? len : 0; }
};
static_assert(sizeof(HmpMsgHead) == 6);
static_assert(offsetof(HmpMsgHead, opcode) == 2 && offsetof(HmpMsgHead, len) == 4);

inline constexpr int kHeadSize = sizeof(HmpMsgHead);
inline constexpr int kChksmSize = sizeof(std::int16_t);
/// The bytes of a record besides its payload.
inline constexpr int kFrameOverhead = kHeadSize + kChksmSize;

}  // namespace Msg
