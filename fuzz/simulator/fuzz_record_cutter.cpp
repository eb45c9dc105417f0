// However a stream is split, the cutter must make the same records, with every byte of
// them.
#include <cassert>
#include <cstdint>
#include <vector>

#include "simulator/record_cutter.h"

using simulator::RecordCutter;

namespace {

std::vector<RecordCutter::Record> Cut(std::span<const std::byte> stream, std::size_t step) {
  RecordCutter cutter;
  std::vector<RecordCutter::Record> records;
  while (!stream.empty()) {
    const auto part = stream.first(std::min(step, stream.size()));
    cutter.Feed(part);
    stream = stream.subspan(part.size());
    while (auto record = cutter.Next()) records.push_back(std::move(*record));
  }
  return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::span stream = std::as_bytes(std::span(data + 1, size - 1));
  const auto whole = Cut(stream, stream.size());
  assert(Cut(stream, data[0] % 64 + 1) == whole);
  std::size_t bytes = 0;
  for (const auto& record : whole) {
    assert(record.size() >= 8);
    bytes += record.size();
  }
  assert(bytes <= stream.size() + RecordCutter::kChecksumBytes);
  return 0;
}
