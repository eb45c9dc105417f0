// Any bytes as the reply to any request: checked, and if it passes printed in both forms.
#include <cstdlib>

#include "common/msg/records/checksum.h"
#include "host/report.h"
#include "host/request.h"

namespace {

// Few random sums are right: this one is put right for the checks behind it to be reached.
void PutChecksumRight(host::Bytes& bytes) {
  if (bytes.size() < Msg::kFrameOverhead) return;
  std::size_t summed = bytes.size() - Msg::kChksmSize;
  std::uint16_t sum = Msg::ByteSum(bytes.data(), summed);
  bytes[summed] = static_cast<std::uint8_t>(sum);
  bytes[summed + 1] = static_cast<std::uint8_t>(sum >> 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  std::span<const Msg::Message> messages = Msg::Messages();
  host::Bytes request = host::PlainRequest(messages[data[0] % messages.size()].opcode);
  host::Bytes bytes(data + 2, data + size);
  if (data[1] % 2 != 0) PutChecksumRight(bytes);

  host::Reply reply;
  if (!host::ReadReply(request, bytes, reply).empty()) return 0;
  if (reply.bytes != bytes) std::abort();
  if (host::ReplyJson(reply).dump().empty() || host::NakText(reply).empty()) std::abort();
  host::FieldsText(reply);
  return 0;
}
