#include "common/dev/i2c/chips/register_drivers.h"

#include "common/dev/i2c/bus/device_table.h"
#include "common/dev/i2c/bus/drivers.h"
#include "common/dev/i2c/chips/ad7998_dev.h"
#include "common/dev/i2c/chips/ds75s_dev.h"
#include "common/dev/i2c/chips/ee24lc32_dev.h"
#include "common/dev/i2c/chips/front_end_chips.h"
#include "common/dev/i2c/chips/nulldev_dev.h"
#include "common/dev/i2c/chips/pca9536_dev.h"
#include "common/dev/i2c/chips/si5338_dev.h"
#include "common/dev/i2c/chips/tmp112_dev.h"
#include "common/dev/i2c/chips/tps659112_dev.h"

namespace Dev {
namespace {

template <class T>
std::unique_ptr<I2cDev> Make(const I2cDevInfo& info) {
  return std::make_unique<T>(info);
}

// Rows of chips that are not here have no driver in this program.
constexpr Driver kDrivers[] = {
    {"NULLDEV", Make<NULLDEVDev>},       {"EE24LC32", Make<EE24LC32Dev>},
    {"TPS659112", Make<TPS659112Dev>},   {"TMP112", Make<TMP112Dev>},
    {"PCA9536", Make<PCA9536Dev>},       {"AD7998", Make<AD7998Dev>, MON_ADC},
    {"SC18IS602B", Make<SC18IS602BDev>}, {"DAC8571", Make<DAC8571Dev>},
    {kChannelSensorId, Make<DS75SDev>},  {kClockChipId, Make<SI5338Dev>},
};

}  // namespace

void RegisterDrivers() { SetDrivers(kDrivers); }

}  // namespace Dev
