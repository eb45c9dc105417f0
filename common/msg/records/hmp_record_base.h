// What requests and replies have in common, so that a record adds its fields only.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "common/msg/records/hmp_msg_head.h"
#include "common/msg/records/record_layout.h"

namespace Msg {

/// A text field of a record, cut so that a zero byte always ends it, and zero to the field's end: a
/// reply does not carry what its buffer held before.
template <std::size_t N>
void SetText(char (&field)[N], std::string_view text) {
  std::memset(field, 0, N);
  text.copy(field, N - 1);
}

/// A record with a Show of its own fields.
template <class Record, class Base = HmpMsgHead>
struct [[gnu::packed]] HmpRecord : Base {
  void Show(int level) const {
    ShowRecord(level, LayoutOf<Record>::kLayout, static_cast<const Record*>(this));
  }
};

/// A reply with data behind its `ack`.
template <class Record, class Base = HmpMsgHead>
struct [[gnu::packed]] HmpReply : HmpRecord<Record, Base> {
  /// Clears the payload and takes the reply's own length, which until then is the request's.
  void InitPayload() {
    this->len = kPayloadSize<Record>;
    this->BzeroPayload();
  }
  /// Last of all: negates the opcode and stores `ack` and the checksum.
  void SetAck() { this->SetReply(kPayloadSize<Record>, HMP_ACK); }

 private:
  template <class R>
  static constexpr std::int16_t kPayloadSize = sizeof(R) - kFrameOverhead;
};

/// A request that is its opcode only.
template <class Record>
struct [[gnu::packed]] HmpPlainReq : HmpRecord<Record> {
  std::int16_t chksm;
};

/// A reply that is its `ack` only. The checksum stands at an odd offset.
template <class Record>
struct [[gnu::packed]] HmpAckRep : HmpReply<Record> {
  std::uint8_t ack;
  std::int16_t chksm;
};

}  // namespace Msg

// NOLINTBEGIN(bugprone-macro-parentheses): a type's name takes none
#define Q5_PLAIN_REQUEST(Record)                          \
  struct [[gnu::packed]] Record : HmpPlainReq<Record> {}; \
  Q5_RECORD(Record, 8, Q5_AT(6, chksm))

#define Q5_ACK_REPLY(Record)                            \
  struct [[gnu::packed]] Record : HmpAckRep<Record> {}; \
  Q5_ACK_REPLY_LAYOUT(Record)
// NOLINTEND(bugprone-macro-parentheses)

#define Q5_ACK_REPLY_LAYOUT(Record) Q5_RECORD(Record, 9, Q5_AT(6, ack), Q5_AT(7, chksm))
