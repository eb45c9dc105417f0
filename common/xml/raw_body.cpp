// Raw images: the blocks behind the header, and what to do when chip and template are of different
// revisions.
#include "common/log/log_line.h"
#include "common/xml/eeprom_dev.h"
#include "common/xml/raw_image.h"
#include "common/xml/raw_template.h"
#include "common/zpubsub/records/xml_post.h"

namespace Dev {
namespace {

/// A row of a backplane whose calibration block has fewer rows than its template.
constexpr int kEarlyRow = -3;
constexpr int kEarlyRows = 11;
constexpr int kLastEarlyRevision = 3;

/// Bytes of a date, which early calibration blocks do not have.
constexpr int kDateShift = -11;
/// Bytes of the rows that early backplanes do not have.
constexpr int kRowsShift = -288;

struct UndatedBlock {
  const char* block;
  const char* date;
  int revision;
};
constexpr UndatedBlock kUndated[] = {
    {kBoardCalBlock, "brd_cal_date", 1},
    {kSystemCalBlock, "sys_cal_date", 2},
};

// A date that this revision does not have keeps the template's text.
bool IsAbsentDate(const XmlNode& node, const std::string& block, int revision) {
  for (const UndatedBlock& undated : kUndated) {
    if (block == undated.block && revision == undated.revision) return FieldIs(node, undated.date);
  }
  return false;
}

bool IsCalibration(const std::string& block) {
  return block == kBoardCalBlock || block == kSystemCalBlock;
}

void StoreCalRevision(EepromKind kind, int revision) {
  for (const CalibratedBoard& board : CalibratedBoards()) {
    if (board.kind == kind) board.calrev = revision;
  }
}

}  // namespace

int RawImage::processField(int addr, int size, const std::string& format, int count,
                           XmlNode& node) {
  if (count > 0) {
    earray = {addr, size, count, format};
    return 0;
  }
  const auto text = DecodeField(_eebuf, addr, size, format);
  if (!text) return kBadChip;
  node.SetText(*text);
  return 0;
}

int RawImage::processEnode(const XmlNode& node) const {
  const auto values = node.Children("e");
  if (values.size() > static_cast<std::size_t>(earray.cnt)) {
    Q5_LOG_ERROR(ee_grpL, "line %ld: %zu values in an array of %d\n", node.Line(), values.size(),
                 earray.cnt);
    return kBadChip;
  }
  int addr = earray.addr;
  for (XmlNode value : values) {
    const auto text = DecodeField(_eebuf, addr, earray.size, earray.format);
    if (!text) return kBadChip;
    value.SetText(*text);
    addr += earray.size;
  }
  return 0;
}

int RawImage::RevisionMismatch(const XmlNode& node, int chip_revision) const {
  Q5_LOG_ERROR(ee_grpL, "line %ld: block revision %d of the chip, %d of the template\n",
               node.Line(), chip_revision, blockrev);
  post_(IMSG::kXmlPostFail, IMSG::kXmlPostRevision);
  return kStopPass;
}

int RawImage::FitRevisions(const XmlNode& node, const Block& block, EepromKind kind,
                           int chip_revision) {
  if (kind == EepromKind::Other) {
    return blockrev == chip_revision ? 0 : RevisionMismatch(node, chip_revision);
  }
  const bool backplane = kind == EepromKind::BackPlane;
  if (block.name != (backplane ? kSystemCalBlock : kBoardCalBlock)) return 0;
  StoreCalRevision(kind, blockrev);
  if (blockrev > chip_revision) return RevisionMismatch(node, chip_revision);
  const bool undated = !backplane || blockrev <= 2;
  if (blockrev < chip_revision && undated) addr_adj = kDateShift;
  if (backplane && chip_revision >= 4 && blockrev <= kLastEarlyRevision) addr_adj_bp = kRowsShift;
  return 0;
}

int RawImage::processNode(XmlNode& node, const Block& block, EepromKind kind) {
  if (block.start == 0) return 0;
  FieldShape field;
  if (ReadShape(node, field) != 0) return kBadChip;
  const bool is_revision = FieldIs(node, kBlockRevision);
  if (is_revision && ReadRevision(node, field.format, blockrev) != 0) return kBadChip;
  const bool shifted = IsCalibration(block.name) && !FieldIs(node, kBlockLength);
  const int addr = field.addr + block.start + (shifted ? addr_adj : 0);
  const int count = IsAbsentDate(node, block.name, blockrev) ? 1 : field.count;
  if (processField(addr, field.size, field.format, count, node) != 0) return kBadChip;
  if (is_revision) {
    const int chip_revision = static_cast<int>(NumberOf(node.Text(), field.format).value_or(0));
    return FitRevisions(node, block, kind, chip_revision);
  }
  const bool early_row = kind == EepromKind::BackPlane && block.name == kSystemCalBlock &&
                         blockrev <= kLastEarlyRevision &&
                         FormatOf(field.format) == FieldFormat::Float32;
  if (early_row && ++bpsyscal == kEarlyRows) return kEarlyRow;
  return count > 0 ? processEnode(node) : 0;
}

int RawImage::DecodeBlock(const XmlNode& node, EepromKind kind) {
  Block block;
  if (FindBlock(node, block) != 0) return kBadChip;
  for (XmlNode& field : node.Children("field")) {
    const int result = processNode(field, block, kind);
    if (result != 0) return result;
  }
  return 0;
}

int RawImage::DecodeBody(ChipBytes image, EepromKind kind, XmlDocument& document) {
  _eebuf = image;
  addr_adj = 0;
  addr_adj_bp = 0;
  bpsyscal = 0;
  for (const XmlNode& block : document.Blocks()) {
    if (IsHeader(block)) continue;
    const int result = DecodeBlock(block, kind);
    if (result == kEarlyRow) return 0;  // what follows is not on the chip
    if (result != 0) return result;
  }
  return 0;
}

int RawImage::WritetoFinalXml(ChipBytes image, EepromKind kind, const char* temp_path,
                              const char* final_path) {
  XmlDocument document = XmlDocument::Load(temp_path);
  if (!document.IsReady()) return kBadChip;
  const int result = DecodeBody(image, kind, document);
  if (result != 0) return result;
  if (document.Save(final_path) != 0) return kBadChip;
  if (processChksumBlock(image, document) == 0) return 0;
  Q5_LOG_ERROR(ee_grpL, "XML ERROR: checksum error\n");
  post_(IMSG::kXmlPostFail, IMSG::kXmlPostChecksum);
  return kStopPass;
}

}  // namespace Dev
