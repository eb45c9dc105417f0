#include "common/dev/i2c/bus/i2c_job.h"

#include <algorithm>

namespace Dev {
namespace {

constexpr ScanRate kRates[] = {{0, 0}, {1, 1}, {3, 3}, {5, 5}, {60, 60}};

}  // namespace

std::span<const ScanRate> I2cJob::GetRates() { return kRates; }

I2cJob::I2cJob(I2cDev& device, int ticks)
    : _rd_rate(ticks), _counter(ticks), _i2c_dev(&device), _scanreq(device.GetScanReq()) {}

std::optional<I2cJob> I2cJob::For(I2cDev& device) {
  const auto rates = GetRates();
  const auto rate = std::ranges::find(rates, device.GetRate(), &ScanRate::code);
  if (rate == rates.end()) return std::nullopt;
  return I2cJob(device, rate->ticks);
}

bool I2cJob::CountDown() {
  if (--_counter > 0) return false;
  _counter = _rd_rate;
  return true;
}

}  // namespace Dev
