#include "common/msg/records/hmp_msg_head.h"

#include <cstring>

#include "common/log/log_line.h"
#include "common/msg/records/checksum.h"

namespace Msg {

bool HmpMsgHead::FrameHolds(std::size_t frame_size) const {
  return frame_size >= kFrameOverhead && len >= 0 &&
         static_cast<std::size_t>(len) <= frame_size - kFrameOverhead;
}

int HmpMsgHead::GetSize() const { return PayloadSize() + kFrameOverhead; }

int HmpMsgHead::Chksm(int level) const {
  int bytes = kHeadSize + PayloadSize();
  int sum = ByteSum(GetData(), static_cast<std::size_t>(bytes));
  Q5_LOG_AT(level, msgL, "<chksm bytes=%d sum=0x%04X/>\n", bytes, sum);
  return sum;
}

bool HmpMsgHead::ChksmInvalid() const {
  if (len < 0) return true;
  int calculated = Chksm(Logger::kDebug);
  std::int16_t received;
  std::memcpy(&received, GetData() + kHeadSize + len, sizeof received);
  if (received == static_cast<std::int16_t>(calculated)) return false;
  Q5_LOG_AT(2, msgL,
            "%s.%d: Checksum error! calculated:0x%04X  received:0x%04X  src:%x  dest:%x  "
            "op:%04X  len:%04X offset:%d(dec)\n",
            "ChksmInvalid", __LINE__, static_cast<unsigned>(calculated), received & 0xFFFFu,
            src & 0xFFu, dst & 0xFFu, opcode & 0xFFFFu, len & 0xFFFFu, kHeadSize + len);
  return true;
}

void HmpMsgHead::SetChksm(int level) {
  auto sum = static_cast<std::int16_t>(Chksm(level));
  std::memcpy(GetData() + kHeadSize + PayloadSize(), &sum, sizeof sum);
}

void HmpMsgHead::Show(int level) const {
  Q5_LOG_AT(level, msgL, "<HmpMsgHead size=%d src=%d dst=%d opcode=%d 0x%04X len=%d/>\n", kHeadSize,
            src, dst, opcode, opcode & 0xFFFFu, len);
}

void HmpMsgHead::BzeroPayload() {
  std::memset(GetData() + kHeadSize, 0, static_cast<std::size_t>(PayloadSize()));
}

void HmpMsgHead::SetReply(int payload_size, HmpAck ack) {
  opcode = static_cast<std::int16_t>(-opcode);
  len = static_cast<std::int16_t>(payload_size);
  GetData()[kHeadSize] = static_cast<char>(ack);
  SetChksm(Logger::kDebug);
}

}  // namespace Msg
