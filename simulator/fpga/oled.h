// The controller of the main module's display: two lines of 16 characters, commands, and one
// character read back at the cursor.
//
// Values: fpga.oled.line1, fpga.oled.line2; setting one is what the driver does with a text.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "simulator/units.h"

namespace simulator::fpga {

/// Threads: one at a time.
class Oled {
 public:
  static constexpr std::size_t kLines = 2;
  static constexpr std::size_t kColumns = 16;

  Oled() { Reset(); }

  /// Blank, cursor at the first character.
  void Reset();
  void Command(std::uint8_t command);
  /// The character under the cursor, which then advances.
  std::uint8_t ReadCharacter();
  std::string Line(std::size_t line) const;
  /// False for a text that does not fit.
  bool SetLine(std::size_t line, std::string_view text);

 private:
  /// Where the second line begins in the controller's memory; each line has 64 places.
  static constexpr std::size_t kSecondLine = 0x40;
  std::array<std::uint8_t, kLines * kSecondLine> memory_{};
  std::size_t cursor_ = 0;
};

}  // namespace simulator::fpga
