// SMBus requests to the clock chip: each 40 bytes of input are the milliseconds since the request
// before (one byte), the address (one), the kind of transaction and its data.
#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <span>

#include "platform/fake_clock.h"
#include "platform/ioctl_table.h"
#include "simulator/control.h"
#include "simulator/i2c/bus.h"
#include "simulator/i2c/si5338.h"

namespace {

/// A VCO of 2.5 GHz, output 0 by 158, steps of 5 ppm: the input starts from a chip that locks.
constexpr std::array<std::uint8_t, 16> kPlan[] = {
    {5, 28, 0x03, 0x40, 0xA0, 0xC0},
    {2, 36, 0x01},
    {2, 42, 0x20},
    {7, 47, 0x14, 58, 0x00, 0xC4, 0x07, 0x20},
    {11, 53, 0x00, 0x4D, 0, 0, 0, 0, 1, 0, 0, 0},
    {11, 97, 0x00, 0x30, 0, 0, 0, 0, 1, 0, 0, 0x80},
    {2, 116, 0x80},
    {15, 123, 0x40, 0x42, 0x0F, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5},
    {9, 137, 0x80, 0xE3, 0x6A, 0x09, 0, 0, 0, 0},
    {2, 230, 0x00},
    {2, 246, 0x02},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  platform::FakeClock clock;
  simulator::Units units;
  simulator::Si5338 chip("chip", {clock, units, 1});
  simulator::I2cBus bus;
  assert(bus.Add({simulator::I2cBus::kRoot, 0x70, &chip}));
  for (const auto& row : kPlan) bus.Write(0x70, std::span(row).subspan(1, row[0]));
  clock.Advance(simulator::Si5338::kLockTime);
  assert(chip.Output(0).has_value());
  const auto file = bus.Open();
  constexpr std::size_t kRequest = 40;
  for (std::span rest(data, size); rest.size() >= kRequest; rest = rest.subspan(kRequest)) {
    clock.Advance(std::chrono::milliseconds(rest[0]));
    std::array<std::uint8_t, platform::kMaxIoctlBytes> argument{};
    const std::int64_t address = rest[1] == 0 ? 0x20 : 0x70;
    std::memcpy(argument.data(), &address, sizeof address);
    assert(file->Ioctl(I2C_SLAVE, argument.data()) == 0);
    platform::SmbusTransfer transfer{};
    transfer.read_write = rest[2] & 3;
    transfer.has_data = rest[2] >> 7;
    transfer.command = rest[3];
    transfer.size = rest[4];
    std::memcpy(transfer.data.data(), &rest[5], transfer.data.size());
    std::memcpy(argument.data(), &transfer, sizeof transfer);
    const int result = file->Ioctl(I2C_SMBUS, argument.data());
    assert(result <= 0 && result > -4096);
    for (std::size_t index = 0; index < simulator::si5338::kOutputs; ++index) {
      const auto hertz = chip.Output(index);
      // no legal VCO is above 2.84 GHz, no divider below 4; a step stays below an eighth
      assert(!hertz || hertz->Value() <= 2.84e9 / 4);
    }
    chip.PulsePin(rest[39] % 2 == 0 ? simulator::Si5338::Step::kUp
                                    : simulator::Si5338::Step::kDown);
    assert(simulator::AnswerControlLine(units, "get chip.last").starts_with("ok "));
  }
  return 0;
}
