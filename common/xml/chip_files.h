// Names and places of the files that belong to the EEPROM chips.
#pragma once

#include <array>
#include <optional>
#include <string>

namespace Dev {

inline constexpr char kConfigDirectory[] = "/varek/config/";
inline constexpr char kHeaderPath[] = "/varek/config/temphead.xml";
/// Where the main module's uploads arrive.
inline constexpr char kUploadDirectory[] = "/home/root/";

inline constexpr char kMeas1File[] = "3s_meas1_f.xml";
inline constexpr char kMeas2File[] = "4s_meas2_f.xml";
inline constexpr char kBackplaneFile[] = "5m_back_f.xml";
inline constexpr char kMainrefFile[] = "11m_mainref_f.xml";

/// The diagnostics file of a module (MODULE_ID 0 to 2).
inline constexpr std::array kDiagnosticsPaths = {
    "/varek/diags/diag_main.txt", "/varek/diags/diag_meas.txt", "/varek/diags/diag_src.txt"};

struct ChipFiles {
  std::string template_path;
  std::string final_path;
};

/// The files of assembly `num` of a module; nothing for an unknown number.
std::optional<ChipFiles> FilesOf(int module, int num);

}  // namespace Dev
