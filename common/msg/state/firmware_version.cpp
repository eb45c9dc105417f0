#include "common/msg/state/firmware_version.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "common/log/log_line.h"
#include "platform/backend.h"

namespace Msg {
namespace {

constexpr char kVersionFile[] = "/etc/varek-fw-version";
constexpr std::string_view kVersionKey = "varek_fw_version=";
constexpr int kVersionLineBytes = 128;

}  // namespace

std::string FirmwareVersion() {
  const std::string path = platform::Machine().Path(kVersionFile);
  std::FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) {
    Q5_LOG_ERROR(measurementL, "VERSION FILE RETURNED NULL \n");
    return "";
  }
  std::string version;
  bool found = false;
  char line[kVersionLineBytes];
  while (!found && std::fgets(line, sizeof line, file) != nullptr) {
    std::string_view text(line);
    if (!text.starts_with(kVersionKey)) continue;
    text.remove_prefix(kVersionKey.size());
    version = text.substr(0, text.find_first_of("\r\n"));
    found = true;
  }
  if (!found) Q5_LOG_ERROR(measurementL, "VERSION FILE READ FAIL \n");
  if (std::fclose(file) != 0) {
    Q5_LOG_ERROR(measurementL, "%s: Unable to close %s - %s", "ReadFirmwareVersion", path.c_str(),
                 std::strerror(errno));
  }
  return version;
}

}  // namespace Msg
