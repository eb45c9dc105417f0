#include "common/xml/eeprom_record.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <span>
#include <utility>

#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"
#include "common/xml/xml_document.h"

namespace Dev {
namespace {

static_assert(std::endian::native == std::endian::little, "the header is read as it is");

constexpr int kChunk = 16384;

std::uint16_t SumOf(std::span<const unsigned char> bytes, std::uint16_t sum = 0) {
  return static_cast<std::uint16_t>(std::accumulate(bytes.begin(), bytes.end(), unsigned{sum}));
}

std::uint16_t ChecksumOf(EEPROMhdr header, std::uint16_t stream_sum) {
  header.chksum = 0;
  unsigned char bytes[sizeof header];
  std::memcpy(bytes, &header, sizeof header);
  return static_cast<std::uint16_t>(0u - SumOf(bytes, stream_sum));
}

// zlib's state with its end.
class Inflater {
 public:
  Inflater() : ready_(inflateInit(&stream) == Z_OK) {}
  ~Inflater() {
    if (ready_) inflateEnd(&stream);
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  bool IsReady() const { return ready_; }

  z_stream stream{};

 private:
  const bool ready_;
};

class Deflater {
 public:
  explicit Deflater(int level) : ready_(deflateInit(&stream, level) == Z_OK) {}
  ~Deflater() {
    if (ready_) deflateEnd(&stream);
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;
  bool IsReady() const { return ready_; }

  z_stream stream{};

 private:
  const bool ready_;
};

// Inflates all of `input` and writes it. `total` counts what has been written.
int InflateChunk(z_stream& stream, std::span<unsigned char> input, std::FILE* file,
                 std::size_t& total) {
  unsigned char output[kChunk];
  stream.next_in = input.data();
  stream.avail_in = static_cast<unsigned>(input.size());
  int result = Z_OK;
  do {
    stream.next_out = output;
    stream.avail_out = sizeof output;
    result = inflate(&stream, Z_NO_FLUSH);
    if (result == Z_NEED_DICT || result == Z_DATA_ERROR || result == Z_MEM_ERROR) return result;
    const std::size_t made = sizeof output - stream.avail_out;
    total += made;
    if (total > kMaxXmlBytes) {
      Q5_LOG_ERROR(ee24lc32L, "record inflates to more than %zu bytes\n", kMaxXmlBytes);
      return -1;
    }
    if (std::fwrite(output, 1, made, file) != made) return -1;
  } while (stream.avail_out == 0 && result != Z_STREAM_END);
  return result == Z_STREAM_END ? Z_STREAM_END : Z_OK;
}

// The place of a stream within the largest chip.
bool FitsChip(const EEPROMhdr& header) {
  const std::uint64_t end = sizeof header + std::uint64_t{header.ucblocklen} + header.len;
  return end <= kEepromBytes;
}

// Closes the chip at the end of a scope.
class OpenChip {
 public:
  explicit OpenChip(EEPROMaccess& chip) : chip_(chip), open_(chip.openprom() == 0) {}
  ~OpenChip() {
    if (open_) chip_.closeprom();
  }
  OpenChip(const OpenChip&) = delete;
  OpenChip& operator=(const OpenChip&) = delete;
  bool IsOpen() const { return open_; }

