#include "common/msg/records/checksum.h"

#include <algorithm>
#include <cstring>

#ifdef __SSE2__
#include <immintrin.h>
#endif

namespace Msg {
namespace {

constexpr std::size_t kWord = sizeof(std::uint64_t);

std::uint64_t LoadWord(const std::uint8_t* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// For the few bytes of a short record or of a tail.
std::uint32_t SumOneByOne(const std::uint8_t* bytes, std::size_t size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += bytes[i];
  return sum;
}

}  // namespace

std::uint16_t ByteSumPortable(const void* data, std::size_t size) {
  constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FF;
  constexpr std::uint64_t kEvenPairs = 0x0000FFFF0000FFFF;
  // A word adds at most 2 * 255 to each 16-bit lane, so this many words cannot carry into the next.
  constexpr std::size_t kWordsPerFold = 0xFFFF / (2 * 255);

  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::uint64_t sum = 0;
  while (size >= kWord) {
    std::size_t words = std::min(size / kWord, kWordsPerFold);
    std::uint64_t lanes = 0;
    for (std::size_t i = 0; i < words; ++i, bytes += kWord) {
      std::uint64_t word = LoadWord(bytes);
      lanes += (word & kEvenBytes) + ((word >> 8) & kEvenBytes);
    }
    std::uint64_t pairs = (lanes & kEvenPairs) + ((lanes >> 16) & kEvenPairs);
    sum += (pairs & 0xFFFFFFFF) + (pairs >> 32);
    size -= words * kWord;
  }
  return static_cast<std::uint16_t>(sum + SumOneByOne(bytes, size));
}

#ifdef __SSE2__

namespace {

constexpr std::size_t kBlock = sizeof(__m128i);

// The sums of a block's two halves, each in a 64-bit lane.
__m128i BlockSum(const std::uint8_t* bytes) {
  __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  return _mm_sad_epu8(block, _mm_setzero_si128());
}

// Only the last `size` bytes, 0 to 15, of the block that ends at `end`: the bytes before are
// counted already.
__m128i TailSum(const std::uint8_t* end, std::size_t size) {
  alignas(kBlock) static constexpr std::uint8_t kMasks[2 * kBlock] = {
      0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,
      0,    0,    0,    0,    0,    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  __m128i mask = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kMasks + size));
  __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - kBlock));
  return _mm_sad_epu8(_mm_and_si128(block, mask), _mm_setzero_si128());
}

}  // namespace

std::uint16_t ByteSum(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  if (size < kBlock) return static_cast<std::uint16_t>(SumOneByOne(bytes, size));
  const auto* end = bytes + size;
  // Two sums at a time, so that no addition waits for the one before.
  __m128i sum = _mm_setzero_si128();
  __m128i other = _mm_setzero_si128();
  for (; size >= 4 * kBlock; size -= 4 * kBlock, bytes += 4 * kBlock) {
    __m128i first = _mm_add_epi64(BlockSum(bytes), BlockSum(bytes + kBlock));
    __m128i second = _mm_add_epi64(BlockSum(bytes + 2 * kBlock), BlockSum(bytes + 3 * kBlock));
    sum = _mm_add_epi64(sum, first);
    other = _mm_add_epi64(other, second);
  }
  for (; size >= kBlock; size -= kBlock, bytes += kBlock) {
    sum = _mm_add_epi64(sum, BlockSum(bytes));
  }
  sum = _mm_add_epi64(sum, _mm_add_epi64(other, TailSum(end, size)));
  sum = _mm_add_epi64(sum, _mm_unpackhi_epi64(sum, sum));
  return static_cast<std::uint16_t>(_mm_cvtsi128_si32(sum));
}

#else

std::uint16_t ByteSum(const void* data, std::size_t size) { return ByteSumPortable(data, size); }

#endif

}  // namespace Msg
