// Final XML files into tables, and files that are not as they should be.
#include "common/msg/records/major_codes.h"
#include "common/xml/eeprom_dev.h"
#include "tests/common/xml/group_bench.h"

namespace xml_bench {
namespace {

constexpr char kMeas1[] = "/varek/config/3s_meas1_f.xml";
constexpr char kMeas2[] = "/varek/config/4s_meas2_f.xml";
constexpr int kCounts[] = {0, 2, 3, 1, 1};

class FinalXmlTest : public GroupTest {
 protected:
  FinalXmlTest() {
    WriteChannels();
    WriteUploads();
  }
  static std::string Replace(std::string text, const std::string& from, const std::string& to) {
    const auto at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  }
};

void ExpectRow(const Dev::mode_range_table_ent& row, const Row& expected) {
  EXPECT_EQ(row.RangeCode, expected.code);
  EXPECT_EQ(row.FullScale, static_cast<float>(8388608.0L * expected.scale[0]));
  EXPECT_EQ(row.ScalingFactor, expected.scale[0]);
  EXPECT_EQ(row.DcOffset, expected.scale[1]);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(row.gain.coef[i], expected.cal[i]);
    EXPECT_EQ(row.phase.coef[i], expected.cal[i + 4]);
  }
}

TEST_F(FinalXmlTest, TablesFollowTheFiles) {
  Dev::EepromGroup group(module, chips, errors);
  ASSERT_EQ(group.ReadEeDataFromXml(err), 0);
  EXPECT_EQ(err, 0);
  const auto rows = ChannelRows();
  for (const int ch : {0, 1}) {
    std::size_t next = 0;
    for (int mode = 1; mode <= 4; ++mode) {
      const auto* table = group.GetRangeTable(ch, mode);
      ASSERT_EQ(table->num_ents, kCounts[mode]);
      for (int i = 0; i < table->num_ents; ++i) ExpectRow(table->ent[i], rows[next++]);
    }
    ASSERT_EQ(group.GetCalTableEnt(ch)->num_ents, 2);
    ExpectRow(group.GetCalTableEnt(ch)->ent[1], rows[next + 1]);
  }
  for (const int n : {0, 1}) {
    ASSERT_EQ(group.GetMainrefTableEnt(n)->num_ents, 1);
    const auto& row = *group.GetMainrefTableEnt(n)->ent;
    const Row expected = MainrefRows()[static_cast<std::size_t>(n)];
    EXPECT_EQ(row.FullScale, 0.0F);
    EXPECT_EQ(row.ScalingFactor, expected.scale[0]);
    EXPECT_EQ(row.phase.d, expected.cal[7]);
  }
  const auto* resistance = group.GetIntcalTableEnt(2);
  ASSERT_EQ(resistance->num_ents, 2);
  EXPECT_STREQ(resistance->mask, "FF00");
  EXPECT_STREQ(resistance->ent[1].key, "k1");
  EXPECT_STREQ(resistance->ent[1].src, "SVR1");
  EXPECT_STREQ(resistance->ent[1].meas, "MIR");
  EXPECT_EQ(resistance->ent[1].cap.b, Ramp(2e-12F, 8)[1]);
  EXPECT_EQ(group.GetIntcalTableEnt(1)->ent[0].phase.d, Ramp(1e-12F, 8)[7]);
  EXPECT_EQ(Dev::BackplanePROM::GetBackplanePROM().GetRevision(), 126);
  EXPECT_EQ(Dev::MeasCh1EEPROM::GetMeasCh1EEPROM().action_3s, 1);
  EXPECT_EQ(Dev::MainRefEEPROM::GetMainRefEEPROM().action_11m, 0);
  EXPECT_EQ(Dev::MeasCh2EEPROM::GetMeasCh2EEPROM().calrev_4s, 2);
  EXPECT_EQ(group.GetBrdAssemRev(), "AA");
  EXPECT_EQ(group.getFinalCalDate(), "25/03/2024");
  EXPECT_EQ(group.getCalDueDate(), "25/03/2025");

  const std::string factors = Content("/varek/config/factors.txt");
  EXPECT_EQ(factors.find("\nChannel 0:\nRANGE_MODE_ACDC_I:\n 1      0          1.600000e+01  "
                         "1.907349e-06  3.814697e-06  9.300000e-01  "),
            0u)
      << factors;
  EXPECT_NE(factors.find("\nChannel 1:\n"), std::string::npos);
}

TEST_F(FinalXmlTest, ABadFileAffectsOnlyItsChannel) {
  const auto rows = ChannelRows();
  auto missing = RowBoard(rows);
  missing[2].fields.erase(missing[2].fields.begin() + 3, missing[2].fields.begin() + 5);
  auto extra = RowBoard(rows);
  AddRows(extra[2], 2000, {rows[0]}, true);
  auto mixed_rows = rows;
  std::swap(mixed_rows[0], mixed_rows[3]);
  const std::string bomb =
      "<?xml version=\"1.0\"?><!DOCTYPE File [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaa\">"
      "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
      "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">]>";
  const std::string outside = "<?xml version=\"1.0\"?><!DOCTYPE File SYSTEM \"/etc/file.dtd\">";
  const std::string start = "<?xml version=\"1.0\"?>";
  const struct {
    const char* what;
    std::string text;
  } cases[] = {
      {"a row missing", XmlOf(missing, true)},
      {"a row too many", XmlOf(extra, true)},
      {"codes that differ", Replace(channel, ">3</field>", ">33</field>")},
      {"modes mixed", XmlOf(RowBoard(mixed_rows), true)},
      {"no scaling block", Replace(channel, "brd_scaling_block", "x")},
      {"a code that is none", Replace(channel, ">3</field>", ">3g</field>")},
      {"a value that is none", Replace(channel, "<e>1", "<e>nan<!-- -->1")},
      {"full scale overflows", Replace(channel, "<e>1.90734863281250e-06</e>", "<e>1e38</e>")},
      {"a value too few", Replace(channel, "<e>1.90734863281250e-06</e>", "")},
      {"cut", channel.substr(0, channel.size() / 2)},
      {"entities used", Replace(Replace(channel, start, bomb), ">3</field>", ">&c;3</field>")},
      {"a document type elsewhere", Replace(channel, start, outside)},
      {"10 MB", Replace(channel, ">3</field>", ">" + std::string(10'000'000, '0') + "3</field>")},
  };
  for (const auto& c : cases) {
    Write(kMeas1, c.text);
    Dev::EepromGroup group(module, chips, errors);
    EXPECT_EQ(group.ReadEeDataFromXml(err), -1) << c.what;
    EXPECT_EQ(err, -1);
    ASSERT_EQ(group.GetRangeTable(0, 1)->num_ents, 4) << c.what;  // the default table
    EXPECT_EQ(group.GetRangeTable(0, 1)->ent[0].FullScale, 75.0F);
    EXPECT_EQ(group.GetCalTableEnt(0)->num_ents, 0);
    ASSERT_EQ(group.GetRangeTable(1, 2)->num_ents, 3) << c.what;
    ExpectRow(group.GetRangeTable(1, 2)->ent[0], rows[2]);
  }
  // What XML has of its own is no harm.
  Write(kMeas1, Replace(channel, ">3</field>", "><!-- three -->&#x33;</field>"));
  Dev::EepromGroup group(module, chips, errors);
  EXPECT_EQ(group.ReadEeDataFromXml(err), 0);
  EXPECT_EQ(group.GetRangeTable(0, 2)->num_ents, 3);
}

