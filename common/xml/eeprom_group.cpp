// The calibration group: chips into final XML files.
#include "common/xml/eeprom_group.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "common/lib/instrument_file.h"
#include "common/log/log_line.h"
#include "common/msg/records/module_id.h"
#include "common/xml/chip_files.h"
#include "common/xml/raw_image.h"
#include "common/xml/raw_template.h"
#include "common/zpubsub/records/xml_post.h"
#include "platform/backend.h"

using Logger::ee_grpL;

namespace Dev {
namespace {

/// Bytes that say what a chip holds; a raw image's header lies within them.
constexpr int kFirstRead = 64;
constexpr int kBlankAddress = 65535;

struct Warning {
  EepromKind kind;
  const char* text;
};
constexpr Warning kMainWarnings[] = {
    {EepromKind::BackPlane, "WARNING, BAD BACKPLANE EEPROM\n"},
    {EepromKind::MainRef, "WARNING, BAD MAINREF EEPROM\n"},
};
constexpr char kSignalWarning[] = "WARNING, BAD MEAS EEPROM\n";

/// What the main module passes on.
struct UploadedFile {
  const char* name;
  const char* uploaded;
};
constexpr UploadedFile kUploaded[] = {
    {kBackplaneFile, "Backplane uploaded \n"},
    {kMainrefFile, "Mainref uploaded \n"},
};

bool IsBlank(ChipBytes first) {
  return std::ranges::all_of(first, [](unsigned char byte) { return byte == 0xFF; });
}

// An address becomes part of a shell command.
bool IsAddress(std::string_view text) {
  constexpr std::string_view kAllowed = "0123456789.";
  return !text.empty() && text.find_first_not_of(kAllowed) == std::string_view::npos;
}

int Run(const std::string& command) {
  const int status = platform::Machine().System(command.c_str());
  if (status != 0) {
    Q5_LOG_ERROR(ee_grpL, "\"%s\" ended with status %d\n", command.c_str(), status);
  }
  return status;
}

}  // namespace

EepromGroup::EepromGroup(int module, EepromChips& chips, Msg::Errorcodes& errors, EepromLinks links)
    : module_(module), chips_(chips), errors_(errors), links_(std::move(links)) {}

bool EepromGroup::UpdateFile(const EepromChip& chip) {
  const auto files = FilesOf(module_, chip.num);
  if (!files) {
    Q5_LOG_ERROR(ee_grpL, "EEPROM of assembly %d has no files\n", chip.num);
    return false;
  }
  _file_t = files->template_path;
  _file_f = files->final_path;
  return true;
}

void EepromGroup::WarnOf(EepromKind kind) const {
  const char* text = kSignalWarning;
  if (module_ == Msg::MAIN_MODULE) {
    const auto* found = std::ranges::find(kMainWarnings, kind, &Warning::kind);
    if (found == std::end(kMainWarnings)) return;
    text = found->text;
  }
  lib::AppendText(kDiagnosticsPaths.at(static_cast<std::size_t>(module_)), text, ee_grpL);
}

EepromGroup::Pass EepromGroup::WriteRaw(std::size_t place) {
  const EepromChip& chip = chips_.List()[place];
  RawImage image([this](int result, int failtype) { xml_post_result(result, failtype); });
  const auto first = ChipBytes(chips_.Data()).first(kFirstRead);
  const int header = image.WriteHeadertoXml(first, _file_t.c_str(), kHeaderPath);
  if (header == kStopPass) return Pass::Fail;
  if (header != 0) return Pass::Next;
  const int last_block = image.AnalyzeHeader();
  if (last_block == kBlankAddress) return Pass::Next;
  if (last_block == 0) return Pass::Written;
  if (last_block > kBlankAddress || chips_.Read(place, 0, last_block) != 0) return Pass::Bad;
  const int result = image.WritetoFinalXml(chips_.Data(), chip.kind, kHeaderPath, _file_f.c_str());
  if (result == 0) return Pass::Written;
  return result == kStopPass ? Pass::Fail : Pass::Bad;
}

EepromGroup::Pass EepromGroup::WriteOne(std::size_t place) {
  if (!UpdateFile(chips_.List()[place])) return Pass::Next;
  lib::RemoveFile(_file_f.c_str(), ee_grpL);  // of an earlier start, perhaps of another board
  if (chips_.Read(place, kFirstRead, 0) != 0) {
    Q5_LOG_ERROR(ee_grpL, "%s: its EEPROM cannot be read\n", _file_f.c_str());
    return Pass::Bad;
  }
  const auto first = ChipBytes(chips_.Data()).first(kFirstRead);
  if (IsBlank(first)) return Pass::Next;
  if (NumberAt(first, 0, 2) != kEepromMagic) return WriteRaw(place);
  eepIsCmprssdXml = 1;
  if (chips_.Access(place)->Read(_file_f.c_str()) == 0) return Pass::Written;
  Q5_LOG_ERROR(ee_grpL, "Error reading from PROM\n");
  return Pass::Bad;
}

void EepromGroup::Upload() const {
  for (const UploadedFile& file : kUploaded) {
    if (_file_f != std::string(kConfigDirectory) + file.name) continue;
    if (Run("cp " + _file_f + " /" + file.name) != 0 || !links_.module_address) return;
    for (const int module : {Msg::SOURCE_MODULE, Msg::MEAS_MODULE}) {
      const std::string address = links_.module_address(module);
      if (!IsAddress(address)) {
        Q5_LOG_ERROR(ee_grpL, "module %d has no address: \"%.32s\"\n", module, address.c_str());
      } else {
        Run("ftpput " + address + " " + file.name);
      }
    }
    Q5_LOG_NOTICE(ee_grpL, "%s", file.uploaded);
  }
}

int EepromGroup::WriteEepromToXml(char*) {
  const bool main = module_ == Msg::MAIN_MODULE;
  for (std::size_t place = 0; place < chips_.List().size(); ++place) {
    const Pass result = WriteOne(place);
    // the rest of a record that failed its checks must not correct a measurement
    if (result != Pass::Written) lib::RemoveFile(_file_f.c_str(), ee_grpL);
    if (result == Pass::Fail) return -1;
    if (result == Pass::Bad) WarnOf(chips_.List()[place].kind);
    if (result == Pass::Written && main) Upload();
  }
  xml_post_result(IMSG::kXmlPostPass, 0);
  if (main) {
    if (links_.send_upload_done) links_.send_upload_done();
    Q5_LOG_NOTICE(ee_grpL, "XML: FILES READY\n");
  }
  return 0;
}

}  // namespace Dev
