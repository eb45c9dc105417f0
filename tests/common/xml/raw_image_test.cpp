// Raw images with templates of the same, an older and a newer revision.
#include "common/xml/raw_image.h"

#include <gtest/gtest.h>

#include "common/zpubsub/records/xml_post.h"
#include "tests/common/xml/board_files.h"

namespace {

using Dev::EepromKind;
using Dev::XmlDocument;
using xml_bench::Bytes;
using xml_bench::XmlOf;

TEST(RawField, Formats) {
  const Bytes bytes = {0x34, 0x12, 0xFF, 'A', '&', 0, 'x', '\r', 'B', 0x80, 0, 0, 0, 0x20, 0xC1};
  const struct {
    const char* format;
    int addr, size;
    const char* text;  // null: fails
  } cases[] = {
      {"HEX", 0, 2, "1234"},
      {"HEX", 0, 4, "41ff1234"},
      {"INT16", 0, 2, "4660"},
      {"ASCII", 3, 3, "A&"},
      {"ASCII", 8, 3, nullptr},  // no end; not printable
      {"FLOAT32", 11, 4, "-1.00000000000000e+01"},
      {"HEX", 0, 5, nullptr},
      {"HEX", -1, 1, nullptr},
      {"HEX", 15, 1, nullptr},
      {"ASCII", 3, 65535, nullptr},
      {"DOUBLE", 0, 4, nullptr},
  };
  for (const auto& c : cases) {
    const auto text = Dev::DecodeField(bytes, c.addr, c.size, c.format);
    EXPECT_EQ(text.value_or("fails"), c.text == nullptr ? "fails" : c.text)
        << c.format << " at " << c.addr;
  }
}

class RawImageTest : public testing::Test {
 protected:
  // Header, body and checksums: the first result that is not 0.
  int Decode(const std::string& xml, const Bytes& bytes, EepromKind kind) {
    document = XmlDocument::Parse(xml, "template");
    EXPECT_TRUE(document.IsReady());
    posted = 0;
    Dev::RawImage image([this](int, int failtype) { posted = failtype; });
    int result = image.DecodeHeader(Dev::ChipBytes(bytes).first(64), document);
    last_block = image.AnalyzeHeader();
    if (result == 0) result = image.DecodeBody(bytes, kind, document);
    return result == 0 ? image.processChksumBlock(bytes, document) : result;
  }
  // Text of a field, or of a value of an array, of a block.
  std::string Text(std::size_t block, std::size_t field, int value = -1) {
    const auto node = document.Blocks().at(block).Children("field").at(field);
    return value < 0 ? node.Text() : node.Children("e").at(static_cast<std::size_t>(value)).Text();
  }