TEST_F(FinalXmlTest, WithoutAFileTheDefaultTableIsUsed) {
  std::filesystem::remove(machine.root.Path() + kMeas2);
  Dev::EepromGroup group(module, chips, errors);
  EXPECT_EQ(group.ReadEeDataFromXml(err), -1);
  EXPECT_EQ(group.GetRangeTable(0, 1)->num_ents, 2);
  EXPECT_EQ(group.GetRangeTable(1, 4)->ent[3].FullScale, 2e-08F);
  EXPECT_EQ(group.GetCalTableEnt(1)->num_ents, 0);
}

TEST_F(FinalXmlTest, MainReferenceFailuresAreReported) {
  const auto path = "/home/root/11m_mainref_f.xml";
  auto twice = MainrefRows();
  twice[1].tag = twice[0].tag;
  auto negative = MainrefRows();
  negative[1].scale[0] = -2.5F;
  const auto rows = MainrefRows();
  const struct {
    const char* what;
    std::string text;
    std::vector<int> steps;
  } cases[] = {
      {"not XML", "x", {1, 11, 12}},
      {"no cal block", Replace(mainref, "brd_cal_block", "x"), {7, 12}},
      {"codes", Replace(mainref, ">2</field>", ">5</field>"), {10}},
      {"the same divider twice", XmlOf(RowBoard(twice), true), {10}},
      {"the dividers exchanged", XmlOf(RowBoard({rows[1], rows[0]}), true), {10}},
      {"a negative factor", XmlOf(RowBoard(negative), true), {4}},
      {"another factor", Replace(mainref, "<e>1.25000000000000e+00</e>", "<e>1.26</e>"), {13}},
      {"no checksum",
       Replace(mainref, "name=\"scaling_checksum\" format=\"CHECK\"",
               "name=\"scaling_checksum\" format=\"HEX\""),
       {13}},
      {"date", Replace(mainref, "19/05/2015", "the nineteenth of May"), {13, 11}},
  };
  for (const auto& c : cases) {
    Write(path, c.text);
    errors.ClearErrorCodes();
    Dev::EepromGroup group(module, chips, errors);
    EXPECT_EQ(group.ReadEeDataFromXml(err), 0) << c.what;
    const auto list = errors.CopyErrorCodes();
    std::vector<int> steps;
    Msg::ForEachErrorWord(list.words, [&](const Msg::ErrorWord& word) {
      if (word.code == Msg::NAK_MCODE_MR_EEPROMXML) steps.push_back(word.data[0]);
    });
    EXPECT_EQ(steps, c.steps) << c.what;
    EXPECT_TRUE(errors.IsStickyError());
  }
  // blanks, and 0x before a code, are as good
  Write(path, Replace(Replace(mainref, ">2</field>", "> 0x2\n</field>"),
                      "<e>1.25000000000000e+00</e>", "<e> 1.25000000000000e+00 </e>"));
  errors.ClearErrorCodes();
  Dev::EepromGroup group(module, chips, errors);
  EXPECT_EQ(group.ReadEeDataFromXml(err), 0);
  EXPECT_TRUE(Words().empty());
}

TEST_F(FinalXmlTest, StrayAdmittances) {
  const struct {
    const char* what;
    std::string text;
    int rows;
  } cases[] = {
      {"an early revision has none", XmlOf(Backplane(1, 2), true), 0},
      {"src too long", Replace(backplane, "SVR0", "eighteen character"), 0},
      {"17 characters", Replace(backplane, "SVR0", "seventeen charact"), 2},
      {"key too long", Replace(backplane, "\"k0\"", "\"" + std::string(64, 'k') + "\""), 0},
      {"not XML", "<", 0},
      {"good", backplane, 2},
  };
  for (const auto& c : cases) {
    Write("/home/root/5m_back_f.xml", c.text);
    Dev::EepromGroup group(module, chips, errors);
    EXPECT_EQ(group.ReadEeDataFromXml(err), 0) << c.what;
    EXPECT_EQ(group.GetIntcalTableEnt(1)->num_ents, c.rows) << c.what;
    EXPECT_EQ(group.GetIntcalTableEnt(2)->num_ents, c.rows) << c.what;
  }
}

}  // namespace
}  // namespace xml_bench
