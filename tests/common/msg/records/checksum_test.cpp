#include "common/msg/records/checksum.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace {

int Naive(const std::uint8_t* bytes, std::size_t size) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < size; ++i) sum += bytes[i];
  return static_cast<int>(sum % 65536);
}

// Both forms on bytes that end where their allocation ends, so that a sanitizer sees a read beyond.
void ExpectSums(const std::uint8_t* bytes, std::size_t size, std::size_t misalign) {
  std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[misalign + size]);
  std::copy_n(bytes, size, copy.get() + misalign);
  const std::uint8_t* data = copy.get() + misalign;
  ASSERT_EQ(Msg::ByteSum(data, size), Naive(data, size)) << size << " at " << misalign;
  ASSERT_EQ(Msg::ByteSumPortable(data, size), Naive(data, size)) << size << " at " << misalign;
}

TEST(ByteSum, EqualsTheNaiveSumAtEveryLengthAndAlignment) {
  std::mt19937 random(20240611);
  std::vector<std::uint8_t> bytes(70000);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  for (std::size_t size = 0; size <= 300; ++size) {
    for (std::size_t misalign = 0; misalign < 17; ++misalign) {
      ExpectSums(bytes.data() + random() % 1000, size, misalign);
    }
  }
  for (int i = 0; i < 100; ++i) ExpectSums(bytes.data(), random() % bytes.size(), random() % 17);
}

TEST(ByteSum, KeepsTheLow16BitsOfRunsOf255) {
  std::vector<std::uint8_t> bytes(200000, 0xFF);
  EXPECT_EQ(Msg::ByteSum(bytes.data(), 257), 0xFFFF);
  EXPECT_EQ(Msg::ByteSum(bytes.data(), 258), 0x00FE);
  for (std::size_t size : {257u, 258u, 1024u, 1025u, 32760u, 65536u, 200000u}) {
    ExpectSums(bytes.data(), size, 3);
  }
}

}  // namespace
