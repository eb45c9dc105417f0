// The FPGA behind "/dev/q5fpga0": its register map and the driver's requests. What the registers
// set in motion is in simulator/fpga/, a file for each behaviour.
//
// Nothing here has a thread: every access first brings the behaviours up to the present. A clock
// that changes without an access (the clock chip's output) counts as changed at the next one.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <memory>

#include "platform/clock.h"
#include "platform/fpga_driver.h"
#include "platform/instrument.h"
#include "platform/thread_safety.h"
#include "simulator/config.h"
#include "simulator/fpga/allok_line.h"
#include "simulator/fpga/clock_tree.h"
#include "simulator/fpga/line_sync.h"
#include "simulator/fpga/oled.h"
#include "simulator/fpga/sampler.h"
#include "simulator/fpga/waveform_generator.h"
#include "simulator/fpga/waveform_memory.h"
#include "simulator/register_file.h"
#include "simulator/units.h"

namespace simulator {

/// What the FPGA does to the signals around it, at one moment.
struct FpgaSignals {
  fpga::Clocks clocks;
  double waveform_hertz = 0;  ///< of the wave in memory; 0 while nothing is generated
  std::uint16_t multiplier = 0;
  bool negative = false;  ///< the second buffer is played
  bool fast = false;      ///< the high-speed memory is played
  bool primary_on = false;
  bool dac_on = false;
  std::array<bool, 2> inverted{};  ///< by channel: its samples are negated
};

/// Threads: any.
class FpgaModel {
 public:
  /// `clock_chip` is null on a module without one; it and the other references outlive the model.
  FpgaModel(const Config& config, platform::Clock& clock, Si5338* clock_chip,
            fpga::SampleSource& source, DriverCounters& counters, Units& units);

  /// Null with `error` set when the chip is off.
  std::unique_ptr<platform::DeviceFile> Open(int& error);
  FpgaSignals Signals();
  bool AllokUp() const { return allok_.IsUp(); }
  /// Of the mains, now.
  double LineHertz();
  /// Brings everything up to the present: before something changes that samples depend on.
  void Update();

 private:
  class File;

  void AddRegisterValues(Units& units);
  void AddLineValues(Units& units);
  void AddSignalValues(Units& units);
  void AddOledValues(Units& units);
  void AddSampleValues(Units& units);

  /// 0 or a negative errno, as the driver answers.
  int Request(unsigned long request, Dev::FpgaCmd& command);
  int ReadRegister(Dev::FpgaCmd& command, Fault fault) Q5_REQUIRES(mutex_);
  int WriteRegister(const Dev::FpgaCmd& command, Fault fault) Q5_REQUIRES(mutex_);
  int ReadOled(Dev::FpgaCmd& command) Q5_REQUIRES(mutex_);
  int WriteOled(const Dev::FpgaCmd& command, Fault fault) Q5_REQUIRES(mutex_);
  int SwitchWaveformMode(const Dev::FpgaCmd& command, Fault fault) Q5_REQUIRES(mutex_);
  int Map(std::size_t length, off_t offset);
  int StartSampling(const Dev::FpgaCmd& command) Q5_REQUIRES(mutex_);
  int StopSampling(const Dev::FpgaCmd& command) Q5_REQUIRES(mutex_);
  /// write(2) and read(2) of a record: its size, or a negative errno.
  ssize_t AnnounceBlock(const Dev::FpgaCmd& command);
  ssize_t AwaitBlock(Dev::FpgaCmd& command, fpga::SampleReader& reader);

  void Refresh() Q5_REQUIRES(mutex_);
  void FollowClocks() Q5_REQUIRES(mutex_);
  void FollowAllok() Q5_REQUIRES(mutex_);
  void FollowSamples(const fpga::Clocks& clocks) Q5_REQUIRES(mutex_);
  /// Changes a register from the bus or, with `mask`, from the hardware's side.
  void Change(std::uint16_t offset, std::uint16_t value, std::uint16_t mask) Q5_REQUIRES(mutex_);
  void ActOnEdges(std::uint16_t offset, unsigned before, unsigned after) Q5_REQUIRES(mutex_);
  void SetLine(double hertz, double drift) Q5_REQUIRES(mutex_);
  FpgaSignals SignalsLocked() const Q5_REQUIRES(mutex_);

  std::uint16_t Identity(bool wrong) const;

  const Config config_;
  platform::Clock& clock_;
  Si5338* const clock_chip_;
  FaultSwitch faults_;
  /// Guards what can change of registers_, memory_, allok_ and sampler_, too.
  platform::Mutex mutex_;
  RegisterFile registers_;
  fpga::ClockTree clock_tree_ Q5_GUARDED_BY(mutex_);
  fpga::WaveformGenerator generator_ Q5_GUARDED_BY(mutex_);
  fpga::WaveformMemory memory_;
  fpga::LineSync line_sync_ Q5_GUARDED_BY(mutex_);
  fpga::AllokLine allok_;
  fpga::Oled oled_ Q5_GUARDED_BY(mutex_);
  fpga::Sampler sampler_;
  std::condition_variable sampling_changed_;  ///< begun, ended, or at another rate
};

}  // namespace simulator
