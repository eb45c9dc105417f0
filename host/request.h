// Records to send.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "common/msg/hmp_records.h"
#include "host/hex.h"

namespace host {

/// A request without fields, complete with its checksum.
Bytes PlainRequest(Msg::HmpOpcode opcode);

/// A header and its payload, with or without the two bytes of a checksum, made whole with the right
/// one. Nothing, and a reason in `error`, when `len` in the header tells another length.
std::optional<Bytes> WithChecksum(Bytes record, std::string& error);

/// The opcode of whatever was sent; what is missing of it counts as 0, as it does for the daemon.
std::int16_t OpcodeOf(const Bytes& request);

}  // namespace host
