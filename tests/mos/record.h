// Host records as bytes, made without the daemon's own code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace test {

using Bytes = std::vector<unsigned char>;

inline void PutWord(Bytes& bytes, int value) {
  bytes.push_back(static_cast<unsigned char>(value & 0xFF));
  bytes.push_back(static_cast<unsigned char>(value >> 8 & 0xFF));
}

inline int WordAt(const Bytes& bytes, size_t offset) {
  return static_cast<std::int16_t>(bytes.at(offset) | bytes.at(offset + 1) << 8);
}

inline int Sum(const Bytes& bytes, size_t count) {
  unsigned sum = 0;
  for (size_t i = 0; i < count; ++i) sum += bytes.at(i);
  return static_cast<std::int16_t>(sum);
}

/// A whole record with its right sum.
inline Bytes Record(int opcode, const Bytes& payload = {}, int src = 0x11, int dst = 0x22) {
  Bytes bytes{static_cast<unsigned char>(src), static_cast<unsigned char>(dst)};
  PutWord(bytes, opcode);
  PutWord(bytes, static_cast<int>(payload.size()));
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  PutWord(bytes, Sum(bytes, bytes.size()));
  return bytes;
}

}  // namespace test
