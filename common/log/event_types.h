// The events of the event log, by number, each with the form of its data.
//
// One list has the numbers, the texts and the forms; eventlog.cpp has a formatter for each form.
#pragma once

namespace Logger {

/// What an event's data pointer points to (records in eventlog.h).
enum class EventForm : unsigned char {
  kBare,         ///< no data
  kHex,          ///< evseqdataI_t, in hexadecimal
  kFloat,        ///< evseqdataF_t
  kDecimal,      ///< evseqdataI_t, in decimal
  kState,        ///< evstates_t
  kName,         ///< a text
  kHostMessage,  ///< a host opcode (short)
  kFrequency,    ///< msg4freqdata_t
  kCorrelator,   ///< two longs
  kPhasors,      ///< evphasors_t
  kChannel,      ///< evchannel_t
  kMonitor,      ///< evseqdataU64_t
  kAddresses,    ///< evaddresses_t
  kMonitorName,  ///< evnamedata_t
};

// clang-format off
// In number order. The events from WRONGFILTERVALUES to FILTERHOLDINGSMUPDATE have never had
// data.
#define Q5_EVENTS(X) \
  X(START_WAVEFORM_CAPTURE, kBare) \
  X(END_WAVEFORM_CAPTURE, kBare) \
  X(SOURCE_ENABLE_START, kBare) \
  X(SOURCE_DISABLE_DONE, kBare) \
  X(START_RAMP_UP, kBare) \
  X(START_RAMP_DOWN, kBare) \
  X(RAMP_UP_DONE, kBare) \
  X(RAMP_DOWN_DONE, kBare) \
  X(START_FINE_TUNE, kBare) \
  X(FINE_TUNE_DONE, kHex) \
  X(SOURCE_RANGING_SLOW, kFloat) \
  X(SOURCE_RANGING_FAST, kFloat) \
  X(MEASUREMENT_RANGING_SLOW, kFloat) \
  X(MEASUREMENT_RANGING_FAST, kFloat) \
  X(CH1_NEW_STATE, kState) \
  X(CH2_NEW_STATE, kState) \
  X(CH1_NEW_DRIVE_STATE, kName) \
  X(CH2_NEW_DRIVE_STATE, kName) \
  X(CH1_NEW_FOLLOW_STATE, kName) \
  X(CH2_NEW_FOLLOW_STATE, kName) \
  X(HMP_MESSAGE_RECEIVED, kHostMessage) \
  X(SPCLK_SET_FREQUENCY_DONE, kFrequency) \
  X(SOS_TX_RAMP_MSG, kBare) \
  X(SOS_TX_RAMP_0_MSG, kBare) \
  X(MOS_RX_RAMP_MSG, kBare) \
  X(DRV_SET_RELAY_MSG, kBare) \
  X(DRV_RECEIVED_MSG, kBare) \
  X(FOL_SET_RELAY_MSG, kBare) \
  X(FOL_RESET_RELAY_MSG, kBare) \
  X(FOL_RECEIVED_MSG, kBare) \
  X(SINE_CORRELATOR_RESET, kDecimal) \
  X(SINE_CORRELATOR_NEW_VALUE, kCorrelator) \
  X(MEASUREMENT_STATUS_CHANGE, kHex) \
  X(OPEN_RELAYS, kBare) \
  X(CLOSE_RELAYS, kBare) \
  X(GET_FAST_PHASORS, kPhasors) \
  X(GET_SLOW_PHASORS, kPhasors) \
  X(GET_AVG_PHASORS, kPhasors) \
  X(POWER_SANITY_FAIL, kDecimal) \
  X(SET_DC_OFFSET, kHex) \
  X(GET_DC_OFFSET, kHex) \
  X(DC_OFFSET_UNCORRECTABLE, kDecimal) \
  X(VOLTAGE_EXCEEDED, kHex) \
  X(CURRENT_EXCEEDED, kHex) \
  X(MAX_VIOLATIONS, kDecimal) \
  X(MULTIPLIER_EXCEEDS_MAX, kHex) \
  X(FILTER_NULL, kBare) \
  X(PHASORS_EXCEEDS_VOLTMAX, kFloat) \
  X(VOLT_SETTINGS, kHex) \
  X(CURRENT_SETTINGS, kHex) \
  X(FPGA_HARDLIMIT, kHex) \
  X(PSCFPGA_VLIMIT, kHex) \
  X(PSCFPGA_ILIMIT, kHex) \
  X(MEASCHANNEL_STATUS, kChannel) \
  X(AMPLIFIER_STATE, kHex) \
  X(A2DSTATUS_ERROR, kHex) \
  X(SAMPLE_COUNT_ERROR, kHex) \
  X(SAMPLES_PER_CYCLE, kDecimal) \
  X(CUTOFF_FREQUENCIES, kFloat) \
  X(SAME_SAMPLES_PER_CYCLE, kFloat) \
  X(INVERT_CHANNEL, kHex) \
  X(CLEAR_INVERT_CHANNEL, kHex) \
  X(INVERT_CURRENT_CHANNEL, kDecimal) \
  X(CHANNELPOLARITY, kDecimal) \
  X(WRONGBACKPLANE, kBare) \
  X(FLIP_ALL_CHANNELS, kHex) \
  X(ACQCH_CHANGE_VOLT, kBare) \
  X(ACQCH_CHANGE_CURRENT, kBare) \
  X(SOURCE_SWITCH_CURRENT, kBare) \
  X(HIGHVOLTAGE, kBare) \
  X(LOWVOLTAGE, kBare) \
  X(LOWAMPERAGE, kBare) \
  X(VAREKTTR, kBare) \
  X(LVTTR, kBare) \
  X(DFR, kBare) \
  X(CONTACT_RESISTANCE, kBare) \
  X(WINDING_RESISTANCE, kBare) \
  X(OLTC, kBare) \
  X(TEST_UNDEFINED, kBare) \
  X(HVSCALEFACTORS, kFloat) \
  X(INVALIDEVENT, kBare) \
  X(EVENT_NULL, kBare) \
  X(RAMPDOWN_FAIL, kHex) \
  X(RECOVER_EVENT, kBare) \
  X(MEASFILTERS, kHex) \
  X(TOSRESULTS, kFloat) \
  X(CONFIG_WRITE_STATUS, kHex) \
  X(CONFIG_WRITE_FAIL, kHex) \
  X(DISABLE_DCOFFSET, kBare) \
  X(FUDGE_FACTORS, kFloat) \
  X(MAX_PSOC_VLIMIT, kHex) \
  X(MAX_FPGA_AMPLITUDE, kHex) \
  X(MAX_FPGA_HARDLIMIT, kHex) \
  X(RANGING_MAX_MULTIPLIER, kHex) \
  X(RAMP_DOWN_VLF, kHex) \
  X(RAMP_DOWN_ABOVE_20HZ, kHex) \
  X(RAMP_DOWN_BELOW_20HZ, kHex) \
  X(REINIT, kDecimal) \
  X(DEFAULTE_SAMPLES_PER_CYCLE, kDecimal) \
  X(BACKPLANE_VERSION, kDecimal) \
  X(A2DCTRL, kHex) \
  X(MSG4_SAMPLES_PER_CYCLE, kDecimal) \
  X(SPECIAL_CASE_1024, kBare) \
  X(PSC_DCOFFSET_UNFREEZE, kBare) \
  X(PSC_DCOFFSET_FREEZE, kBare) \
  X(FPGA_MULTIPLIERS, kHex) \
  X(FPGA_MSG7_MULTIPLIER, kHex) \
  X(MONITOR_TIMEOUT, kMonitor) \
  X(MONITOR_RESET, kMonitor) \
  X(MONITOR_NAME, kName) \
  X(SPECIAL_VLF_RESET, kDecimal) \
  X(RAMPDOWN_IN_PROGRESS, kBare) \
  X(DISCHARGE_IN_PROGRESS, kBare) \
  X(IPNULL, kBare) \
  X(FPGA_INVALID_RAMPSTATUS, kBare) \
  X(ENABLE_DAC_ON_FPGA, kHex) \
  X(DISABLE_DAC_ON_FPGA, kHex) \
  X(WRONGFILTERVALUES, kBare) \
  X(DIFFERENTFILTERS, kBare) \
  X(FILTERHOLDINGSM, kBare) \
  X(FILTERHOLDINGSMAUTO, kBare) \
  X(FILTERHOLDINGSMTGT, kBare) \
  X(FILTERHOLDINGSMZERO, kBare) \
  X(FILTERHOLDINGSMUPDATE, kBare) \
  X(MEASEARLYDCOFFSETDONE, kBare) \
  X(PSOC_CLEAR_ERROR, kHex) \
  X(PSOC_SCANNER_CLEAR, kBare) \
  X(PSOC_IGNORE_ERROR, kBare) \
  X(PSOC_TEMP2_ERROR, kHex) \
  X(PSOC_TEMP3_ERROR, kHex) \
  X(PSOC_OVERVOLTAGEPOS, kBare) \
  X(PSOC_OVERVOLTAGENEG, kBare) \
  X(PSOC_OVERCURRENTPOS, kBare) \
  X(PSOC_OVERCURRENTNEG, kBare) \
  X(PSOC_ALLOK, kBare) \
  X(TESTFAILCHECK1, kFloat) \
  X(TESTFAILCHECK2, kFloat) \
  X(FAILTEST, kFloat) \
  X(RAMP_DOWN_HV, kDecimal) \
  X(RAMP_UP_HVBELOW20HZ, kDecimal) \
  X(SRCEARLYDCOFFSET, kDecimal) \
  X(MODULEIPS, kAddresses) \
  X(MEASEARLYDCOFFSET, kDecimal) \
  X(RAMPMONITOR, kDecimal) \
  X(RAMPTOTARGET, kHex) \
  X(MONITOR_ALIVE, kDecimal) \
  X(MONITOR_ERASE, kMonitorName) \
  X(MONITOR_ADD, kMonitorName) \
  X(LVSFILTERRELAY, kDecimal) \
  X(LVSFILTERMSG, kBare) \
  X(LVSFILTERRELAYRESET, kDecimal) \
  X(LOWWFSAMPLING, kFloat) \
  X(LVSFILTERFREQ, kFloat) \
  X(UNMOUNTEVENT, kBare) \
  X(FPESTOPEVENT, kBare) \
  X(RCVESTOPEVENT, kBare) \
  X(SNDRECOVERSOS, kBare) \
  X(RCVRECOVERSOS, kBare) \
  X(ESTOPWAIT, kBare) \
  X(ESTOPTRIGGERFAULT, kBare) \
  X(ESTOPNOP, kBare) \
  X(RECOVER_COMMSLOST, kBare) \
  X(SNDSOSESTOP, kDecimal) \
  X(ESTOPSOURCEENABLE, kDecimal) \
  X(FPGA_RAMP_PHASE1, kHex) \
  X(FPGA_RAMP_MANUAL, kHex) \
  X(FPGA_RAMP_LINESYNC, kHex) \
  X(FPGA_RAMP_VLF, kHex) \
  X(FPGA_RAMP_DC, kHex) \
  X(FPGA_RAMP_CYCLIC, kHex) \
  X(FPGA_RAMP_PHASE1_END, kHex) \
  X(FPGA_RAMP_PHASE2, kHex) \
  X(SNDSOSSSWITCH, kDecimal) \
  X(RCVSSWITCHSOS, kBare) \
  X(SNDSOSACKSSWITCH, kBare) \
  X(RCVACKSSWITCHSOS, kBare) \
  X(MONITOR_VIOLATION, kMonitorName) \
  X(SNDMSGMONITORRESET, kBare) \
  X(RCVMSGMONITORRESET, kBare) \
  X(CHANGEVOLTAGERAMP, kHex) \
  X(RAMPRESTART, kBare) \
  X(LINESYNC_SAMPLES_PER_CYCLE, kFloat) \
  X(BEFORE_MORESAMPLING, kDecimal) \
  X(CLOSE_RELAYS17, kBare) \
  X(RCVSRCSTATUSINFO, kBare) \
  X(HV_RAMP_DOWN_DONE, kBare) \
  X(PSOC_WAVEFORM_ERR, kBare) \
  X(PSOC_HEARTBEAT_ERR, kBare) \
  X(PSOC_CY8_VOLTS_ERR, kBare) \
  X(PSOC_ADC_CH1_LOW_ERR, kBare) \
  X(PSOC_ADC_CH1_HIGH_ERR, kBare) \
  X(PSOC_ADC_CH2_LOW_ERR, kBare) \
  X(PSOC_ADC_CH2_HIGH_ERR, kBare) \
  X(PSOC_ADC_CH3_LOW_ERR, kBare) \
  X(PSOC_ADC_CH3_HIGH_ERR, kBare) \
  X(PSOC_ADC_CH4_LOW_ERR, kBare) \
  X(PSOC_ADC_CH4_HIGH_ERR, kBare) \
  X(LFPFPGA_READ_ERR, kHex) \
  X(LCBLIN_SOURCE_ERR, kHex) \
  X(LCBLIN_MEAS_ERR, kHex) \
  X(LCBLIN_FPIO_ERR, kHex) \
  X(LFPIO_ERR, kHex) \
  X(LPWR_ERR, kHex) \
  X(FPFPGALOG_READ_ERR, kHex) \
  X(CBLIN_SOURCE_ERR, kHex) \
  X(CBLIN_MEAS_ERR, kHex) \
  X(CBLIN_FPIO_ERR, kHex) \
  X(FPIO_ERR, kHex) \
  X(PWR_ERR, kHex) \
  X(DC_WAVEFORM, kBare) \
  X(AC_WAVEFORM, kBare) \
  X(SET_WAVEFORM_SIG, kDecimal) \
  X(MODE_CONFIG_INFO, kHex) \
  X(UNKNOWN_EVENT, kBare) \
  X(DUMMY_EVENT1, kHex) \
  X(DUMMY_EVENT2, kHex) \
  X(DUMMY_EVENT3, kDecimal) \
  X(DUMMY_EVENT4, kDecimal) \
  X(DUMMY_EVENT5, kFloat) \
  X(DUMMY_EVENT6, kFloat) \
  X(A2D_INTERRUPTS, kBare)

// clang-format on

enum eventtypes_t : int {
#define Q5_EVENT_NUMBER(name, form) name,
  Q5_EVENTS(Q5_EVENT_NUMBER)
#undef Q5_EVENT_NUMBER
      MAX_EVENT_LOG
};
static_assert(MAX_EVENT_LOG == 221);

}  // namespace Logger
