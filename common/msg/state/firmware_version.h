// The firmware's version, as the file of the system image has it.
#pragma once

#include <string>

namespace Msg {

/// What follows "varek_fw_version=" in "/etc/varek-fw-version"; empty, with a line in the log, when
/// there is no such file or no such line. Any thread.
std::string FirmwareVersion();

}  // namespace Msg
