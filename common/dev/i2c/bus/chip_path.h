// The path to a chip for devices that select it themselves: multiplexers, address, and back.
//
// Every step that fails is logged and reported as the chip's own error word for it, with errno as
// its data. Threads: the I2C worker.
#pragma once

#include <span>

#include "common/dev/i2c/bus/i2c_info.h"

namespace Dev {

/// The error words of a chip at one place of the instrument.
struct ChipWords {
  int select;  ///< an address, of the chip or of a multiplexer, cannot be selected
  int write;
  int read;
};

class ChipPath {
 public:
  /// Adds an error word with one data word to the error list.
  using Report = void (*)(int word, int value);

  /// `name` is the chip's in the log, `log_module` its module there; `info` and `name` outlive the
  /// object. `fd` is a descriptor of the chip's bus.
  ChipPath(const I2cDevInfo& info, int fd, const char* name, int log_module, ChipWords words,
           Report report);
  /// Switches the used multiplexers off, the deepest first.
  ~ChipPath();
  ChipPath(const ChipPath&) = delete;
  ChipPath& operator=(const ChipPath&) = delete;

  // 0, or -1 after a fault that is logged and reported.

  /// Switches the multiplexers and selects the chip.
  int Open();
  /// One transfer each. A count other than the one asked for is a fault.
  int Write(std::span<const unsigned char> bytes);
  int Read(std::span<unsigned char> bytes);
  /// As Write, with an error word and a text of its own.
  int Write(std::span<const unsigned char> bytes, int word, const char* what);

 private:
  int SwitchMux(int addr, int channel, const char* place);
  int SelectChip();
  int Fail(const char* what, int word, int error);

  const I2cDevInfo& info_;
  const int fd_;
  const char* name_;
  const int log_module_;
  const ChipWords words_;
  const Report report_;
  int switched_[2] = {-1, -1};  ///< addresses of the multiplexers that are on
};

}  // namespace Dev
