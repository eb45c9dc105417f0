// The I2C side of a module: both buses with their chips, and the channel boards behind them.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/instrument.h"
#include "simulator/config.h"
#include "simulator/i2c/bus.h"
#include "simulator/i2c/si5338.h"
#include "simulator/meas_channel_board.h"

namespace simulator {

class I2cBoard {
 public:
  static constexpr std::size_t kBuses = 2;

  I2cBoard(const Config& config, platform::Clock& clock, Units& units);

  /// Empty when every chip has a place and a content of its own, else what is wrong.
  const std::string& Problem() const { return problem_; }
  /// Requires a bus below kBuses: bus 0 is "/dev/i2c-1".
  std::unique_ptr<platform::DeviceFile> Open(std::size_t bus) { return buses_[bus].Open(); }
  /// Null on a module that has no channel boards. `channel` is 0 or 1.
  MeasChannelBoard* Channel(std::size_t channel) { return channels_.at(channel).get(); }
  /// Null on a module that has none.
  Si5338* ClockChip() { return clock_chip_; }

 private:
  struct Row;
  static const Row kRows[];

  void MakeChannels(platform::Clock& clock, Units& units);
  void Place(const Row& row, const Surroundings& around);
  std::unique_ptr<I2cChip> MakeEeprom(const Row& row, std::string name, const Surroundings& around);
  std::unique_ptr<I2cChip> MakeMux(const Row& row, std::string name, const Surroundings& around);
  std::unique_ptr<I2cChip> MakeClockChip(std::string name, const Surroundings& around);
  std::unique_ptr<I2cChip> MakeOther(const Row& row, std::string name, const Surroundings& around);
  bool IsFitted(const Row& row) const;
  std::string List() const;

  const Config config_;
  std::array<std::unique_ptr<MeasChannelBoard>, kMeasChannels> channels_;
  std::vector<std::unique_ptr<I2cChip>> chips_;
  Si5338* clock_chip_ = nullptr;
  std::array<I2cBus, kBuses> buses_;
  std::string problem_;
};

}  // namespace simulator
