#include "simulator/calibration/calibration_record.h"

#include <zlib.h>

#include <array>
#include <cstdio>
#include <memory>
#include <numeric>

namespace simulator {
namespace {

constexpr std::uint16_t kMagic = 0x1EDB;
constexpr std::uint8_t kRevision = 1;
constexpr std::size_t kMostImage = 65536;
constexpr std::size_t kMostXml = std::size_t{4} << 20;

// Offsets in the header, little-endian.
constexpr std::size_t kRevisionAt = 2;
constexpr std::size_t kLengthAt = 3;
constexpr std::size_t kChecksumAt = 7;
constexpr std::size_t kPlainLengthAt = 9;  ///< of a plain block between header and stream

void Put(std::uint8_t* out, std::size_t size, std::size_t value) {
  for (std::size_t i = 0; i < size; ++i, value >>= 8) out[i] = static_cast<std::uint8_t>(value);
}

std::size_t Get(std::span<const std::uint8_t> bytes) {
  std::size_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) value = value << 8 | bytes[i];
  return value;
}

/// Makes the sum of the other header bytes and of the stream come to 0 in 16 bits.
std::uint16_t Checksum(std::span<const std::uint8_t> header, std::span<const std::uint8_t> stream) {
  unsigned sum = std::accumulate(stream.begin(), stream.end(), 0U);
  sum = std::accumulate(header.begin(), header.end(), sum);
  sum -= static_cast<unsigned>(header[kChecksumAt]) + header[kChecksumAt + 1];
  return static_cast<std::uint16_t>(0U - sum);
}

std::string Inflate(std::span<const std::uint8_t> stream, std::string& xml) {
  z_stream inflater{};
  if (inflateInit(&inflater) != Z_OK) return "no memory to inflate it";
  const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&inflater, inflateEnd);
  inflater.next_in = const_cast<Bytef*>(stream.data());
  inflater.avail_in = static_cast<uInt>(stream.size());
  std::array<char, 16384> part{};
  int result = Z_OK;
  while (result == Z_OK) {
    inflater.next_out = reinterpret_cast<Bytef*>(part.data());
    inflater.avail_out = part.size();
    result = inflate(&inflater, Z_NO_FLUSH);
    xml.append(part.data(), part.size() - inflater.avail_out);
    if (xml.size() > kMostXml) return "holds more than 4 MiB of XML";
  }
  if (result == Z_STREAM_END) return "";
  return std::string("broken stream: ") +
         (inflater.msg != nullptr ? inflater.msg : "it ends too early");
}

}  // namespace

std::string PackRecord(std::string_view xml, std::vector<std::uint8_t>& image) {
  if (xml.size() > kMostXml) return "longer than 4 MiB";
  uLongf length = compressBound(xml.size());
  image.assign(kRecordHeaderBytes + length, 0);
  if (compress(&image[kRecordHeaderBytes], &length, reinterpret_cast<const Bytef*>(xml.data()),
               xml.size()) != Z_OK) {
    return "cannot be compressed";
  }
  image.resize(kRecordHeaderBytes + length);
  if (image.size() > kMostImage) {
    return "too big: " + std::to_string(image.size()) + " bytes, a chip has at most " +
           std::to_string(kMostImage);
  }
  Put(&image[0], 2, kMagic);
  image[kRevisionAt] = kRevision;
  Put(&image[kLengthAt], 4, length);
  const std::span<const std::uint8_t> all(image);
  Put(&image[kChecksumAt], 2,
      Checksum(all.first(kRecordHeaderBytes), all.subspan(kRecordHeaderBytes)));
  return "";
}

std::string UnpackRecord(std::span<const std::uint8_t> image, std::string& xml) {
  xml.clear();
  if (image.size() < kRecordHeaderBytes) return "shorter than a record's header";
  const auto header = image.first(kRecordHeaderBytes);
  if (Get(header.first(2)) != kMagic) {
    char text[48];
    std::snprintf(text, sizeof text, "magic 0x%04zX instead of 0x%04X", Get(header.first(2)),
                  static_cast<unsigned>(kMagic));
    return text;
  }
  if (header[kRevisionAt] != kRevision) {
    return "record of revision " + std::to_string(header[kRevisionAt]);
  }
  const std::size_t start = kRecordHeaderBytes + Get(header.subspan(kPlainLengthAt, 2));
  const std::size_t length = Get(header.subspan(kLengthAt, 4));
  if (start > image.size() || length > image.size() - start) {
    return "a stream of " + std::to_string(length) + " bytes, of which the image ends short";
  }
  const auto stream = image.subspan(start, length);
  const std::size_t stored = Get(header.subspan(kChecksumAt, 2));
  const std::size_t sum = Checksum(header, stream);
  if (stored != sum) {
    char text[48];
    std::snprintf(text, sizeof text, "checksum 0x%04zX instead of 0x%04zX", stored, sum);
    return text;
  }
  return Inflate(stream, xml);
}

}  // namespace simulator
