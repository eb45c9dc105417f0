// The daemon's tunable numbers, from its configuration file (mos/daemon_config.h).
//
// Threads: written before the sample threads start; handlers later write the scale factors of the
// voltage leads. Any thread reads every value.
#pragma once

#include <array>
#include <atomic>

#include "common/msg/records/module_id.h"

namespace libconfig {
class Config;
}

namespace Msg {

struct pscswitchingfreq_currentlimit_t {
  int switchingfreq = 0;
  float currentlimit = 0;
};

class ConfigData {
 public:
  static constexpr int kSwitchingFrequencies = 20;
  using SwitchingTable = std::array<pscswitchingfreq_currentlimit_t, kSwitchingFrequencies>;

  /// `config` outlives the object; `its_module` is a MODULE_ID.
  ConfigData(libconfig::Config& config, int its_module) : boardconfig(config), module(its_module) {}
  ConfigData(const ConfigData&) = delete;
  ConfigData& operator=(const ConfigData&) = delete;

  bool IsMeasModule() const { return module == MEAS_MODULE; }
  bool IsSourceModule() const { return module == SOURCE_MODULE; }
  bool IsMainModule() const { return module == MAIN_MODULE; }
  float GetHVMeasScaleFactor() const { return hvmeasurementscalefactor; }
  void SetHVMeasScaleFactor(float factor) { hvmeasurementscalefactor = factor; }
  float GetHV2MeasScaleFactor() const { return hvmeasurement2_scalefactor; }
  void SetHV2MeasScaleFactor(float factor) { hvmeasurement2_scalefactor = factor; }
  float GetLVScaleFactor() const { return lvscalefactor; }
  float GetHVScaleFactor() const { return hvscalefactor; }
  float GetLVCScaleFactor() const { return ampscalefactor; }
  int GetMultiSampleRangingCount() const { return multisamplerangingcount; }
  int GetBlockReadyInterrupts() const { return interruptspersec; }
  int GetVLFBlockReadyInterrupts() const { return vlfinterruptspersec; }
  int GetVLFThreshold() const { return vlfthreshold; }
  float GetPSOCVoltageAddConstant() const { return psocvoltage_add_constant; }
  float GetPSOCVoltageMultiplier() const { return psocvoltage_mult_constant; }
  float GetPSOCCurrentMultiplier() const { return psoccurrent_mult_constant; }
  float GetFPGATuneLimit() const { return maximumtunelimit; }
  int GetLVSFilter() const { return lvsfilter; }
  int GetI2CSwitchSetting() const { return i2cswitch; }
  int GetStabilityCounter() const { return stability_counter; }
  float get_current_dev() const { return current_deviation; }
  int GetMaxAmperage() const { return maxamperage; }
  int GetLVMaxVoltage() const { return lvmaxvoltage; }
  int GetFPGAStepDivider() const { return fpgastepdivider; }
  /// Filled before the source's power stage is made, and only read afterwards.
  const SwitchingTable& GetPSCSwitchingFreqandCurrentlimits() const {
    return gpscswitchfreq_currentlimits;
  }
  int GetConsumerBacklog() const { return consumerbacklog; }
  bool GetEnableNAKonSampleFault() const { return enable_nak_on_sample_fault != 0; }
  bool GetEnableNAKonSampleOverRange() const { return enable_nak_on_sample_overrange != 0; }

  // --- Scales: volts and amps per unit; they divide and multiply, so they do not start at 0 ---

  std::atomic<float> hvmeasurementscalefactor{1.0F};    ///< voltage lead of channel 1
  std::atomic<float> hvmeasurement2_scalefactor{1.0F};  ///< voltage lead of channel 2
  std::atomic<float> lvscalefactor{1.0F};
  std::atomic<float> hvscalefactor{1.0F};  ///< high voltage per volt of the source's output
  std::atomic<float> ampscalefactor{1.0F};

  // --- Ranging ---

  std::atomic<float> currentfudgefactor{1.0F};  ///< margin on current ranges
  std::atomic<int> currentautorangelimit{0};    ///< highest current range of the automatic choice
  std::atomic<int> multisamplerangingcount{0};  ///< agreeing choices before a range is taken
  std::atomic<float> voltagefudgefactor{1.0F};  ///< margin on voltage ranges

  // --- Sample blocks ---

  std::atomic<int> vlfinterruptspersec{0};  ///< blocks a second in a very-low-frequency test
  std::atomic<int> interruptspersec{0};     ///< blocks a second in any other test
  std::atomic<int> vlfthreshold{0};         ///< Hz; a test below it is a very-low-frequency test
  std::atomic<int> maxsamplingrate{0};      ///< pairs a second
  std::atomic<int> minsamplingrate{0};
  std::atomic<int> enable_nak_on_sample_fault{0};
  std::atomic<int> enable_nak_on_sample_overrange{0};

  // --- Volts or amps below which an output counts as discharged ---

  std::atomic<float> _vlfvoltagemin{0};
  std::atomic<float> _dccurrentmin{0};
  std::atomic<float> _acvoltagemin{0};
  std::atomic<float> _hvacvoltagemin{0};

  // --- For single devices or tests ---

  std::atomic<float> maxlinearamplifierfreq{0};
  libconfig::Config& boardconfig;  ///< the whole file, for the settings of single devices
  const int module;                ///< MODULE_ID
  std::atomic<float> maximumtunelimit{0};
  std::atomic<int> lsyncoffsetthreshold{16};
  std::atomic<int> lsyncpulselimit{32};
  std::atomic<int> lsynccorrratedivisor{16};
  std::atomic<int> progresstimeout{25};
  std::atomic<int> dctesttimeout{0};

  // --- Source's power stage ---

  std::atomic<float> psocvoltage_add_constant{0};
  std::atomic<float> psocvoltage_mult_constant{0};
  std::atomic<float> psoccurrent_mult_constant{0};
  std::atomic<int> fpgastepdivider{0};
  std::atomic<int> deltafrequency{0};
  std::atomic<float> psocvlimit{0};
  std::atomic<float> psocilimit130k{0};
  std::atomic<float> psocilimit125k{0};
  std::atomic<float> psocilimit120k{0};
  std::atomic<int> pfcbusvoltage{0};

  std::atomic<int> power_sanity_fail_limit{0};
  std::atomic<int> max_sample_limit{0};  ///< repetitions of the same sample value
  std::atomic<int> lvsfilter{0};
  std::atomic<int> i2cswitch{0};  ///< which I2C device table the board has
  std::atomic<int> stability_counter{0};
  std::atomic<float> openloopthresh{0};
  std::atomic<float> closeloopthresh{0};
  std::atomic<float> current_deviation{0};
  std::atomic<int> enabledischarge{0};
  std::atomic<int> targettime{0};
  std::atomic<int> targetint{0};
  std::atomic<float> rateofchange{0};
  std::atomic<int> maxamperage{0};
  std::atomic<int> lvmaxvoltage{0};
  SwitchingTable gpscswitchfreq_currentlimits{};
  std::atomic<int> srcswitch{0};
  std::atomic<int> consumerbacklog{0};       ///< blocks that the consumer may be behind
  std::atomic<int> hvvoltagerangelimit{11};  ///< highest voltage range of a high-voltage test
  std::atomic<int> dcvoltagerangelimit{11};  ///< highest voltage range of a DC test
  std::atomic<float> vlfresetcyclefraction{0};
  std::atomic<int> vlfmeasrelaywarmtime{0};
};

}  // namespace Msg
