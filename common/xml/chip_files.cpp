#include "common/xml/chip_files.h"

#include <span>

#include "common/msg/records/module_id.h"

namespace Dev {
namespace {

// By assembly number, from 1; "_t.xml" makes the template's name of it, "_f.xml" the final one.
constexpr const char* kMainNames[] = {
    "1m_core", "2m_main", "3m_comms",    "4m_fan",      "5m_back",     "6m_fpsm",   "7m_smconn",
    "8m_fpio", "9m_dcir", "10m_fprelay", "11m_mainref", "12m_pfcctrl", "13m_pfcpow"};
constexpr const char* kSignalNames[] = {"1s_core",  "2s_sig",  "3s_meas1",
                                        "4s_meas2", "5s_psoc", "6s_lvsec"};

}  // namespace

std::optional<ChipFiles> FilesOf(int module, int num) {
  const std::span<const char* const> names =
      module == Msg::MAIN_MODULE ? std::span<const char* const>(kMainNames) : kSignalNames;
  if (num < 1 || static_cast<std::size_t>(num) > names.size()) return std::nullopt;
  const std::string base = std::string(kConfigDirectory) + names[static_cast<std::size_t>(num) - 1];
  return ChipFiles{base + "_t.xml", base + "_f.xml"};
}

}  // namespace Dev
