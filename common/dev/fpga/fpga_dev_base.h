// The FPGA of a module: its registers, the module's identity, the ALLOK line, reset, the display,
// and volts and amps as counts of the waveform's amplitude multiplier.
//
// Implemented by theme: fpga_dev_base (registers, identity), fpga_allok, fpga_control (reset,
// enable, clocks), fpga_oled, fpga_conversions.
//
// Results, unless stated otherwise: 0 or a value on success, -1 when the driver refused a request.
// The failure is logged and nothing is tried again. Registers have 16 bits. Threads: any. Each
// register access is one request to the driver; ChangeReg lets no other write come in between.
// Conversions and hard limits require Share.
#pragma once

#include <array>
#include <atomic>
#include <optional>

#include "common/dev/fpga/fpga_registers.h"
#include "common/dev/fpga/fpga_shared.h"
#include "platform/fpga_driver.h"
#include "platform/thread_safety.h"

namespace Dev {

class FpgaDevBase {
 public:
  explicit FpgaDevBase(int fd) : _fd(fd) {}
  virtual ~FpgaDevBase() = default;
  FpgaDevBase(const FpgaDevBase&) = delete;
  FpgaDevBase& operator=(const FpgaDevBase&) = delete;

  /// One state for the process, because the device may be opened late. To be called before a test
  /// runs; a later call replaces the state.
  static void Share(const FpgaShared& shared);
  /// Takes the largest multiplier counts from the configuration; to be called once, when that has
  /// been read.
  void Init();

  // --- Registers. A failed access keeps the driver's errno. ---

  /// The caller fills `devtype` and `offset`; the result is in `val`.
  int Read(FpgaCmd& command);
  /// `line` is the caller's tag for the log only.
  int Write(FpgaCmd& command, int line);
  /// `value` is unchanged when the register cannot be read.
  int ReadReg(int offset, unsigned int& value);
  int WriteReg(int offset, unsigned int value, int line);
  /// Clears, then sets bits. For the daemon's own registers (converters, waveform, miscellaneous)
  /// the other bits come from the intended value, so that a false reading of a disturbed driver is
  /// not written back. Bits that the hardware changes too, above all the ALLOK line, stay as read,
  /// and so do all bits of other registers. Nothing is written when a register with such bits
  /// cannot be read.
  int ChangeReg(int offset, unsigned clear, unsigned set, int line);
  /// As the other, and returns the written value in `written`.
  int ChangeReg(int offset, unsigned clear, unsigned set, int line, unsigned& written);
  /// Writes the intended values of converters, clock selection and waveform again. -1 when one
  /// could not be written.
  int RestoreRegisters();
  /// Name in the log of a register whose writes are traced, "?" for the others.
  static const char* GetRegNameText(int offset);
  int GetDeviceFd() const { return _fd; }

  // --- Identity ---

  /// A MID value; 3 for an unknown identity, -1 when it cannot be read.
  int GetHostModuleID();
  bool IsActualModuleID(int module);
  /// Board revision, 0 to 15, or -1.
  int GetRevision();
  /// Miscellaneous status and control, register 82, or -1.
  int GetMiscContStat2();

  // --- ALLOK, the line by which each module lets the others run ---

  /// Drops the module's output: something is wrong.
  int SetALLOK();
  /// Raises the output: nothing is wrong.
  int ClearALLOK();
  /// The bit of the module's output or of the common input; 0 when the line is down.
  int GetALLOKOut();
  int GetALLOK();

  // --- Reset and enable ---

  /// Resets the converter board and switches the waveform off.
  int FpgaReset();
  /// Starts the converters; the inversion of the channels stays.
  int RunConverters();
  int FPGADisableWaveform();
  int FPGADisablePrimary();
  int EnableDACForLinearAmplifier();
  int DisableDACForLinearAmplifier();

  // --- Clocks ---

  /// `cycle_length`: waveform samples per cycle minus 1. `clock_select` is not written after a
  /// failure of the first.
  int ConfigureClocks(unsigned cycle_length, unsigned clock_select);
  /// The measured sample clock in Hz; -1 also for a value beyond an int.
  int ReadSclkFreq();

  // --- Front display; only the main module has one ---

  int ResetOled();
  /// Shows up to 16 characters on line 1 or 2. -1 for a longer text and on other modules, -2 when a
  /// request failed. The driver takes the text's address in 32 bits: where it does not fit, -2.
  int DisplayMsg(const char* text, int line);

  // --- Multiplier counts ---

  /// Peak counts for `volts` or `amps` (effective values, but for DC tests) in the present kind of
  /// test. A result at or above the largest is logged and returned all the same.
  int VoltsToSample(float volts);
  int AmpsToSample(float amps);
  /// The counts of one of `divider` parts; all counts when the divider is 0.
  int VoltsToStepvalue(int volts, int divider);
  int AmpsToStepvalue(int amps, int divider);

  // --- Hard limit: counts that the amplitude never exceeds, whatever the ramp asks for ---

  int SetFPGAHardLimitRegister(unsigned short counts);
  /// `value` volts, or amps, and `percent` of it more. The shared `hardlimit` holds the limit
  /// afterwards, 0 if it could not be written.
  int SetFPGAHardLimit(int value, int percent);
  int SetFPGAHardLimitRT(int value, int percent);

 protected:
  static const FpgaShared& Shared();
  static const Msg::ConfigData& Config() { return Shared().config; }
  static const Msg::TestParameters& Test() { return Shared().test; }
  static Msg::OutputState& Output() { return Shared().output; }

  const int _fd;
  std::atomic<float> _vmaxamplitude{0};  ///< largest counts for volts
  std::atomic<float> _imaxamplitude{0};  ///< largest counts for amps

 private:
  struct Bit {
    int offset;
    unsigned mask;
  };
  static constexpr std::array kOwnRegisters{Q5FPGA_A2D_CTRL, Q5FPGA_CLK_SEL, Q5FPGA_WFORM_CTRL,
                                            Q5FPGA_MISC_CTRL};

  /// The intended value of one of the daemon's own registers; null for any other register.
  std::optional<unsigned>* Meant(int offset) Q5_REQUIRES(registers_mutex_);
  int Put(int offset, unsigned value, int line) Q5_REQUIRES(registers_mutex_);

  /// The bit of the output.
  Bit AllokOut() const;
  /// False when the module is not known.
  bool FindAllok(Bit& out, Bit& in);
  int ChangeAllok(bool ok);
  int ReadBit(const Bit& bit);
  bool IsClockSelected(unsigned clock_select);
  int SwitchDac(unsigned clear, unsigned set, int event);
  int OledRequest(unsigned long request, FpgaCmd& command, const char* func);
  int RestartOled();
  int StoreHardLimit(int counts);

  platform::Mutex registers_mutex_;  ///< held by every write
  /// Empty until written.
  std::array<std::optional<unsigned>, kOwnRegisters.size()> meant_ Q5_GUARDED_BY(registers_mutex_);
  std::atomic<int> module_{-1};  ///< as first read; -1 before
};

}  // namespace Dev
