// Records to send.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/msg/records/hmp_records.h"
#include "host/hex.h"

namespace host {

/// A request without fields, complete with its checksum.
Bytes PlainRequest(Msg::HmpOpcode opcode);

/// A request with its fields set, made whole: opcode, `len` and checksum.
template <class Record>
Bytes RequestOf(Msg::HmpOpcode opcode, Record record) {
  record.opcode = opcode;
  record.len = static_cast<std::int16_t>(Msg::LayoutOf<Record>::kLayout.PayloadSize());
  Bytes bytes(record.GetData(), record.GetData() + sizeof record);
  reinterpret_cast<Msg::HmpMsgHead*>(bytes.data())->SetChksm(7);
  return bytes;
}

/// A header and its payload, with or without the two bytes of a checksum, made whole with the right
/// one. Nothing, and a reason in `error`, when `len` in the header is another length.
std::optional<Bytes> WithChecksum(Bytes record, std::string& error);

/// The opcode of whatever was sent; what is missing of it counts as 0, as it does for the daemon.
std::int16_t OpcodeOf(const Bytes& request);

}  // namespace host
