// The sampling clock of a module: what it is to be, and the order in which the clock chip, the
// FPGA's dividers and the waveform memory are brought there.
//
// Setters only note a value; Update applies them all. A setter that refuses its value logs it,
// returns a negative errno and leaves the setting alone. Error words are the caller's.
// Threads: the daemon's command path alone, with acquisition stopped.
#pragma once

#include <memory>

#include "common/dev/fpga/fpga_dev.h"
#include "common/dev/i2c/chips/si5338_dev.h"
#include "common/dev/sclk/clock_params.h"

namespace Dev {

class SpclkDev {
 public:
  /// The process's one object, for the module that the FPGA says this is. Null, with the reason in
  /// the log, while there is no FPGA, and on a module without a clock chip.
  static SpclkDev* GetDevice();
  /// `mid`: MEAS_MODULE or SOURCE_MODULE. Later calls return the same object for any `mid`.
  static SpclkDev* GetDevice(int mid);

  /// `fpga` outlives the object.
  SpclkDev(std::unique_ptr<SI5338Dev> chip, FpgaDevBase& fpga);

  // --- Settings ---

  /// 0.0001 to 7000 Hz; six decimals count.
  int SetTestFrequency(float hertz);
  /// A power of 2 from 8 to 0x40000000.
  int SetSamplesPerCyc(unsigned samples);
  /// A power of 2 from 32 to 256.
  int SetAdClksPerSample(unsigned clocks);
  /// Of the waveform: a power of 2 from 256 to 4096, or 0x40000 for the high-speed mode.
  int SetWfSamplesPerCyc(unsigned samples);
  /// Sets and returns what suits the frequency `hertz`; negative above 4882.8 Hz, where fewer
  /// samples were needed than can be set.
  int SetWfSamplesPerCyc(float hertz);
  /// Size of a frequency step in millionths, 0 to 566667. With `only_steps` the next Update writes
  /// the step registers alone.
  int SetFreqJumpSize(int size, bool only_steps);
  /// 0: this module's own converter clock, 1: the other's.
  int SetMeasClkSrc(short source);
  /// 0: the oscillator, 1: the clock chip.
  int SetSysClkSrc(short source);
  /// 1: crystal, 2: network, 3: system.
  int SetRefClkSrc(short source);
  /// Sends the converter clock to the other module.
  int EnableOutputClk0(bool enable);
  int EnableDdsClkIn(bool enable);
  /// WaveformSignal, 0 to 2.
  int SetTestWFSignal(int signal);
  /// 0 or 1.
  int SetWFPolarity(int polarity);
  /// All settings to those of 60 Hz and 512 samples a cycle. 0.
  int SetDefaultParamters();

  const Param_Values& GetParams() const { return _params; }
  /// Takes back what setters have noted, with what GetParams returned before them.
  void SetParams(const Param_Values& params) { _params = params; }
  unsigned GetWfSamplesPerCyc() const { return _params.wf_samples_per_cycle; }

  // --- The hardware ---

  /// Brings everything to the settings. 0, or negative; the next update repairs a failed one.
  /// The argument has no effect.
  int Update(int output);
  int ActivateWFPolarity();
  /// Steps the frequency of output 0 by its step size. -1 for another output.
  int IncrementFrequency(int output);
  int DecrementFrequency(int output);
  /// `direction` 1 up, 2 down, else -1.
  int IncrDecrFrequency(int direction, int output);
  /// Writes the cycle length and the clock select word.
  int FpgaConfigureClocks(const Param_Values& params);

  // Register contents, or -1.

  /// The measured sample clock in Hz.
  int FpgaReadSclkFreq();
  int FpgaReadVersion();
  int FpgaReadDeviceId();

  /// Logs what is written to the FPGA's clock registers, and waits 15 ms before each.
  void SetVerbose(bool verbose) { _verbose = verbose; }
  /// Logs the chip's registers after an Update.
  void SetList(bool list) { _list_flag = list; }

 private:
  friend int sp_clk_main(SpclkDev* spclk);

  int Refuse(const char* text) const;
  int PulseStep(unsigned bit);
  int ReadFpga(int offset);
  int FillWaveform();
  int ProgramChip(const RegTable& table);
  int WriteSteps(const RegTable& table);
  int Si5338WriteRegStruct(const RegTable& table) { return _si5338->WriteRegStruct(table); }
  int Si5338WriteMs0FidpRegs(const RegTable& table) { return _si5338->WriteMs0FidpReg(table); }
  void List(const RegTable& table) const;

  static bool freq_inc_dec_change_only;

  const std::unique_ptr<SI5338Dev> _si5338;
  FpgaDevBase* const _q5fpga;
  Param_Values _params;
  bool _verbose = false;
  bool _list_flag = false;
};

/// The whole reprogramming for the settings of `spclk`. 0, or negative: the plan's own result when
/// there is no plan, -12 without registers for it, -5 when the FPGA or the chip could not be
/// written, or the waveform memory's error. Nothing is written without a whole plan.
int sp_clk_main(SpclkDev* spclk);

}  // namespace Dev
