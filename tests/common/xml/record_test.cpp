// The compressed record against zlib's own calls, and what damage does to it.
#include "common/xml/eeprom_record.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/common/xml/board_files.h"
#include "tests/platform/bare_machine.h"

namespace {

using xml_bench::Bytes;
using xml_bench::MemoryAccess;

constexpr char kFile[] = "/chip.xml";

class RecordTest : public testing::Test {
 protected:
  int Read(Bytes& chip) { return MemoryAccess(chip).Read(kFile); }
  std::string Content() {
    std::ifstream file(machine.root / "chip.xml");
    return (std::ostringstream() << file.rdbuf()).str();
  }

  platform::MachineInPlace<> machine;
  const std::string text = xml_bench::XmlOf(xml_bench::RowBoard(xml_bench::ChannelRows()), true);
};

TEST_F(RecordTest, RoundTripBothWays) {
  for (const unsigned ucblocklen : {0u, 100u}) {
    Bytes chip = xml_bench::Packed(text, ucblocklen);
    ASSERT_EQ(Read(chip), 0);
    EXPECT_EQ(Content(), text);

    Bytes written;
    MemoryAccess access(written);
    EXPECT_EQ(access.Write(kFile, static_cast<int>(ucblocklen), true), 0);
    EXPECT_EQ(access.writes, 0);
    const int counted = access.totalBytesWritten;
    ASSERT_EQ(access.Write(kFile, static_cast<int>(ucblocklen), false), 0);
    EXPECT_EQ(access.totalBytesWritten, counted);
    ASSERT_EQ(written.size(), static_cast<std::size_t>(counted) + ucblocklen);
    const Bytes stream(written.begin() + 11 + ucblocklen, written.end());
    const Bytes expected = xml_bench::RecordOf(stream, ucblocklen);
    EXPECT_TRUE(std::equal(written.begin(), written.begin() + 11, expected.begin()));
    uLongf size = text.size();
    std::string inflated(size, ' ');
    ASSERT_EQ(
        uncompress(reinterpret_cast<Bytef*>(inflated.data()), &size, stream.data(), stream.size()),
        Z_OK);
    EXPECT_EQ(inflated, text);
  }
}

// The sum sees any single bit of what it covers, and a changed length or place moves the sum too.
TEST_F(RecordTest, EverySingleBitFlipIsFound) {
  const Bytes good = xml_bench::Packed("<File>" + text.substr(0, 400) + "</File>", 3);
  for (const unsigned char beyond : {0x00, 0xFF}) {
    Bytes chip = good;
    chip.resize(4096, beyond);
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
      const bool in_block = bit / 8 >= 11 && bit / 8 < 14;  // which the record does not cover
      chip[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
      EXPECT_EQ(Read(chip), in_block ? 0 : -1) << "bit " << bit;
      chip[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    }
    EXPECT_EQ(Read(chip), 0);
  }
}

TEST_F(RecordTest, DamagedRecordsFail) {
  const Bytes good = xml_bench::Packed(text);
  const Bytes stream(good.begin() + 11, good.end());
  const Bytes bomb = xml_bench::Packed(std::string(10'000'000, 'x'));
  ASSERT_LT(bomb.size(), 65536u);
  const auto with = [&](std::size_t at, unsigned value) {
    Bytes chip = good;
    xml_bench::Put16(chip, at, value);
    return chip;
  };
  struct Case {
    const char* what;
    Bytes chip;
    int result;
  } cases[] = {
      {"stream cut by its length", with(3, static_cast<unsigned>(stream.size() / 2)), -1},
      {"stream cut, with a sum that suits",
       xml_bench::RecordOf(Bytes(stream.begin(), stream.end() - 9)), 0},
      {"chip that ends early", Bytes(good.begin(), good.end() - 1), -1},
      {"magic", with(0, 7898), -1},
      {"length of 4 GiB", with(5, 0xFFFF), -1},
      {"block and length beyond the chip", with(9, 0xFFFF), -1},
      {"no zlib stream", xml_bench::RecordOf(Bytes(300, 0x55)), -1},
      {"inflates to 10 MB", bomb, -1},
  };
  for (Case& c : cases) EXPECT_EQ(Read(c.chip), c.result) << c.what;

  Bytes chip = good;
  MemoryAccess access(chip);
  access.opens = false;
  EXPECT_EQ(access.Read(kFile), -1);
  access.opens = true;
  access.fails_from = 11;
  EXPECT_EQ(access.Read(kFile), -1);
  EXPECT_EQ(access.Read("/no/such/directory"), -1);
  access.fails_from = 1 << 20;
  EXPECT_EQ(access.Read(kFile), 0);
  EXPECT_EQ(Content(), text);
}

}  // namespace
