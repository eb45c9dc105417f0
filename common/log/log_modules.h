// The modules of the log: every message names one, and each has a level of its own.
#pragma once

#include <array>

namespace Logger {

enum LogModule : int {
  mainL = 1,
  measurementL,
  sourceL,
  pfcL,
  acquisitionL,
  sinecorrelatorL,
  correctionsL,
  averagerL,
  fpgaL,
  msgL,
  spclkL,
  rangeL,
  fftL,
  monitorL,
  nwcheckL,
  systemcheckL,
  i2cmainL,
  ad7998L,
  dacdcoffsetL,
  ee24lc32L,
  max31785L,
  pca9536L,
  pca9538L,
  pca9552L,
  cy8c28L,
  ds75sL,
  spartan6L,
  sa56004L,
  spibridgeL,
  tmp112L,
  si5338L,
  tps659112L,
  nulldevL,
  psocdevL,
  debuglogprintL,
  buggycyclesL,
  eventlogL,
  ee_grpL,
  sfpfinL,
  elecL,
  calibL,
  pfcmonL,
  zpubsubL,
  dateL,
  signalhL,
  chanfsmL,
  zmbL,
  commonlibL,
  usbbridgeL,
  ethbL,
  histogramL,
  fsmfrmwrkL,
  nakLoggingL,
  sumTestL,
  retryi2cL,
  maxlogL,
};
static_assert(maxlogL == 56);

/// Text of each module in a log line, by module number; number 0 is unused.
inline constexpr std::array<const char*, maxlogL> kModuleTexts = {
    "",          "main",      "meas",      "source",    "pfc",        "acquis",   "sinecorr",
    "correct",   "averager",  "fpga",      "msg",       "spclk",      "range",    "fft",
    "monitor",   "nwcheck",   "syscheck",  "i2cmain",   "ad7998",     "dacdcofs", "ee24lc32",
    "max31785",  "pca9536",   "pca9538",   "pca9552",   "cy8c28",     "ds75s",    "spartan6",
    "sa56004",   "spibridg",  "tmp112",    "si5338",    "tps659112",  "nulldev",  "psocdev",
    "logprint",  "buggycycl", "eventlog",  "ee_grp",    "sfpfin",     "elec",     "calib",
    "pfcmon",    "zpubsub",   "date",      "signalh",   "fsmchan",    "zmb",      "commonlib",
    "usbbridge", "ethb",      "histogram", "fsmfrmwrk", "nakLogging", "sumTest",  "retryi2c"};

enum LogLevel : int {
  kError = 3,
  kWarning = 4,
  kNotice = 5,
  kInfo = 6,
  kDebug = 7,
};

}  // namespace Logger