  XmlDocument document;
  int posted = 0;
  int last_block = 0;
};

TEST_F(RawImageTest, ChipAndTemplateOfOneRevision) {
  const auto board = xml_bench::RowBoard(xml_bench::ChannelRows());
  ASSERT_EQ(Decode(XmlOf(board, false), xml_bench::ImageOf(board), EepromKind::MeasCh1), 0);
  EXPECT_EQ(last_block, 0x40 + 5 + 9 * 9 + 2);
  EXPECT_EQ(Text(2, 2), "20/05/2015");
  for (std::size_t block = 1; block < board.size(); ++block) {
    for (std::size_t i = 0; i < board[block].fields.size(); ++i) {
      const auto& field = board[block].fields[i];
      if (!field.text.empty() && field.floats.empty() &&
          field.attributes.find("ASCII") != std::string::npos) {
        EXPECT_EQ(Text(block, i), field.text);
      }
      for (std::size_t e = 0; e < field.floats.size(); ++e) {
        EXPECT_EQ(std::stof(Text(block, i, static_cast<int>(e))), field.floats[e]);
      }
    }
  }
}

// The template's board with the chip's revision and everything behind it at another address.
std::vector<xml_bench::Block> Shifted(std::vector<xml_bench::Block> board, std::size_t block,
                                      const char* chip_revision, unsigned shift) {
  for (auto& field : board[block].fields) {
    if (field.addr == 2) field.text = chip_revision;
    if (field.addr > 5) field.chip_addr = field.addr - shift;
  }
  return board;
}

TEST_F(RawImageTest, ChipNewerThanItsTemplate) {
  const auto board = xml_bench::RowBoard(xml_bench::ChannelRows(), 1);
  auto newer = Shifted(board, 2, "2", 11);
  newer[2].fields.erase(newer[2].fields.begin() + 2);  // the date
  for (const EepromKind kind : {EepromKind::MeasCh1, EepromKind::MeasCh2, EepromKind::MainRef}) {
    ASSERT_EQ(Decode(XmlOf(board, false), xml_bench::ImageOf(newer), kind), 0);
    EXPECT_EQ(Text(2, 0), "2");
    EXPECT_EQ(Text(2, 1), board[2].fields[1].text);  // the length has its place in every revision
    EXPECT_EQ(Text(2, 2), "");
    EXPECT_EQ(std::stof(Text(2, 4, 7)), board[2].fields[4].floats[7]);
    EXPECT_EQ(std::stof(Text(1, 3, 1)), board[1].fields[3].floats[1]);
  }
  // A board of any other kind has to be of its template's revision.
  EXPECT_EQ(Decode(XmlOf(board, false), xml_bench::ImageOf(newer), EepromKind::Other), -2);
  EXPECT_EQ(posted, IMSG::kXmlPostRevision);
}

TEST_F(RawImageTest, ChipOlderThanItsTemplateIsRefused) {
  const std::string xml = XmlOf(xml_bench::RowBoard(xml_bench::ChannelRows(), 3), false);
  for (const EepromKind kind : {EepromKind::MeasCh1, EepromKind::MainRef, EepromKind::Other}) {
    const auto board = xml_bench::RowBoard(xml_bench::ChannelRows(), 2);
    EXPECT_EQ(Decode(xml, xml_bench::ImageOf(board), kind), -2);
    EXPECT_EQ(posted, IMSG::kXmlPostRevision);
  }
  const std::string backplane = XmlOf(xml_bench::Backplane(4, 2), false);
  EXPECT_EQ(
      Decode(backplane, xml_bench::ImageOf(xml_bench::Backplane(3, 2)), EepromKind::BackPlane), -2);
  EXPECT_EQ(
      Decode(backplane, xml_bench::ImageOf(xml_bench::Backplane(4, 2)), EepromKind::BackPlane), 0);
  EXPECT_EQ(posted, 0);
  // The header's revision has no room for a difference either way.
  auto board = xml_bench::RowBoard(xml_bench::ChannelRows(), 3);
  board[0].fields[1].text = "2";
  EXPECT_EQ(Decode(xml, xml_bench::ImageOf(board), EepromKind::MeasCh1), -2);
  EXPECT_EQ(posted, IMSG::kXmlPostRevision);
}

TEST_F(RawImageTest, BackplanesOfSeveralRevisions) {
  // Template 2, chip 3: no date, so all behind it lies 11 bytes lower.
  const auto undated = xml_bench::Backplane(2, 1);
  auto newer = Shifted(undated, 1, "3", 11);
  newer[1].fields.erase(newer[1].fields.begin() + 2);
  for (auto& field : newer[1].fields) {
    if (field.addr == 16) field.chip_addr = 5;
  }
  ASSERT_EQ(Decode(XmlOf(undated, false), xml_bench::ImageOf(newer), EepromKind::BackPlane), 0);
  EXPECT_EQ(Text(1, 4), "Q5-00042");
  EXPECT_EQ(std::stof(Text(1, 8, 7)), 8e-12F);

  // Template 3 with 19 rows (9 of a group and one more), chip 4 with ten: only those are decoded,
  // and the checksum stands nine rows of 32 bytes lower.
  auto full = xml_bench::Backplane(3, 19);
  auto& fields = full[1].fields;
  const auto second_mask = fields.begin() + 8 + 19;
  auto check = fields.back();
  fields.erase(second_mask, fields.end());
  const unsigned end = fields.back().addr + 32;
  check = xml_bench::Check("sys_block_checksum", end, end - 1);
  fields.push_back(check);
  const std::string xml = XmlOf(full, false);
  fields[0].text = "4";
  fields.erase(fields.begin() + 8 + 10, fields.end() - 1);
  fields.back().chip_addr = end - 288;
  fields[1].text = std::to_string(end - 288 + 2);
  ASSERT_EQ(Decode(xml, xml_bench::ImageOf(full), EepromKind::BackPlane), 0);
  EXPECT_EQ(std::stof(Text(1, 8 + 9, 0)), 10e-12F);
  EXPECT_EQ(Text(1, 8 + 10, 0), "");
}

TEST_F(RawImageTest, EveryBlockIsSummed) {
  const auto board = xml_bench::RowBoard(xml_bench::MainrefRows());
  const std::string xml = XmlOf(board, false);
  Bytes image = xml_bench::ImageOf(board);
  const unsigned places[] = {
      0, 1, 0x40, 0x40 + 15, 0x40 + 23, 0x40 + 25 + 17, 0x40 + 25 + 5 + 11 + 66};
  for (const unsigned place : places) {
    image[place] ^= 0x10;
    EXPECT_EQ(Decode(xml, image, EepromKind::MainRef), -1) << place;
    image[place] ^= 0x10;
  }
  EXPECT_EQ(Decode(xml, image, EepromKind::MainRef), 0);
}

TEST_F(RawImageTest, UnusableTemplatesAreRefused) {
  const auto board = xml_bench::RowBoard(xml_bench::MainrefRows());
  const std::string good = XmlOf(board, false);
  const Bytes image = xml_bench::ImageOf(board);
  std::string many;
  for (int i = 0; i < 40; ++i) many += "<field name=\"n\" format=\"HEX\" size=\"1\" addr=\"0\"/>";
  const struct {
    const char* from;
    std::string to;
  } cases[] = {
      {"<block name=\"brd_cal_block\" addr=\"#cal_addr\"", "<block name=\"brd_cal_block\""},
      {"addr=\"#cal_addr\"", "addr=\"elsewhere\""},
      {"format=\"FLOAT32\"", "format=\"FLOAT64\""},
      {"size=\"1\"", "size=\"99999999999\""},
      {"count=\"2\"", "count=\"1\""},
      {"addr=\"0x6\" count", "addr=\"0xFFFF\" count"},
      {"checksumEnd=\"22\"", "checksumEnd=\"0xFFFF\""},
      {"<block name=\"header\" addr=\"0\">", "<block name=\"header\" addr=\"0\">" + many},
      {"name=\"magic\"", "name=\"" + std::string(63, 'm') + "\""},
      {"name=\"block_revision\" tag=\"block_revision\" format=\"INT8\"",
       "name=\"block_revision\" tag=\"block_revision\" format=\"ASCII\""},
  };
  for (const auto& c : cases) {
    std::string xml = good;
    const auto at = xml.find(c.from);
    ASSERT_NE(at, std::string::npos) << c.from;
    xml.replace(at, std::string(c.from).size(), c.to);
    EXPECT_EQ(Decode(xml, image, EepromKind::MainRef), -1) << c.from;
  }
  EXPECT_EQ(Decode(good, image, EepromKind::MainRef), 0);
}

}  // namespace
