#include "host/request.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace host {
namespace {

// As much of the header as there is.
Msg::HmpMsgHead HeadOf(const Bytes& record) {
  Msg::HmpMsgHead head{};
  std::copy_n(record.begin(), std::min(record.size(), sizeof head), head.GetData());
  return head;
}

}  // namespace

Bytes PlainRequest(Msg::HmpOpcode opcode) {
  Msg::HmpMsgHead head{};
  head.opcode = opcode;
  std::string error;
  return *WithChecksum(Bytes(head.GetData(), head.GetData() + Msg::kHeadSize), error);
}

std::optional<Bytes> WithChecksum(Bytes record, std::string& error) {
  Msg::HmpMsgHead head = HeadOf(record);
  if (record.size() < sizeof head) {
    error = fmt::format("{} bytes; a record has {} at least: src, dst, opcode (2), len (2)",
                        record.size(), sizeof head);
    return std::nullopt;
  }
  std::size_t without = sizeof head + static_cast<std::size_t>(std::max<int>(head.len, 0));
  std::size_t whole = without + Msg::kChksmSize;
  if (head.len < 0 || (record.size() != without && record.size() != whole)) {
    error = fmt::format("len is {}, but {} bytes follow the header", int{head.len},
                        record.size() - sizeof head);
    return std::nullopt;
  }
  record.resize(whole);
  reinterpret_cast<Msg::HmpMsgHead*>(record.data())->SetChksm(7);
  return record;
}

std::int16_t OpcodeOf(const Bytes& request) { return HeadOf(request).opcode; }

}  // namespace host
