#include "simulator/host_record.h"

#include "common/msg/records/checksum.h"

namespace simulator {

std::optional<std::int16_t> OpcodeOf(HostRecord record) {
  Msg::HmpMsgHead head{};
  if (record.size() < sizeof head) return std::nullopt;
  std::memcpy(static_cast<void*>(&head), record.data(), sizeof head);
  if (head.len < 0) return std::nullopt;
  const std::size_t summed = sizeof head + static_cast<std::size_t>(head.len);
  if (record.size() < summed + Msg::kChksmSize) return std::nullopt;
  std::uint16_t sum = 0;
  std::memcpy(&sum, record.data() + summed, sizeof sum);
  if (sum != Msg::ByteSum(record.data(), summed)) return std::nullopt;
  return std::int16_t{head.opcode};
}

}  // namespace simulator
