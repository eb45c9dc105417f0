// A host's record as it passes the main module, whose daemons and the source module's hear it, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>

#include "common/msg/records/record_layout.h"

namespace simulator {

using HostRecord = std::span<const std::byte>;
/// Called from the thread of `ethb`; returns soon.
using HostRecordListener = std::function<void(HostRecord)>;

/// The opcode. Nothing when the frame is too short for the record or its checksum is wrong.
std::optional<std::int16_t> OpcodeOf(HostRecord record);

/// The fields of a whole record, its checksum left out. Nothing when its payload is too short.
template <class Record>
std::optional<Record> FieldsOf(HostRecord record) {
  constexpr std::size_t kFields = sizeof(Record) - Msg::kChksmSize;
  if (record.size() < sizeof(Record)) return std::nullopt;
  Record fields{};
  std::memcpy(static_cast<void*>(&fields), record.data(), kFields);
  if (fields.len < Msg::LayoutOf<Record>::kLayout.PayloadSize()) return std::nullopt;
  return fields;
}

}  // namespace simulator
