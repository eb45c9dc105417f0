// The FPGA behind "/dev/q5fpga0": its register map and the driver's requests.
//
// What the registers would set in motion (sample ring, waveform, ramp and line estimator) is not
// modelled yet: the bits hold what is written, status bits hold their power-up value, and the
// driver's requests for it fail with ENOTTY. The ALLOK input follows the module's own output, as
// the line does when no other module pulls it.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/clock.h"
#include "platform/fpga_driver.h"
#include "platform/instrument.h"
#include "simulator/config.h"
#include "simulator/register_file.h"
#include "simulator/units.h"

namespace simulator {

/// Threads: any.
class FpgaModel {
 public:
  FpgaModel(const Config& config, platform::Clock& clock, Units& units);

  /// Null with `error` set when the chip is off.
  std::unique_ptr<platform::DeviceFile> Open(int& error);

 private:
  class File;

  /// 0 or a negative errno, as the driver answers.
  int Request(unsigned long request, Dev::FpgaCmd& command);
  int ReadRegister(Dev::FpgaCmd& command, Fault fault);
  int WriteRegister(const Dev::FpgaCmd& command, Fault fault);
  void FollowAllok();
  std::uint16_t Identity(bool wrong) const;

  const Config config_;
  platform::Clock& clock_;
  RegisterFile registers_;
  FaultSwitch faults_;
};

}  // namespace simulator
