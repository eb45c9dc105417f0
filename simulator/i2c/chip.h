// One chip on an I2C bus: what every chip can do and suffer. The chips themselves derive from it.
//
// Names on the control socket: fault NAME (off, stuck, garbage, slow, intermittent, and wrong where
// the chip has an identity), and the values
//
//   NAME.transfers      reads, writes and failed transfers so far
//   NAME.last           the last reading in physical units, or what else shows the chip's state
//   NAME.fail_after     N: every transfer ends after N bytes; off
//   NAME.fail_transfer  N: the N-th transfer from now fails with EIO, then it is off again; off
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "simulator/fault.h"
#include "simulator/units.h"

namespace simulator {

/// What every chip needs; the references outlive it.
struct Surroundings {
  platform::Clock& clock;
  Units& units;
  std::uint64_t seed;
};

/// Threads: any.
class I2cChip {
 public:
  enum class Identity { kPlain, kCanBeWrong };

  I2cChip(std::string name, const Surroundings& around, Identity identity = Identity::kPlain);
  virtual ~I2cChip() = default;
  I2cChip(const I2cChip&) = delete;
  I2cChip& operator=(const I2cChip&) = delete;

  /// One transfer addressed to this chip: the bytes that were passed, or a negative errno.
  ssize_t Write(std::span<const std::uint8_t> data);
  ssize_t Read(std::span<std::uint8_t> data);

  const std::string& Name() const { return name_; }
  std::string Transfers() const;
  std::string Last() const;

 protected:
  /// The chip's own behaviour, called with mutex_ held: 0 or a negative errno.
  virtual int Take(std::span<const std::uint8_t> data) = 0;
  virtual int Give(std::span<std::uint8_t> data) = 0;
  virtual std::string Describe() const { return "-"; }

  bool IsWrong() const { return faults_.Chosen() == Fault::kWrong; }
  bool IsOff() const { return faults_.Chosen() == Fault::kOff; }
  platform::Clock& Clock() const { return clock_; }
  /// Adds NAME.`value`; the functions are called with mutex_ held.
  void AddValue(Units& units, const std::string& value, Units::Getter get, Units::Setter set = {});

  mutable std::mutex mutex_;  ///< guards the chip's state, of derived classes too

 private:
  struct Start {
    int error = 0;
    std::size_t count = 0;  ///< bytes that get through
    Fault fault = Fault::kOk;
  };
  /// What the faults leave of a transfer. Takes `lock` once a slow chip has had its time.
  Start Begin(std::size_t size, std::unique_lock<std::mutex>& lock);
  ssize_t Fail(int error);

  const std::string name_;
  platform::Clock& clock_;
  FaultSwitch faults_;
  std::uint64_t reads_ = 0;
  std::uint64_t writes_ = 0;
  std::uint64_t failed_ = 0;
  std::optional<std::uint64_t> fail_after_;
  std::uint64_t fail_transfer_ = 0;   ///< 0: none
  std::vector<std::uint8_t> answer_;  ///< the last one; a stuck chip repeats it
};

}  // namespace simulator
