// The common part of requests and replies, so that a record adds only its fields.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "common/msg/records/hmp_msg_head.h"
#include "common/msg/records/record_layout.h"

namespace Msg {

/// A text field of a record. The text is cut so that a zero byte always ends it, and the rest of
/// the field is zero: a reply must not carry old contents of its buffer.
template <std::size_t N>
void SetText(char (&field)[N], std::string_view text) {
  std::memset(field, 0, N);
  text.copy(field, N - 1);
}

/// A record with a Show for its own fields.
template <class Record, class Base = HmpMsgHead>
struct [[gnu::packed]] HmpRecord : Base {
  void Show(int level) const {
    ShowRecord(level, LayoutOf<Record>::kLayout, static_cast<const Record*>(this));
  }
};

/// A reply with data after its `ack`.
template <class Record, class Base = HmpMsgHead>
struct [[gnu::packed]] HmpReply : HmpRecord<Record, Base> {
  /// Clears the payload and sets the length of the reply, which until then is that of the request.
  void InitPayload() {
    this->len = kPayloadSize<Record>;
    this->BzeroPayload();
  }
  /// The last step: negates the opcode and stores `ack` and the checksum.
  void SetAck() { this->SetReply(kPayloadSize<Record>, HMP_ACK); }

 private:
  template <class R>
  static constexpr std::int16_t kPayloadSize = sizeof(R) - kFrameOverhead;
};

/// A request without a payload.
template <class Record>
struct [[gnu::packed]] HmpPlainReq : HmpRecord<Record> {
  std::int16_t chksm;
};

/// A reply with only its `ack`. The checksum has an odd offset.
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
