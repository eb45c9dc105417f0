#include "simulator/record_cutter.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace simulator {
namespace {

std::vector<std::byte> MakeRecord(std::int16_t length, std::uint8_t filler) {
  const auto bits = static_cast<std::uint16_t>(length);
  std::vector<std::byte> record = {std::byte{1},
                                   std::byte{2},
                                   std::byte{0x46},
                                   std::byte{0},
                                   static_cast<std::byte>(bits & 0xFF),
                                   static_cast<std::byte>(bits >> 8)};
  const std::size_t behind = length < 0 ? 2 : static_cast<std::size_t>(length) + 2;
  record.resize(6 + behind, std::byte{filler});
  return record;
}

TEST(RecordCutter, CutsTheSameRecordsForAnyArrivalOfTheStream) {
  std::vector<std::vector<std::byte>> records;
  std::vector<std::byte> stream;
  for (const int length : {0, 1, 257, 32767, 0, 3}) {
    records.push_back(MakeRecord(static_cast<std::int16_t>(length), 0xFF));
    stream.insert(stream.end(), records.back().begin(), records.back().end());
  }
  for (const std::size_t step :
       {std::size_t{1}, std::size_t{7}, std::size_t{4096}, stream.size()}) {
    RecordCutter cutter;
    std::vector<std::vector<std::byte>> cut;
    for (std::size_t at = 0; at < stream.size(); at += step) {
      cutter.Feed(std::span(stream).subspan(at, std::min(step, stream.size() - at)));
      while (auto record = cutter.Next()) cut.push_back(std::move(*record));
    }
    EXPECT_EQ(cut, records) << "in steps of " << step;
  }
}

}  // namespace
}  // namespace simulator
