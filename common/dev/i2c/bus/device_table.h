// The board: multiplexers and devices of all three modules, in the order in which they are loaded.
#pragma once

#include <cstdint>

#include "common/dev/i2c/bus/device_ids.h"
#include "common/dev/i2c/bus/i2c_info.h"
#include "common/msg/records/module_id.h"

namespace Dev {

/// A set of modules.
struct Modules {
  unsigned bits;
  constexpr bool Has(int mid) const { return mid >= 0 && mid < 32 && ((bits >> mid) & 1) != 0; }
};
inline constexpr Modules kOnMain{1u << Msg::MAIN_MODULE};
inline constexpr Modules kOnMeas{1u << Msg::MEAS_MODULE};
inline constexpr Modules kOnSource{1u << Msg::SOURCE_MODULE};
inline constexpr Modules kOnSignal{kOnMeas.bits | kOnSource.bits};
inline constexpr Modules kEverywhere{kOnMain.bits | kOnSignal.bits};

inline constexpr char kMuxId[] = "PCA9544A";
inline constexpr int kMuxChannels = 4;
/// Boards up to this revision have multiplexers of an older kind.
inline constexpr int kLastOldMuxRevision = 2;

/// The control byte that switches on channel 0 to 3 and all others off.
constexpr std::uint8_t MuxChannelByte(int channel, bool one_hot) {
  return static_cast<std::uint8_t>(one_hot ? 1 << channel : 4 + channel);
}

struct MuxRow {
  Modules modules;
  ASSEMBLY_ID aid;
  std::uint8_t bus, hmux, lmux;
  std::uint8_t addr;
  std::uint8_t old_addr;

