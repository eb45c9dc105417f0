// The calibration group: final XML files into tables.
#include <array>
#include <cstdint>
#include <string>

#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/records/module_id.h"
#include "common/xml/chip_files.h"
#include "common/xml/default_ranges.h"
#include "common/xml/eeprom_dev.h"
#include "common/xml/eeprom_group.h"
#include "common/xml/factors_file.h"
#include "common/xml/file_checks.h"
#include "common/xml/final_xml.h"
#include "common/xml/intcal_rows.h"
#include "common/xml/range_rows.h"
#include "common/xml/raw_template.h"
#include "common/zpubsub/records/xml_post.h"

using Logger::ee_grpL;

namespace Dev {
namespace {

constexpr char kDiscoveryPath[] = "/etc/discover-config.txt";
constexpr std::size_t kDateChars = 16;
constexpr std::size_t kRevisionChars = 16;
constexpr std::size_t kSerialChars = 64;
/// Rows of the default table, the unused last ones included.
constexpr std::size_t kDefaultRows = 20;

// What an error word says of a file whose date or revision cannot be read.
enum ReadStep : int { kDateStep = 11, kRevisionStep = 12 };

std::string Uploaded(const char* name) { return std::string(kUploadDirectory) + name; }

range_table Slice(std::vector<mode_range_table_ent>& rows, std::size_t first, std::size_t count) {
  return {static_cast<int>(count), count == 0 ? nullptr : &rows[first]};
}

// Text of a field; empty for a missing one.
std::string TextOf(const XmlDocument& document, const char* name, std::size_t size) {
  return processFieldName(document, name, size).value_or("");
}

bool ReadCalDateFromXml(const XmlDocument& document, const CalibratedBoard& of) {
  const auto date = processFieldName(document, "brd_cal_date", kDateChars);
  if (date) of.action = of.board.ChkBrdCalDate(date->c_str());
  return date.has_value();
}

bool ReadCalRevFromXml(const XmlDocument& document, const CalibratedBoard& of) {
  const auto revision = RevisionOf(document, kBoardCalBlock);
  if (!revision) return false;
  of.calrev = *revision;
  of.board.SetCalRevision(*revision);
  return true;
}

}  // namespace

const range_table* EepromGroup::GetRangeTable(int channel, int mode) const {
  if (channel < 0 || channel > 1 || mode < 0 || mode >= Msg::INPUT_MODE_COUNT) return nullptr;
  return &channels_[static_cast<std::size_t>(channel)].range_tbl[static_cast<std::size_t>(mode)];
}

bool EepromGroup::IsCalibrated(int channel) const {
  return (channel == 0 || channel == 1) && channels_[static_cast<std::size_t>(channel)].calibrated;
}

const range_table* EepromGroup::GetCalTableEnt(int channel) const {
  if (channel < 0 || channel > 1) return nullptr;
  return &channels_[static_cast<std::size_t>(channel)].calfilter_tbl;
}

const range_table* EepromGroup::GetMainrefTableEnt(int n) const {
  return n == 0 || n == 1 ? &mainref_tbl[static_cast<std::size_t>(n)] : nullptr;
}

const intcal_table* EepromGroup::GetIntcalTableEnt(int n) const {
  return n >= 0 && n <= 2 ? &intcal_tbl[static_cast<std::size_t>(n)] : nullptr;
}

void EepromGroup::SetDefaultTable(ChannelTables& tables) {
  tables = {};
  tables.ranges.resize(kDefaultRows);
  std::size_t row = 0;
  for (const DefaultRange& range : kDefaultRanges) {
    range_table& table = tables.range_tbl[static_cast<std::size_t>(range.mode)];
    if (table.num_ents++ == 0) table.ent = &tables.ranges[row];
    tables.ranges[row++] = RowOf(range);
  }
}

int EepromGroup::ReadChannel(ChannelTables& tables) {
  const XmlDocument document = XmlDocument::Load(_file_f.c_str());
  if (document.GetState() == XmlDocument::State::NotOpened) {
    Q5_LOG_ERROR(ee_grpL, "XML ERROR 103: Unable to open %s\n", _file_f.c_str());
    return -1;
  }
  if (!document.IsReady()) {
    Q5_LOG_ERROR(ee_grpL, "XML ERROR 104: Unable to open %s\n", _file_f.c_str());
    return -1;
  }
  RangeRows rows;
  if (ReadRangeRows(document, kChannelLayout, _file_f.c_str(), rows) != RangeStep::Done) return -1;
  tables = {};
  tables.calibrated = true;
  tables.ranges = std::move(rows.rows);
  std::size_t first = 0;
  for (std::size_t tag = 0; tag < kChannelTags; ++tag) {
    const bool is_filter = tag + 1 == kChannelTags;
    range_table& table = is_filter ? tables.calfilter_tbl : tables.range_tbl[tag + 1];
    table = Slice(tables.ranges, first, rows.counts[tag]);
    first += rows.counts[tag];
  }
  return 0;
}

void EepromGroup::ReadBrdAssRevFromXml(const XmlDocument& document) {
  brd_assem_rev = TextOf(document, "brd_assembly_rev", kRevisionChars);
  BackplanePROM::GetBackplanePROM().SetRevision(brd_assem_rev.c_str());
}

void EepromGroup::ReadSystemDates(const XmlDocument& document) {
  fnl_cal_date = TextOf(document, "final_cal_date", kDateChars);
  cal_due_date = TextOf(document, "cal_due_date", kDateChars);
}

void EepromGroup::ReadSSNFromXml(const XmlDocument& document) {
  sys_ser_num = TextOf(document, "sys_serial_num", kSerialChars);
  if (sys_ser_num.empty()) return;
  lib::WriteText(kDiscoveryPath, "#Varek#Q5#Serialnum#" + sys_ser_num + "\n", ee_grpL);
}

void EepromGroup::ReadIntCalFromXml(const XmlDocument& document, const char* path) {
  if (!document.IsReady()) {
    const bool opened = document.GetState() != XmlDocument::State::NotOpened;
    Q5_LOG_ERROR(ee_grpL, "XML ERROR %d: Unable to open %s\n", opened ? 108 : 107, path);
    return;
  }
  IntcalRows rows;
  if (!ReadIntcalRows(document, rows)) return;
  intcals = std::move(rows.rows);
  std::size_t first = 0;
  for (std::size_t group = 0; group < IntcalRows::kGroups; ++group) {
    intcal_table& table = intcal_tbl[group + 1];
    table = {};
    rows.masks[group].copy(table.mask, sizeof table.mask - 1);
    table.num_ents = static_cast<int>(rows.counts[group]);
    if (table.num_ents > 0) table.ent = &intcals[first];
    first += rows.counts[group];
  }
}

int EepromGroup::ReadMRScalCalFromXml(const char* name, int& err) {
  const std::string path = Uploaded(name);
  const XmlDocument document = XmlDocument::Load(path.c_str());
  RangeRows rows{};
  RangeStep step = document.IsReady() ? ReadRangeRows(document, kMainrefLayout, path.c_str(), rows)
                                      : RangeStep::Open;
  if (step == RangeStep::Done && (rows.counts[0] != 1 || rows.counts[1] != 1)) {
    Q5_LOG_ERROR(ee_grpL, "%s", kMainrefLayout.unmatched_count);
    step = RangeStep::Unmatched;
  }
  if (step == RangeStep::Done && !ChecksHold(document, path.c_str())) step = RangeStep::Check;
  err = static_cast<int>(step);
  if (step != RangeStep::Done) return -1;
  mainref_rows_ = std::move(rows.rows);
  for (std::size_t divider = 0; divider < mainref_tbl.size(); ++divider) {
    mainref_tbl[divider] = Slice(mainref_rows_, divider, 1);
  }
  return 0;
}

void EepromGroup::SetMainrefError(const char* text, int step) {
  Q5_LOG_ERROR(ee_grpL, "%s", text);
  errors_.SetStickyError(Msg::NAK_MCODE_MR_EEPROMXML, 1, step);
  errors_.SetErrorCode(Msg::NAK_MCODE_MR_EEPROMXML, 1, step);
}

void EepromGroup::ReadDatesAndRevisions() {
  const auto boards = CalibratedBoards();
  for (const CalibratedBoard& board : boards) {
    const std::string path = std::string(board.directory) + board.file;
    const XmlDocument document = XmlDocument::Load(path.c_str());
    const bool dated = ReadCalDateFromXml(document, board);
    const bool revised = ReadCalRevFromXml(document, board);
    if (board.kind != EepromKind::MainRef) continue;
    if (!dated) SetMainrefError("Mainref xml error, date\n", kDateStep);
    if (!revised) SetMainrefError("Mainref xml error, rev\n", kRevisionStep);
  }
  Q5_LOG_NOTICE(ee_grpL, "actions: %d %d %d\n", boards[0].action.load(), boards[1].action.load(),
                boards[2].action.load());
  Q5_LOG_NOTICE(ee_grpL, "revs: %d %d %d\n", boards[0].calrev.load(), boards[1].calrev.load(),
                boards[2].calrev.load());
  if (boards[0].calrev != boards[1].calrev)
    xml_post_result(IMSG::kXmlPostFail, IMSG::kXmlPostRevision);
}

int EepromGroup::ReadUploadedFiles() {
  if (WaitForFile() != 0) return -1;
  const std::string path = Uploaded(kBackplaneFile);
  const XmlDocument backplane = XmlDocument::Load(path.c_str());
  ReadBrdAssRevFromXml(backplane);
  ReadSystemDates(backplane);
  ReadIntCalFromXml(backplane, path.c_str());
  int step = 0;
  if (ReadMRScalCalFromXml(kMainrefFile, step) != 0) {
    SetMainrefError("Mainref xml error, factors\n", step);
  }
  ReadDatesAndRevisions();
  return 0;
}

int EepromGroup::ReadMeasModule() {
  std::string factors;
  int result = 0;
  for (const EepromChip& chip : chips_.List()) {
    if (chip.kind != EepromKind::MeasCh1 && chip.kind != EepromKind::MeasCh2) continue;
    const bool second = chip.kind == EepromKind::MeasCh2;
    if (second && ReadUploadedFiles() != 0) {
      result = -1;
      break;
    }
    ChannelTables& tables = channels_[second ? 1 : 0];
    if (!UpdateFile(chip) || ReadChannel(tables) != 0) result = -1;
    factors += FactorsOf(second ? 1 : 0, tables.range_tbl);
  }
  lib::WriteText(kFactorsPath, factors, ee_grpL);
  return result;
}

int EepromGroup::ReadMainModule() {
  const std::string path = std::string(kConfigDirectory) + kBackplaneFile;
  const XmlDocument backplane = XmlDocument::Load(path.c_str());
  ReadBrdAssRevFromXml(backplane);
  ReadSystemDates(backplane);
  ReadSSNFromXml(backplane);
  return 0;
}

int EepromGroup::ReadEeDataFromXml(int& err) {
  err = 0;
  if (module_ == Msg::MAIN_MODULE) return ReadMainModule();
  if (module_ != Msg::MEAS_MODULE) return 0;
  for (ChannelTables& tables : channels_) SetDefaultTable(tables);  // kept without a good file
  const int result = ReadMeasModule();
  if (result == 0) WaitForXMLPost();
  err = result;
  return result;
}

}  // namespace Dev
