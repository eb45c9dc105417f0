// What the shared test state asks of rooms that stand above it. They supply these at start-up; an
// empty one is a room that this daemon does not have (yet), and what it would do is left out.
#pragma once

#include <ctime>
#include <functional>

namespace Msg {

struct HmpLinks {
  /// Value of an FPGA register (byte offset): 0, or -1 when it cannot be read.
  std::function<int(int offset, unsigned int& value)> read_fpga_register{};
  /// First word of the FPGA's ramp table.
  std::function<int()> first_ramp_word{};
  /// When the FPGA's present ramp-down began; 0 for none.
  std::function<std::time_t()> ramp_down_start{};
  /// A text on a line (1 or 2) of the front display, for `ms` milliseconds; 0: until the next one.
  std::function<void(int line, const char* text, int ms)> show{};
  /// True while the network check hears the daemon of a module (MODULE_ID).
  std::function<bool(int module)> is_alive{};
  /// Asks the source module whether it is up; the answer comes by SignalMainRecovery.
  std::function<void()> enquire_source_status{};
};

}  // namespace Msg
