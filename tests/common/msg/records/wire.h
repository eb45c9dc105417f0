// Builds records byte by byte, so that a test's idea of the wire format is not the code's.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes& PutWord(Bytes& bytes, int word) {
  bytes.push_back(static_cast<std::uint8_t>(word & 0xFF));
  bytes.push_back(static_cast<std::uint8_t>((word >> 8) & 0xFF));
  return bytes;
}

/// The signed 16-bit word at `offset`.
inline int WordAt(const Bytes& bytes, std::size_t offset) {
  return static_cast<std::int16_t>(bytes.at(offset) | bytes.at(offset + 1) << 8);
}

inline int NaiveSum(const Bytes& bytes) {
  int sum = 0;
  for (std::uint8_t byte : bytes) sum = (sum + byte) % 65536;
  return sum;
}

/// A whole record of this payload with a good checksum.
inline Bytes WireRecord(int opcode, const Bytes& payload = {}, int src = 1, int dst = 2) {
  Bytes bytes = {static_cast<std::uint8_t>(src), static_cast<std::uint8_t>(dst)};
  PutWord(PutWord(bytes, opcode), static_cast<int>(payload.size()));
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  return PutWord(bytes, NaiveSum(bytes));
}

/// Its length and its sum are right.
inline bool IsWhole(const Bytes& record) {
  if (record.size() < 8 || WordAt(record, 4) != static_cast<int>(record.size()) - 8) return false;
  const Bytes summed(record.begin(), record.end() - 2);
  return (WordAt(record, summed.size()) & 0xFFFF) == NaiveSum(summed);
}

inline Bytes BytesOf(const void* data, int size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return {bytes, bytes + size};
}

/// View of the record at the start of `bytes`.
template <class Record>
Record* As(Bytes& bytes) {
  return reinterpret_cast<Record*>(bytes.data());
}

}  // namespace test
