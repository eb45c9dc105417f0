// The two passes from chips to tables, the waits between the modules, and how it all ended.
#include "common/msg/records/major_codes.h"
#include "common/xml/eeprom_dev.h"
#include "common/zpubsub/records/xml_post.h"
#include "tests/common/xml/group_bench.h"

namespace xml_bench {
namespace {

constexpr char kMeasWarning[] = "WARNING, BAD MEAS EEPROM\n";

class MeasModuleTest : public GroupTest {
 protected:
  MeasModuleTest() {
    chips.chips[0].content = Packed("<File/>");
    chips.chips[2].content = ImageOf(RowBoard(ChannelRows()));
    chips.chips[3].content = Packed(channel, 40);
    Write("/varek/config/3s_meas1_t.xml", XmlOf(RowBoard(ChannelRows()), false));
    Write("/varek/config/2s_sig_t.xml", XmlOf(RowBoard(MainrefRows()), false));
    WriteUploads();
  }
  int WriteAll() { return Dev::EepromGroup(module, chips, errors).WriteEepromToXml(nullptr); }
};

class MainModuleTest : public GroupTest {
 protected:
  MainModuleTest() : GroupTest(Msg::MAIN_MODULE) {
    std::vector<MemoryChips::Chip> list;
    for (int num = 1; num <= 13; ++num) list.push_back({{num, Dev::EepromKind::Other}, {}});
    list[4] = {{5, Dev::EepromKind::BackPlane}, ImageOf(Backplane(4, 2))};
    list[10] = {{11, Dev::EepromKind::MainRef}, Packed(mainref)};
    chips = MemoryChips(std::move(list));
    Write("/varek/config/5m_back_t.xml", XmlOf(Backplane(4, 2), false));
  }
};

TEST_F(MeasModuleTest, ABadChipIsSkipped) {
  chips.chips[0].content[20] ^= 1;
  chips.chips[1].dead = true;
  chips.chips[2].content[100] = 0xFF;  // not an ASCII date or a code, a float: the checksum
  const std::string xml = XmlOf(RowBoard(ChannelRows()), false);
  // A text that does not end: bad, and the next chip follows.
  Write("/varek/config/3s_meas1_t.xml",
        std::string(xml).replace(xml.find("size=\"11\""), 9, "size=\"9\""));
  EXPECT_EQ(WriteAll(), 0);
  EXPECT_EQ(Content("/varek/diags/diag_meas.txt"),
            std::string(kMeasWarning) + kMeasWarning + kMeasWarning);
  EXPECT_EQ(Content("/varek/config/4s_meas2_f.xml"), channel);
}

TEST_F(MeasModuleTest, ChecksumAndRevisionEndThePass) {
  std::vector<std::pair<int, int>> posts;
  Dev::EepromLinks links;
  links.send_xml_post_result = [&](int result, int type) { posts.emplace_back(result, type); };
  Dev::EepromGroup group(module, chips, errors, links);
  auto& image = chips.chips[2].content;
  image[0x40 + 8] ^= 1;
  EXPECT_EQ(group.WriteEepromToXml(nullptr), -1);
  EXPECT_FALSE(Exists("/varek/config/4s_meas2_f.xml"));
  image[0x40 + 8] ^= 1;
  const auto chip = std::exchange(image, ImageOf(RowBoard(ChannelRows(), 1)));
  EXPECT_EQ(group.WriteEepromToXml(nullptr), -1);
  image = chip;
  EXPECT_EQ(group.WriteEepromToXml(nullptr), 0);
  EXPECT_EQ(posts, (std::vector<std::pair<int, int>>{{1, 8192}, {1, 4096}, {0, 0}}));
  EXPECT_EQ(Seconds(), 3);  // one before each post
}

TEST_F(MeasModuleTest, ChipsWithNothingToDecode) {
  auto& image = chips.chips[2].content;
  std::fill(image.begin() + 5, image.begin() + 9, 0xFF);  // block addresses of a blank chip
  Put16(image, 9, ChecksumOf(image, 0, 8));
  EXPECT_EQ(WriteAll(), 0);
  EXPECT_FALSE(Exists("/varek/config/3s_meas1_f.xml"));
  EXPECT_FALSE(Exists("/varek/diags/diag_meas.txt"));
  std::filesystem::remove(machine.root / "varek/config/3s_meas1_t.xml");
  EXPECT_EQ(WriteAll(), 0);
  EXPECT_FALSE(Exists("/varek/config/3s_meas1_f.xml"));
}

TEST_F(MeasModuleTest, WaitsForTheMainModule) {
  WriteChannels();
  bool uploaded = false;
  int asked = 0;
  Dev::EepromLinks links;
  links.upload_done = [&] { return uploaded; };
  links.xml_result_received = [&] { return ++asked > 3; };
  Dev::EepromGroup late(module, chips, errors, links);
  EXPECT_EQ(late.ReadEeDataFromXml(err), 0);  // the files are there without the message
  EXPECT_EQ(Seconds(), 25 + 3);
  uploaded = true;
  asked = -100;
  EXPECT_EQ(late.ReadEeDataFromXml(err), 0);
  EXPECT_EQ(Seconds(), 25 + 3 + 10);
  EXPECT_TRUE(Words().empty());

  const struct {
    const char* file;
    int word;
  } missing[] = {{"home/root/11m_mainref_f.xml", Msg::NAK_MCODE_MAINREF_RESTART},
                 {"home/root/5m_back_f.xml", Msg::NAK_MCODE_BACKPLANE_RESTART}};
  for (const auto& c : missing) {
    WriteUploads();
    std::filesystem::remove(machine.root / c.file);
    errors.ClearErrorCodes();
    Dev::EepromGroup group(module, chips, errors, links);
    EXPECT_EQ(group.ReadEeDataFromXml(err), -1);
    EXPECT_EQ(err, -1);
    EXPECT_EQ(Words(), std::vector<int>{c.word});
  }
  WriteUploads();
  errors.ClearErrorCodes();
  EXPECT_EQ(Dev::EepromGroup(module, chips, errors).ReadEeDataFromXml(err), 0);
  EXPECT_TRUE(Words().empty());
}

TEST_F(MeasModuleTest, AFileThatGrowsIsRefused) {
  Dev::EepromLinks links;
  links.upload_done = [] { return true; };
  Dev::EepromGroup group(module, chips, errors, links);
  const struct {
    std::size_t last_size;
    int result;
  } cases[] = {{99, 0}, {1, 1}, {0, 1}};  // grows on, is done at the second look, has been done
  for (const auto& c : cases) {
    std::size_t size = 0;
    Write("/home/root/5m_back_f.xml", "");
    const auto upload = machine.clock.StartTicks(std::chrono::milliseconds(100), [&] {
      size = std::min(size + 1, c.last_size);
      Write("/home/root/5m_back_f.xml", std::string(size, 'x'));
    });
    std::string current;
    EXPECT_EQ(group.CheckFiles(1, "5m_back_f.xml", current), c.result) << c.last_size;
    EXPECT_EQ(current, "5m_back_f.xml");
  }
}

TEST_F(MeasModuleTest, ChannelsOfDifferentRevisionsAreReported) {
  WriteChannels();
  Write("/varek/config/4s_meas2_f.xml", XmlOf(RowBoard(ChannelRows(), 1), true));
  std::vector<std::pair<int, int>> posts;
  Dev::EepromLinks links;
  links.send_xml_post_result = [&](int result, int type) { posts.emplace_back(result, type); };
  EXPECT_EQ(Dev::EepromGroup(module, chips, errors, links).ReadEeDataFromXml(err), 0);
  EXPECT_EQ(posts, (std::vector<std::pair<int, int>>{{1, 4096}}));
}

TEST_F(MainModuleTest, PassesItsFilesOn) {
  int done = 0;
  Dev::EepromLinks links;
  links.send_upload_done = [&] { ++done; };
  links.module_address = [](int id) { return id == Msg::MEAS_MODULE ? "127.0.0.52" : "1;reboot"; };
  Dev::EepromGroup group(module, chips, errors, links);
  ASSERT_EQ(group.WriteEepromToXml(nullptr), 0);
  EXPECT_EQ(machine.instrument.commands,
            (std::vector<std::string>{"cp /varek/config/5m_back_f.xml /5m_back_f.xml",
                                      "ftpput 127.0.0.52 5m_back_f.xml",
                                      "cp /varek/config/11m_mainref_f.xml /11m_mainref_f.xml",
                                      "ftpput 127.0.0.52 11m_mainref_f.xml"}));
  EXPECT_EQ(done, 1);
  ASSERT_EQ(group.ReadEeDataFromXml(err), 0);
  EXPECT_EQ(group.GetSysSerNum(), "Q5-00042");
  EXPECT_EQ(Content("/etc/discover-config.txt"), "#Varek#Q5#Serialnum#Q5-00042\n");

  chips.chips[4].dead = true;
  chips.chips[6].dead = true;  // a board whose chip is missed by nobody
  chips.chips[10].content[11] ^= 1;
  EXPECT_EQ(group.WriteEepromToXml(nullptr), 0);
  EXPECT_EQ(Content("/varek/diags/diag_main.txt"),
            "WARNING, BAD BACKPLANE EEPROM\nWARNING, BAD MAINREF EEPROM\n");
  EXPECT_EQ(machine.instrument.commands.size(), 4u);
  EXPECT_EQ(done, 2);
}

TEST_F(MainModuleTest, PostResultsOfTheThreeModules) {
  const char* const files[] = {"main", "meas", "src"};
  const char* const revision = "FAIL - xml/eeprom block revision mismatch\n";
  const char* const checksum = "FAIL - xml/eeprom checksum error\n";
  const char* const unknown = "FAIL - xml/eeprom unknown error\n";
  const struct {
    int from, failtype, word;
    const char *text, *line, *code;
  } cases[] = {
      {1, 4096, 0x1020, revision, "!2706\n", "2706"},
      {0, 8192, 0x2010, checksum, "!1708\n", "1708"},
      {1, 0, 0x4020, unknown, "!270C\n", "270c"},
  };
  for (const auto& c : cases) {
    Dev::EepromGroup group(module, chips, errors);
    const std::string path = std::string("/varek/diags/diag_") + files[c.from] + ".txt";
    Write(path, "");
    EXPECT_EQ(IMSG::XmlPostWord(1, c.failtype, c.from), c.word);
    EXPECT_EQ(IMSG::XmlPostWord(0, c.failtype, c.from), 0);
    group.XMLPostResults(c.word);
    group.XMLPostResults(0);
    EXPECT_EQ(Content(path), std::string(c.text) + c.line);
    EXPECT_EQ(group.PostError(), c.code);
  }
  Dev::EepromGroup group(module, chips, errors);
  group.XMLPostResults(0x8010);  // of no known kind
  EXPECT_EQ(group.PostError(), "");
  chips.chips[4].content[0x40 + 60] ^= 1;
  EXPECT_EQ(group.WriteEepromToXml(nullptr), -1);  // the main module tells itself
  EXPECT_EQ(group.PostError(), "1708");
}

}  // namespace
}  // namespace xml_bench