 private:
  EEPROMaccess& chip_;
  const bool open_;
};

}  // namespace

int EEPROMaccess::inflatefile(std::FILE* file, int length, int address, std::uint16_t& sum) {
  Inflater inflater;
  if (!inflater.IsReady()) return Z_MEM_ERROR;
  unsigned char input[kChunk];
  std::size_t total = 0;
  int result = Z_OK;
  int left = length;
  while (left > 0) {
    const int got = readprom(input, std::min(left, kChunk), address + length - left);
    if (got < 0 || got > std::min(left, kChunk)) return -1;
    if (got == 0) break;
    const auto bytes = std::span(input).first(static_cast<std::size_t>(got));
    sum = SumOf(bytes, sum);
    left -= got;
    if (result == Z_OK) result = InflateChunk(inflater.stream, bytes, file, total);
    if (result != Z_OK && result != Z_STREAM_END) return result;
  }
  return left <= 0 || result == Z_STREAM_END ? 0 : Z_DATA_ERROR;
}

int EEPROMaccess::Read(const char* filename) {
  lib::OwnedFile file = lib::OpenFile(filename, "wbe", Logger::ee_grpL);
  if (!file) return -1;
  EEPROMhdr header{};
  std::uint16_t sum = 0;
  {
    const OpenChip chip(*this);
    if (!chip.IsOpen()) return -1;
    unsigned char bytes[sizeof header];
    if (readprom(bytes, sizeof bytes, 0) != sizeof bytes) return -1;
    std::memcpy(&header, bytes, sizeof header);
    if (header.magic != kEepromMagic || !FitsChip(header)) {
      Q5_LOG_ERROR(ee24lc32L, "%s: no record: magic 0x%x, %u bytes behind a block of %u\n",
                   filename, unsigned{header.magic}, unsigned{header.len},
                   unsigned{header.ucblocklen});
      return -1;
    }
    const int start = header.ucblocklen + static_cast<int>(sizeof header);
    const int result = inflatefile(file.get(), static_cast<int>(header.len), start, sum);
    if (result != 0) {
      Q5_LOG_ERROR(ee24lc32L, "%s: the record cannot be inflated: %d\n", filename, result);
      return -1;
    }
  }
  if (lib::CloseWritten(std::move(file), filename, Logger::ee_grpL) != 0) return -1;
  const std::uint16_t checksum = ChecksumOf(header, sum);
  if (checksum == header.chksum) return 0;
  Q5_LOG_ERROR(ee24lc32L, "%s: record with checksum 0x%x, not 0x%x\n", filename,
               unsigned{header.chksum}, unsigned{checksum});
  return -1;
}

int EEPROMaccess::deflatefile(std::FILE* file, int level, int address, std::uint16_t& sum,
                              int& length) {
  Deflater deflater(level);
  if (!deflater.IsReady()) return Z_MEM_ERROR;
  z_stream& stream = deflater.stream;
  unsigned char input[kChunk];
  unsigned char output[kChunk];
  int result = Z_OK;
  while (result != Z_STREAM_END) {
    stream.next_in = input;
    stream.avail_in = static_cast<unsigned>(std::fread(input, 1, sizeof input, file));
    if (std::ferror(file) != 0) return -1;
    const int flush = std::feof(file) != 0 ? Z_FINISH : Z_NO_FLUSH;
    do {
      stream.next_out = output;
      stream.avail_out = sizeof output;
      result = deflate(&stream, flush);
      if (result == Z_STREAM_ERROR) return result;
      const int made = static_cast<int>(sizeof output - stream.avail_out);
      if (made > kEepromBytes - address - length) return -1;
      sum = SumOf(std::span(output).first(static_cast<std::size_t>(made)), sum);
      if (!sizeOnly && made > 0 && writeprom(output, made, address + length) < 0) return -1;
      length += made;
    } while (stream.avail_out == 0);
  }
  return 0;
}

int EEPROMaccess::Write(const char* filename, int ucblocklen, bool only_size) {
  sizeOnly = only_size;
  totalBytesWritten = 0;
  if (ucblocklen < 0 || ucblocklen > kEepromBytes - static_cast<int>(sizeof(EEPROMhdr))) return -1;
  const lib::OwnedFile file = lib::OpenFile(filename, "rbe", Logger::ee_grpL);
  if (!file) return -1;
  const OpenChip chip(*this);
  if (!chip.IsOpen()) return -1;
  std::uint16_t sum = 0;
  int length = 0;
  const int start = ucblocklen + static_cast<int>(sizeof(EEPROMhdr));
  const int result = deflatefile(file.get(), Z_DEFAULT_COMPRESSION, start, sum, length);
  if (result != 0) {
    Q5_LOG_ERROR(ee24lc32L, "%s: no record can be made of it: %d\n", filename, result);
    return -1;
  }
  EEPROMhdr header{kEepromMagic, kEepromRev, static_cast<std::uint32_t>(length), 0,
                   static_cast<std::uint16_t>(ucblocklen)};
  header.chksum = ChecksumOf(header, sum);
  unsigned char bytes[sizeof header];
  std::memcpy(bytes, &header, sizeof header);
  if (!sizeOnly && writeprom(bytes, sizeof bytes, 0) < 0) return -1;
  totalBytesWritten = length + static_cast<int>(sizeof header);
  return 0;
}

}  // namespace Dev
