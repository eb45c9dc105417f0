// Boards of a test's own: their final XML file, their template and their raw image, all made from
// one list of fields.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tests/common/xml/memory_chips.h"

namespace xml_bench {

/// A field at its address in the template and, which may differ, on the chip.
struct Field {
  std::string attributes;                  ///< all but addr, count
  unsigned addr;                           ///< within its block
  std::string text;                        ///< of a single value; empty for an array
  std::vector<float> floats = {};          ///< of an array
  std::optional<unsigned> chip_addr = {};  ///< where it differs
  bool kept = false;                       ///< the template has the text as well
};

struct Block {
  std::string name;
  std::string addr;  ///< "0" or a header field
  std::vector<Field> fields;
};

inline std::string Hex(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", value);
  return text;
}

inline unsigned StartOf(const std::vector<Block>& blocks, const Block& block) {
  const std::string name = "name=\"" + block.addr.substr(block.addr[0] == '#');
  for (const Field& field : blocks[0].fields) {
    if (block.addr != "0" && field.attributes.find(name) == 0)
      return static_cast<unsigned>(std::stoul(field.text, nullptr, 16));
  }
  return 0;
}

inline Bytes ImageOf(const std::vector<Block>& blocks);

/// The XML text of blocks; `filled`: with the values, as a final file has them.
inline std::string XmlOf(const std::vector<Block>& blocks, bool filled) {
  std::string xml = "<?xml version=\"1.0\"?>\n<File><Eeprom>\n";
  const Bytes image = filled ? ImageOf(blocks) : Bytes{};
  for (const Block& block : blocks) {
    xml += "<block name=\"" + block.name + "\" addr=\"" + block.addr + "\">\n";
    for (const Field& field : block.fields) {
      xml += "<field " + field.attributes + " addr=\"" + Hex(field.addr) + "\"";
      if (!field.floats.empty()) xml += " count=\"" + std::to_string(field.floats.size()) + "\"";
      xml += ">";
      if (filled || field.kept) xml += field.text;
      if (filled && field.attributes.find("CHECK") != std::string::npos) {
        const auto at = StartOf(blocks, block) + field.chip_addr.value_or(field.addr);
        xml += Hex(image[at] | static_cast<unsigned>(image[at + 1]) << 8).substr(2);
      }
      for (const float value : field.floats) {
        char text[48];
        std::snprintf(text, sizeof text, "<e>%.14e</e>", double{value});
        xml += filled ? text : "<e/>";
      }
      xml += "</field>\n";
    }
    xml += "</block>\n";
  }
  return xml + "</Eeprom></File>\n";
}

/// A row of a channel or main reference file.
struct Row {
  unsigned code;
  std::string tag;
  std::vector<float> scale;  ///< 2
  std::vector<float> cal;    ///< 8
};

inline std::vector<float> Ramp(float first, int count) {
  std::vector<float> values;
  for (int i = 0; i < count; ++i) values.push_back(first * static_cast<float>(i + 1));
  return values;
}

inline std::vector<Row> ChannelRows() {
  std::vector<Row> rows;
  const char* const tags[] = {"range_mode_acdc_i", "range_mode_acdc_i", "range_mode_acdc_v",
                              "range_mode_acdc_v", "range_mode_acdc_v", "range_mode_dc_v",
                              "range_mode_dcir",   "range_filter",      "range_filter"};
  unsigned code = 0;
  for (const char* tag : tags) {
    const auto step = static_cast<float>(code + 1);
    rows.push_back({code++, tag, Ramp(1.9073486328125e-06F * step, 2), Ramp(0.93F * step, 8)});
  }
  return rows;
}

inline std::vector<Row> MainrefRows() {
  return {{1, "main_ref_scale_1", {1.25F, 0.5F}, Ramp(0.75F, 8)},
          {2, "main_ref_scale_2", {2.5F, 0.25F}, Ramp(-0.125F, 8)}};
}

inline Field Number(const char* name, const char* format, int size, unsigned addr, unsigned value) {
  const std::string text = format[0] == 'H' ? Hex(value).substr(2) : std::to_string(value);
  return {"name=\"" + std::string(name) + "\" tag=\"" + name + "\" format=\"" + format +
              "\" size=\"" + std::to_string(size) + "\"",
          addr, text};
}

inline Field Revision(unsigned value) {
  Field field = Number("block_revision", "INT8", 1, 2, value);
  field.kept = true;
  return field;
}

inline Field Text(const char* name, int size, unsigned addr, const std::string& text) {
  return {"name=\"" + std::string(name) + "\" tag=\"" + name + "\" format=\"ASCII\" size=\"" +
              std::to_string(size) + "\"",
          addr, text};
}

inline Field Check(const char* name, unsigned addr, unsigned last) {
  return {"name=\"" + std::string(name) + "\" format=\"CHECK\" size=\"2\" checksumStart=\"0\" " +
              "checksumEnd=\"" + std::to_string(last) + "\"",
          addr, ""};
}

/// Appends rows of code and floats from `addr` on; gives the address behind them.
inline unsigned AddRows(Block& block, unsigned addr, const std::vector<Row>& rows, bool cal) {
  for (const Row& row : rows) {
    Field code = Number("code", "HEX", 1, addr, row.code);
    code.attributes = "name=\"code\" tag=\"" + row.tag + "\" format=\"HEX\" size=\"1\"";
    block.fields.push_back(code);
    const std::vector<float>& values = cal ? row.cal : row.scale;
    block.fields.push_back({"name=\"values\" format=\"FLOAT32\" size=\"4\"", addr + 1, "", values});
    addr += 1 + 4 * static_cast<unsigned>(values.size());
  }
  return addr;
}

inline constexpr unsigned kScalingStart = 0x40;
inline constexpr unsigned kDateBytes = 11;

/// A channel board or main reference. Lengths of the blocks are those of `rows`.
inline std::vector<Block> RowBoard(const std::vector<Row>& rows, unsigned cal_revision = 2,
                                   const std::string& date = "20/05/2015") {
  const auto count = static_cast<unsigned>(rows.size());
  const unsigned cal_start = kScalingStart + 5 + 9 * count + 2;
  Block header{
      "header",
      "0",
      {Number("magic", "HEX", 2, 0, 0x5135), Revision(1), Number("length", "INT16", 2, 3, 11),
       Number("scaling_addr", "HEX", 2, 5, kScalingStart),
       Number("cal_addr", "HEX", 2, 7, cal_start)}};
  header.fields.push_back(Check("header_checksum", 9, 8));
  Block scaling{"brd_scaling_block",
                "scaling_addr",
                {Revision(1), Number("block_length", "INT16", 2, 3, 5 + 9 * count + 2)}};
  unsigned end = AddRows(scaling, 5, rows, false);
  scaling.fields.push_back(Check("scaling_checksum", end, end - 1));
  Block cal{"brd_cal_block",
            "#cal_addr",
            {Revision(cal_revision),
             Number("block_length", "INT16", 2, 3, 5 + kDateBytes + 33 * count + 2),
             Text("brd_cal_date", kDateBytes, 5, date)}};
  end = AddRows(cal, 5 + kDateBytes, rows, true);
  cal.fields.push_back(Check("cal_block_checksum", end, end - 1));
  return {header, scaling, cal};
}

/// The chip that the blocks describe; CHECK fields come out of the bytes.
inline Bytes ImageOf(const std::vector<Block>& blocks) {
  Bytes image(4096, 0);
  for (const Block& block : blocks) {
    const unsigned start = StartOf(blocks, block);
    for (const Field& field : block.fields) {
      const auto is = [&](const char* text) {
        return field.attributes.find(text) != std::string::npos;
      };
      std::size_t at = start + field.chip_addr.value_or(field.addr);
      for (const float value : field.floats) {
        PutFloat(image, at, value);
        at += 4;
      }
      if (is("ASCII"))
        std::copy(field.text.begin(), field.text.end(), image.begin() + static_cast<long>(at));
      if (is("CHECK")) Put16(image, at, ChecksumOf(image, start, at - 1));
      if (is("HEX") || is("INT")) {
        const auto value = std::stoul(field.text, nullptr, is("HEX") ? 16 : 10);
        image.at(at) = static_cast<unsigned char>(value);
        if (is("size=\"2\"")) Put16(image, at, static_cast<unsigned>(value));
      }
    }
  }
  return image;
}

/// A backplane with `rows` stray admittances of each group.
inline std::vector<Block> Backplane(unsigned revision, int rows) {
  Block header{
      "header",
      "0",
      {Number("magic", "HEX", 2, 0, 0x5135), Revision(1), Number("sys_addr", "HEX", 2, 3, 0x40)}};
  Block sys{"sys_cal_block",
            "sys_addr",
            {Revision(revision), Number("block_length", "INT16", 2, 3, 0),
             Text("sys_cal_date", kDateBytes, 5, "21/03/2024"),
             Text("brd_assembly_rev", 4, 16, "AA"), Text("sys_serial_num", 12, 20, "Q5-00042"),
             Text("final_cal_date", kDateBytes, 32, "25/03/2024"),
             Text("cal_due_date", kDateBytes, 43, "25/03/2025")}};
  unsigned addr = 54;
  for (const std::string tag : {"intcal_mode_cap", "intcal_mode_res"}) {
    Field mask = Text("mask", 8, addr, tag == "intcal_mode_cap" ? "00FF" : "FF00");
    mask.attributes = "name=\"mask\" tag=\"" + tag + "\" format=\"ASCII\" size=\"8\"";
    sys.fields.push_back(mask);
    addr += 8;
    for (int i = 0; i < rows; ++i) {
      const std::string number = std::to_string(i);
      sys.fields.push_back({"name=\"row\" tag=\"" + tag +
                                "\" format=\"FLOAT32\" size=\"4\" key=\"k" + number +
                                "\" src=\"SVR" + number + "\" meas=\"MIR\"",
                            addr, "", Ramp(1e-12F * static_cast<float>(i + 1), 8)});
      addr += 32;
    }
  }
  sys.fields.push_back(Check("sys_block_checksum", addr, addr - 1));
  sys.fields[1].text = std::to_string(addr + 2);
  return {header, sys};
}

}  // namespace xml_bench
