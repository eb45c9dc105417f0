// EEPROM chips in memory, and what a factory would put on them.
#pragma once

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/xml/eeprom_chips.h"

namespace xml_bench {

using Bytes = std::vector<unsigned char>;

inline void Put16(Bytes& bytes, std::size_t at, unsigned value) {
  bytes.at(at) = static_cast<unsigned char>(value);
  bytes.at(at + 1) = static_cast<unsigned char>(value >> 8);
}

inline void PutFloat(Bytes& bytes, std::size_t at, float value) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  Put16(bytes, at, bits & 0xFFFF);
  Put16(bytes, at + 2, bits >> 16);
}

/// What makes the sum of bytes [first, last] come to 0 modulo 65536.
inline unsigned ChecksumOf(const Bytes& bytes, std::size_t first, std::size_t last) {
  unsigned sum = 0;
  for (std::size_t i = first; i <= last; ++i) sum += bytes.at(i);
  return (0x10000 - sum % 0x10000) % 0x10000;
}

/// A compressed record around `stream`, whatever that is.
inline Bytes RecordOf(const Bytes& stream, unsigned ucblocklen = 0) {
  Bytes record(11, 0);
  Put16(record, 0, 7899);
  record[2] = 1;
  Put16(record, 3, stream.size() & 0xFFFF);
  Put16(record, 5, static_cast<unsigned>(stream.size() >> 16));
  Put16(record, 9, ucblocklen);
  Bytes summed = record;
  summed.insert(summed.end(), stream.begin(), stream.end());
  Put16(record, 7, ChecksumOf(summed, 0, summed.size() - 1));
  record.insert(record.end(), ucblocklen, 0x5A);
  record.insert(record.end(), stream.begin(), stream.end());
  return record;
}

inline Bytes Deflated(const std::string& text) {
  uLongf size = compressBound(text.size());
  Bytes stream(size);
  compress(stream.data(), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
  stream.resize(size);
  return stream;
}

inline Bytes Packed(const std::string& text, unsigned ucblocklen = 0) {
  return RecordOf(Deflated(text), ucblocklen);
}

class MemoryAccess : public Dev::EEPROMaccess {
 public:
  explicit MemoryAccess(Bytes& content) : content_(content) {}

  int openprom() override { return opens ? 0 : -1; }
  void closeprom() override {}
  int writeprom(unsigned char* data, int count, int address) override {
    const auto end = static_cast<std::size_t>(address + count);
    if (content_.size() < end) content_.resize(end, 0xFF);
    std::copy_n(data, count, content_.begin() + address);
    ++writes;
    return count;
  }
  int readprom(unsigned char* data, int count, int address) override {
    if (address >= fails_from) return -1;
    const int size = static_cast<int>(content_.size());
    const int got = std::clamp(size - address, 0, count);
    std::copy_n(content_.begin() + std::min(address, size), got, data);
    return got;
  }

  bool opens = true;
  int fails_from = 1 << 20;
  int writes = 0;

 private:
  Bytes& content_;
};

/// The chips of a module. A chip without content is blank.
class MemoryChips : public Dev::EepromChips {
 public:
  struct Chip {
    Dev::EepromChip info;
    Bytes content;
    bool dead = false;
  };

  explicit MemoryChips(std::vector<Chip> list) : chips(std::move(list)) {
    for (const Chip& chip : chips) list_.push_back(chip.info);
  }

  const std::vector<Dev::EepromChip>& List() override { return list_; }
  int Read(std::size_t place, int len, int last_block) override {
    data_.fill(0xFF);
    const Chip& chip = chips.at(place);
    if (chip.dead) return -1;
    std::size_t count = static_cast<std::size_t>(len);
    if (last_block != 0) {
      const auto at = static_cast<std::size_t>(last_block);
      count = at + ByteOf(chip, at + 3) + 256u * ByteOf(chip, at + 4);
    }
    count = std::min({count, data_.size(), chip.content.size()});
    std::copy_n(chip.content.begin(), count, data_.begin());
    return 0;
  }
  const Dev::EepromBytes& Data() const override { return data_; }
  std::unique_ptr<Dev::EEPROMaccess> Access(std::size_t place) override {
    return std::make_unique<MemoryAccess>(chips.at(place).content);
  }

  std::vector<Chip> chips;

 private:
  static unsigned ByteOf(const Chip& chip, std::size_t at) {
    return at < chip.content.size() ? chip.content[at] : 0xFF;
  }

  std::vector<Dev::EepromChip> list_;
  Dev::EepromBytes data_{};
};

}  // namespace xml_bench
