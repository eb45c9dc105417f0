#include "simulator/record_cutter.h"

#include <cstdint>

namespace simulator {

void RecordCutter::Feed(std::span<const std::byte> bytes) {
  if (broken_) return;
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(start_));
  start_ = 0;
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
}

std::optional<RecordCutter::Record> RecordCutter::Next() {
  const std::span rest = std::span(pending_).subspan(start_);
  if (broken_ || rest.size() < kHeaderBytes) return std::nullopt;
  const auto length = static_cast<std::int16_t>(std::to_integer<unsigned>(rest[4]) |
                                                std::to_integer<unsigned>(rest[5]) << 8);
  if (length < 0) {
    Record record(rest.begin(), rest.begin() + kHeaderBytes);
    record.resize(kHeaderBytes + kChecksumBytes);
    broken_ = true;
    pending_.clear();
    start_ = 0;
    return record;
  }
  const std::size_t size = kHeaderBytes + static_cast<std::size_t>(length) + kChecksumBytes;
  if (rest.size() < size) return std::nullopt;
  start_ += size;
  return Record(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(size));
}

}  // namespace simulator
