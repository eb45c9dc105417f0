// Any text is refused in one line or becomes a board whose every range responds.
#include <cassert>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "simulator/calibration/board_images.h"
#include "simulator/calibration/channel_hardware.h"
#include "simulator/sample_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  simulator::ChannelHardware hardware;
  const std::string problem =
      simulator::ParseChannelHardware({reinterpret_cast<const char*>(data), size}, hardware);
  if (!problem.empty()) return 0;
  for (std::size_t mode = 1; mode < simulator::kInputModes; ++mode) {
    for (const auto& range : hardware.ranges[mode]) {
      const auto found = hardware.Range(static_cast<simulator::InputMode>(mode), range.code);
      assert(found && found->code == range.code);
      assert(found->full_scale > 0 && found->Scale() > 0);
    }
  }
  simulator::EepromDocument document;
  document.Parse(simulator::ShippedFile("/varek/config/3s_meas1_t.xml"));
  simulator::FillCalibration(hardware, document);
  return 0;
}
