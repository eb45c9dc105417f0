// Where a chip of the board sits and what it is. A device's key is module, assembly, type and
// number in decimal, joined by dots.
#pragma once

#include <string>

namespace Dev {

enum ASSEMBLY_ID : int {
  CORE = 0,
  MAIN_HOST = 1,
  COMMS = 2,
  FAN_CONTROL = 3,
  BACK_PLANE = 4,
  FP_SRCMEAS = 5,
  FP_IO = 6,
  FP_RELAY = 7,
  DCIR = 8,
  MAIN_REF = 9,
  SIGNAL_HOST = 10,
  MEAS_CH1 = 11,
  MEAS_CH2 = 12,
  LV_SOURCE = 13,
  HV_SOURCE = 14,
  PFC_POWER = 15,
  PFC_CTRL = 16,
  SRCMEAS_CON = 17,
};

enum DEV_TYPE : int {
  EEPROM = 0,
  POW_MANAGE = 1,
  TEMP_SENSOR = 2,
  I2C_MUX = 3,
  I2C_GPIO = 4,
  SPI_BRIDGE = 5,
  FAN_CTRL = 6,
  LED_DRIVER = 7,
  FPGA = 8,
  DIAG_ADC = 9,
  TEMPHUM_ADC = 10,
  IO_TESTCONF = 11,
  MON_ADC = 12,
  DAC_DCOFF = 13,
  PSOC = 14,
  SFP = 15,
  CLK_GEN = 16,
  NULLDEVICE = 17,
};

std::string DeviceKey(int mid, int aid, int type, int num);

}  // namespace Dev
