// The firmware's version, from the file of the system image.
#pragma once

#include <string>

namespace Msg {

/// The text after "varek_fw_version=" in "/etc/varek-fw-version"; empty, with a line in the log,
/// without such a file or line. Any thread.
std::string FirmwareVersion();

}  // namespace Msg
