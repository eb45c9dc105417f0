// The calibration group: the files that the main module uploads to the others.
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sstream>

#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/xml/chip_files.h"
#include "common/xml/eeprom_group.h"
#include "platform/backend.h"

namespace Dev {
namespace {

constexpr int kUploadRounds = 25;
constexpr int kLooks = 3;
/// Between two looks at a file that may be growing.
constexpr auto kLookPause = std::chrono::milliseconds(100);

struct MissingFile {
  const char* name;  ///< null: any other
  const char* text;
  short word;
};
constexpr MissingFile kMissing[] = {
    {kMainrefFile, "No mainref xml from main host \n", Msg::NAK_MCODE_MAINREF_RESTART},
    {kBackplaneFile, "No backplane xml from main host \n", Msg::NAK_MCODE_BACKPLANE_RESTART},
    {nullptr, "No xml from main host \n", Msg::NAK_MCODE_UNKNOWN_RESTART},
};

const MissingFile& MissingOf(const std::string& name) {
  const MissingFile* file = kMissing;
  while (file->name != nullptr && name != file->name) ++file;
  return *file;
}

std::optional<std::uintmax_t> SizeOf(const std::string& name) {
  const std::string path = platform::Machine().Path(kUploadDirectory + name);
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error) return std::nullopt;
  return size;
}

enum class Look { There, Missing, Growing };

// Without a main module nobody is writing the file, so there is nothing to watch.
Look LookAt(const std::string& name, bool may_grow) {
  auto size = SizeOf(name);
  if (!size) return Look::Missing;
  if (!may_grow) return Look::There;
  for (int look = 1; look < kLooks; ++look) {
    platform::Machine().Clock().SleepFor(kLookPause);
    const auto now = SizeOf(name);
    if (!now) return Look::Missing;
    if (*now == *size) return Look::There;
    size = now;
  }
  return Look::Growing;
}

}  // namespace

int EepromGroup::CheckFiles(int count, const char* names, std::string& current) {
  std::istringstream list(names);
  for (int i = 0; i < count && list >> current; ++i) {
    const Look look = LookAt(current, static_cast<bool>(links_.upload_done));
    if (look == Look::There) {
      Q5_LOG_NOTICE(ee_grpL, "Got File %s \n", current.c_str());
      continue;
    }
    const bool missing = look == Look::Missing;
    Q5_LOG_ERROR(ee_grpL, missing ? "File %s not present \n" : "File %s download in progress \n",
                 current.c_str());
    return 0;
  }
  return 1;
}

int EepromGroup::WaitForFile() {
  bool done = !links_.upload_done;
  for (int round = 0; round < kUploadRounds && !done; ++round) {
    done = links_.upload_done();
    Q5_LOG_INFO(ee_grpL, "Read From Xml 100a %d  \n", round);
    if (!done) platform::Machine().Clock().SleepFor(std::chrono::seconds(1));
  }
  std::string current;
  const std::string names = std::string(kBackplaneFile) + " " + kMainrefFile;
  if (CheckFiles(2, names.c_str(), current) == 0) {
    const MissingFile& missing = MissingOf(current);
    Q5_LOG_ERROR(ee_grpL, "%s", missing.text);
    errors_.SetErrorCode(missing.word);
    return -1;
  }
  Q5_LOG_NOTICE(ee_grpL, "%s",
                done ? "Files Downloaded \n" : "Files Downloaded but no message from tos\n");
  return 0;
}

}  // namespace Dev
