// The calibration record and the hardware's truth: a daemon that applies the one to the other must
// measure right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "simulator/calibration/board_images.h"
#include "simulator/calibration/calibration_record.h"
#include "simulator/eeprom_command.h"
#include "simulator/sample_files.h"
#include "tests/platform/temporary_root.h"

namespace simulator {
namespace {

using testing::HasSubstr;

constexpr const char* kTags[kInputModes] = {"", "range_mode_acdc_i", "range_mode_acdc_v",
                                            "range_mode_dc_v", "range_mode_dcir"};

ChannelHardware Shipped(const char* name) {
  ChannelHardware hardware;
  EXPECT_EQ(ParseChannelHardware(ShippedSource(name), hardware), "");
  return hardware;
}

EepromDocument Filled(const ChannelHardware& hardware) {
  EepromDocument document;
  EXPECT_EQ(document.Parse(ShippedFile("/varek/config/3s_meas1_t.xml")), "");
  EXPECT_EQ(FillCalibration(hardware, document), "");
  return document;
}

/// A row of the record as a daemon reads it: floats.
struct Row {
  unsigned code = 0;
  std::vector<float> scale;
  std::vector<float> cal;
};
using Rows = std::map<std::string, std::vector<Row>>;

std::vector<float> Floats(const std::string& text) {
  std::istringstream words(text);
  std::vector<float> values;
  for (std::string word; words >> word;) values.push_back(std::strtof(word.c_str(), nullptr));
  return values;
}

Rows ReadRows(const EepromDocument& document) {
  Rows rows;
  std::map<std::string, std::size_t> cal_rows;
  for (const auto& block : document.Blocks()) {
    Row* row = nullptr;
    for (const auto& field : block.fields) {
      const bool is_code = field.tag.starts_with("range_");
      if (is_code && block.name == "brd_scaling_block") {
        row = &rows[field.tag].emplace_back();
        row->code = static_cast<unsigned>(std::stoul(document.Content(field), nullptr, 16));
      } else if (is_code) {
        row = &rows.at(field.tag).at(cal_rows[field.tag]++);
        EXPECT_EQ(row->code, std::stoul(document.Content(field), nullptr, 16));
      } else if (row != nullptr && field.count > 0) {
        (field.count == 2 ? row->scale : row->cal) = Floats(document.Content(field));
      }
    }
  }
  return rows;
}

double Polynomial(const std::vector<float>& values, std::size_t first, double f) {
  double sum = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    sum += static_cast<double>(values[first + i]) * std::pow(f, static_cast<double>(i));
  }
  return sum;
}

/// Largest error of magnitude (relative) and phase over all ranges with all filters, each up to the
/// frequency that it is used at.
struct Error {
  double magnitude = 0;
  double phase = 0;
};
Error LargestError(const ChannelHardware& hardware, const Rows& rows, double sign) {
  constexpr double kMostHz[] = {7000, 7000, 1000, 0.00316, 0.01, 0.0316, 0.1, 0.316,
                                1,    3.16, 10,   31.6,    100,  316,    7000};
  Error error;
  for (std::size_t mode = 1; mode < kInputModes; ++mode) {
    for (const Row& range : rows.at(kTags[mode])) {
      for (std::size_t filter = 0; filter < std::size(kMostHz); ++filter) {
        const Row& filter_row = rows.at("range_filter").at(filter);
        for (const double f : {0.0, kMostHz[filter] / 3, kMostHz[filter]}) {
          const auto counts =
              hardware.Response(static_cast<InputMode>(mode), static_cast<std::uint8_t>(range.code),
                                static_cast<int>(filter), f);
          const double magnitude = std::abs(counts) * static_cast<double>(range.scale[0]) *
                                   Polynomial(range.cal, 0, f) * Polynomial(filter_row.cal, 0, f);
          const double phase = std::arg(counts) + sign * (Polynomial(range.cal, 4, f) +
                                                          Polynomial(filter_row.cal, 4, f));
          error.magnitude = std::max(error.magnitude, std::abs(magnitude - 1));
          error.phase = std::max(error.phase, std::abs(phase));
        }
      }
    }
  }
  return error;
}

TEST(Calibration, TheRecordUndoesTheHardware) {
  for (const char* name : {"meas1.json", "meas2.json"}) {
    const ChannelHardware hardware = Shipped(name);
    const Error error = LargestError(hardware, ReadRows(Filled(hardware)), 1);
    EXPECT_LT(error.magnitude, 5e-6) << name;
    EXPECT_LT(error.phase, 2e-6) << name;
  }
}

TEST(Calibration, OlderBoardsStoreASubtractedPhase) {
  for (const auto& [date, sign] : {std::pair("19/05/2015", -1), std::pair("20/05/2015", 1)}) {
    ChannelHardware hardware = Shipped("meas1.json");
    hardware.fields["brd_cal_date"] = date;
    EXPECT_LT(LargestError(hardware, ReadRows(Filled(hardware)), sign).phase, 2e-6) << date;
  }
}

TEST(Record, ProblemsAreNamed) {
  std::vector<std::uint8_t> image;
  ASSERT_EQ(PackRecord("<File>some text</File>", image), "");
  std::string xml;
  const std::span<const std::uint8_t> all(image);
  EXPECT_THAT(UnpackRecord(all.first(10), xml), HasSubstr("shorter than"));
  EXPECT_THAT(UnpackRecord(all.first(20), xml), HasSubstr("ends short"));
  std::string noise;
  for (unsigned i = 0, x = 1; i < 100000; ++i, x = x * 1664525 + 1013904223) {
    noise += static_cast<char>(x >> 24);
  }
  EXPECT_THAT(PackRecord(noise, image), HasSubstr("too big"));
}

TEST(Sources, ProblemsAreNamedInOneLine) {
  const std::string good(ShippedSource("meas1.json"));
  const struct {
    const char* from;
    const char* to;
    const char* problem;
  } cases[] = {
      {"\"full_scale\": 7.5,", "\"full_scale\": 750,", "largest full_scale down"},
      {"\"0x4E\"", "\"0x32\"", "be together"},
      {"\"filters\"", "\"fitlers\"", "filters"},
  };
  for (const auto& c : cases) {
    std::string text = good;
    const std::size_t at = text.find(c.from);
    ASSERT_NE(at, text.npos) << c.from;
    text.replace(at, std::strlen(c.from), c.to);
    ChannelHardware hardware;
    const std::string problem = ParseChannelHardware(text, hardware);
    EXPECT_THAT(problem, HasSubstr(c.problem));
    EXPECT_EQ(problem.find('\n'), problem.npos);
  }

  ChannelHardware hardware = Shipped("meas1.json");
  EepromDocument document = Filled(hardware);
  hardware.ranges[1].pop_back();
  EXPECT_THAT(FillCalibration(hardware, document), HasSubstr("more rows of range_mode_acdc_i"));
}

TEST(EepromCommand, FilesRoundTrip) {
  platform::TemporaryRoot root;
  const std::string xml = root / "a.xml";
  std::ofstream(xml) << ShippedFile("/home/root/5m_back_f.xml");
  ASSERT_EQ(PackFile(xml, root / "a.bin", ImageForm::kCompressed), "");
  ASSERT_EQ(UnpackFile(root / "a.bin", root / "b.xml"), "");
  std::ifstream back(root / "b.xml");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(back), {}),
            ShippedFile("/home/root/5m_back_f.xml"));
  // the file tells checksums that another program worked out; the raw image must have the same
  EepromDocument document;
  ASSERT_EQ(document.Parse(ShippedFile("/home/root/5m_back_f.xml")), "");
  std::vector<std::uint8_t> image;
  ASSERT_EQ(document.Encode(image), "");
  EXPECT_EQ(document.Text(), ShippedFile("/home/root/5m_back_f.xml"));
}

}  // namespace
}  // namespace simulator