  constexpr std::uint8_t Address(bool old) const { return old ? old_addr : addr; }
};

inline constexpr std::uint8_t kNoMux = 255;

inline constexpr MuxRow kMuxRows[] = {
    {kOnMain, MAIN_HOST, 2, kNoMux, kNoMux, 0x69, 0x71},
    {kOnMain, FP_SRCMEAS, 2, 3, kNoMux, 0x6A, 0x72},
    {kOnSignal, SIGNAL_HOST, 2, kNoMux, kNoMux, 0x68, 0x74},
};

/// Means the multiplexer channel of the second channel board: 3 on boards with a channel for
/// each, 2 where both share one ("VarekConfig.i2cswitch").
inline constexpr std::uint8_t kSwitched = 128;

struct DeviceRow {
  Modules modules;
  const char* id;
  ASSEMBLY_ID aid;
  DEV_TYPE type;
  int num;
  int rate;
  std::uint8_t bus, hmux, lmux;
  std::uint8_t addr;
  bool scan;  ///< read during a test, too
};

inline constexpr int kNever = kNeverScanned;

// clang-format off
inline constexpr DeviceRow kDeviceRows[] = {
    {kEverywhere, "NULLDEV",    CORE,        NULLDEVICE,  1, kNever, 1, 0, 0, 0x00, true},
    {kEverywhere, "EE24LC32",   CORE,        EEPROM,      1, 0,      1, 4, 4, 0x50, true},
    {kEverywhere, "TPS659112",  CORE,        POW_MANAGE,  1, kNever, 1, 4, 4, 0x2D, true},
    {kEverywhere, "TMP112",     CORE,        TEMP_SENSOR, 1, 5,      1, 4, 4, 0x48, false},
    {kEverywhere, "TMP112",     CORE,        TEMP_SENSOR, 2, 5,      1, 4, 4, 0x49, false},
    {kEverywhere, "TMP112",     CORE,        TEMP_SENSOR, 3, 5,      1, 4, 4, 0x4A, false},
    {kEverywhere, "TMP112",     CORE,        TEMP_SENSOR, 4, 5,      1, 4, 4, 0x4B, false},

    {kOnSignal,   "SI5338",     SIGNAL_HOST, CLK_GEN,     1, kNever, 1, 4, 4, 0x70, true},
    {kOnSignal,   "EE24LC32",   SIGNAL_HOST, EEPROM,      2, 0,      2, 4, 4, 0x50, true},
    {kOnSignal,   "PCA9536",    SIGNAL_HOST, I2C_GPIO,    1, kNever, 2, 4, 4, 0x41, true},
    {kOnSignal,   "EE24LC32",   MEAS_CH1,    EEPROM,      3, 0,      2, 2, 4, 0x52, true},
    {kOnSignal,   "AD7998",     MEAS_CH1,    MON_ADC,     1, 0,      2, 2, 4, 0x23, true},
    {kOnSignal,   "AD7998",     MEAS_CH1,    MON_ADC,     2, 5,      2, 2, 4, 0x23, false},
    {kOnSignal,   "DAC8571",    MEAS_CH1,    DAC_DCOFF,   1, kNever, 2, 2, 4, 0x4C, true},
    {kOnSignal,   "SC18IS602B", MEAS_CH1,    SPI_BRIDGE,  1, kNever, 2, 2, 4, 0x28, true},
    {kOnSignal,   "EE24LC32",   MEAS_CH2,    EEPROM,      4, 0,      2, kSwitched, 4, 0x53, true},
    {kOnMeas,     "AD7998",     MEAS_CH2,    MON_ADC,     3, 0,      2, kSwitched, 4, 0x24, false},
    {kOnSource,   "AD7998",     MEAS_CH2,    MON_ADC,     3, 0,      2, kSwitched, 4, 0x24, true},
    {kOnSignal,   "AD7998",     MEAS_CH2,    MON_ADC,     4, 5,      2, kSwitched, 4, 0x24, false},
    {kOnSignal,   "DAC8571",    MEAS_CH2,    DAC_DCOFF,   2, kNever, 2, kSwitched, 4, 0x4E, true},
    {kOnSignal,   "SC18IS602B", MEAS_CH2,    SPI_BRIDGE,  2, kNever, 2, kSwitched, 4, 0x29, true},

    {kOnSource,   "CY8C28545",  LV_SOURCE,   PSOC,        1, 0,      2, 0, 4, 0x13, true},
    {kOnSource,   "CY8C28545",  LV_SOURCE,   PSOC,        2, 1,      2, 0, 4, 0x13, true},
    {kOnSource,   "CY8C28545",  LV_SOURCE,   PSOC,        3, 5,      2, 0, 4, 0x13, true},

    {kOnMain,     "EE24LC32",   MAIN_HOST,   EEPROM,      2, 0,      2, 4, 4, 0x56, true},
    {kOnMain,     "PCA9536",    MAIN_HOST,   I2C_GPIO,    1, kNever, 2, 0, 4, 0x41, true},
    {kOnMain,     "EE24LC32",   COMMS,       EEPROM,      3, 0,      2, 0, 4, 0x55, true},
    {kOnMain,     "EE24LC32",   FAN_CONTROL, EEPROM,      4, 0,      2, 1, 4, 0x51, true},
    {kOnMain,     "MAX31785",   FAN_CONTROL, FAN_CTRL,    1, 0,      2, 1, 4, 0x54, true},
    {kOnMain,     "MAX31785",   FAN_CONTROL, FAN_CTRL,    2, 60,     2, 1, 4, 0x54, false},
    {kOnMain,     "MAX31785",   FAN_CONTROL, FAN_CTRL,    3, kNever, 2, 1, 4, 0x54, true},
    {kOnMain,     "MAX31785",   FAN_CONTROL, FAN_CTRL,    4, 3,      2, 1, 4, 0x54, false},
    {kOnMain,     "EE24LC32",   BACK_PLANE,  EEPROM,      5, 0,      2, 3, 4, 0x57, true},
    {kOnMain,     "PCA9552",    BACK_PLANE,  LED_DRIVER,  1, 0,      2, 3, 4, 0x60, true},
    {kOnMain,     "SPARTAN6",   FP_SRCMEAS,  FPGA,        1, 0,      2, 3, 4, 0x66, true},
    {kOnMain,     "SPARTAN6",   FP_SRCMEAS,  FPGA,        2, 1,      2, 3, 4, 0x66, true},
    {kOnMain,     "EE24LC32",   FP_SRCMEAS,  EEPROM,      6, 0,      2, 3, 0, 0x53, true},
    {kOnMain,     "TMP112",     FP_SRCMEAS,  TEMP_SENSOR, 1, 5,      2, 3, 0, 0x49, false},
    {kOnMain,     "TMP112",     FP_SRCMEAS,  TEMP_SENSOR, 2, 5,      2, 3, 0, 0x4A, false},
    {kOnMain,     "AD7998",     FP_SRCMEAS,  DIAG_ADC,    1, 60,     2, 3, 0, 0x20, false},
    {kOnMain,     "PCA9536",    FP_SRCMEAS,  I2C_GPIO,    1, kNever, 2, 3, 0, 0x41, true},
    {kOnMain,     "EE24LC32",   SRCMEAS_CON, EEPROM,      7, 0,      2, 3, 0, 0x52, true},
    {kOnMain,     "EE24LC32",   FP_IO,       EEPROM,      8, 0,      2, 3, 1, 0x55, true},
    {kOnMain,     "AD7998",     FP_IO,       TEMPHUM_ADC, 2, 60,     2, 3, 1, 0x23, false},
    {kOnMain,     "EE24LC32",   FP_RELAY,    EEPROM,      10, 0,     2, 3, 3, 0x54, true},
    {kOnMain,     "EE24LC32",   MAIN_REF,    EEPROM,      11, 0,     2, 2, 4, 0x50, true},
    {kOnMain,     "SA56004",    MAIN_REF,    TEMP_SENSOR, 1, 0,      2, 2, 4, 0x4C, true},
    {kOnMain,     "SA56004",    MAIN_REF,    TEMP_SENSOR, 2, 0,      2, 2, 4, 0x4D, true},
    {kOnMain,     "SA56004",    MAIN_REF,    TEMP_SENSOR, 3, 5,      2, 2, 4, 0x4C, false},
    {kOnMain,     "SA56004",    MAIN_REF,    TEMP_SENSOR, 4, 5,      2, 2, 4, 0x4D, false},
    {kOnMain,     "PCA9538",    MAIN_REF,    IO_TESTCONF, 1, 3,      2, 2, 4, 0x70, false},
    {kOnMain,     "SC18IS602B", MAIN_REF,    SPI_BRIDGE,  1, kNever, 2, 2, 4, 0x28, true},
};
// clang-format on

/// Rows added once the CPLD identity of their channel is known; the address follows from it.
struct ChannelSensorRow {
  ASSEMBLY_ID aid;
  int num;
  std::uint8_t hmux;
  std::uint8_t addr_0985;
  std::uint8_t addr_1093;
};

inline constexpr char kChannelSensorId[] = "DS75S";
inline constexpr int kChannelSensorRate = 5;
inline constexpr ChannelSensorRow kChannelSensorRows[] = {
    {MEAS_CH1, 1, 2, 0x48, 0x4A},
    {MEAS_CH2, 2, kSwitched, 0x49, 0x4B},
};

}  // namespace Dev
