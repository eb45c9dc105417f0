// The physics from the source through the device under test and both front ends to the samples.
//
// Everything is a steady state of sinusoids and direct levels, plus for each channel what is left
// of the last change, which fades with the time constant of its low-pass. The source's own ramps
// are slow against it. What a device under test does while a direct voltage settles is left out.
//
// Value: samples.noise, counts RMS that the ADC adds (2); a front end's own noise comes on top.
#pragma once

#include <array>
#include <atomic>
#include <complex>
#include <cstdint>
#include <optional>
#include <vector>

#include "simulator/config.h"
#include "simulator/fpga/sample_source.h"
#include "simulator/fpga/sample_word.h"
#include "simulator/meas_channel_board.h"
#include "simulator/signal/device_under_test.h"
#include "simulator/signal/front_end.h"
#include "simulator/signal/leads.h"
#include "simulator/signal/level.h"
#include "simulator/signal/noise.h"
#include "simulator/signal/phase.h"
#include "simulator/signal/signal_source.h"
#include "simulator/signal/voltage_path.h"

namespace simulator {

/// Threads: one at a time.
class SignalModel final : public fpga::SampleSource {
 public:
  using Boards = std::array<MeasChannelBoard*, kMeasChannels>;

  /// A board may be null: that channel has noise only. All references outlive the model.
  SignalModel(const SignalSource& source, const DeviceUnderTest& device, const Leads& leads,
              const VoltagePath& path, const Boards& boards, std::uint64_t seed, Units& units);

  void Begin() override;
  void Prepare(const fpga::SampleConditions& conditions, platform::Nanoseconds at) override;
  std::optional<platform::Nanoseconds> NextChange() const override;
  void Generate(std::span<std::uint32_t> words) override;
  void Skip(std::uint64_t pairs) override;

 private:
  /// Stretches of samples start again from exact phases, so that errors of rounding do not add up.
  static constexpr std::size_t kStretch = fpga::kPagePairs;

  /// One sinusoid, for an amplitude of 1 RMS at the source.
  struct Component {
    Phase phase = 0;  ///< at position_
    Phase step = 0;
    std::array<std::complex<double>, kMeasChannels> seen{};  ///< counts of the peak, by channel
    std::complex<double> now;                                ///< e^(j phase)
    std::complex<double> turn;                               ///< e^(j step)
  };
  struct Channel {
    FrontEnd settings;  ///< without what is busy
    FrontEndResponse front_end;
    platform::Nanoseconds busy_until{0};
    bool busy = false;
    double dc_gain = 0;  ///< counts per volt or ampere at the source
    double left = 0;     ///< of the last change, counts at left_from
    std::uint64_t left_from = 0;
    double fading = 0;  ///< per pair, natural logarithm; 0: nothing is left at once
    bool over_range = false;
    bool told_over_range = false;
  };
  struct Stretch;

  bool TakeSettings(const fpga::SampleConditions& conditions);
  bool TakeBoard(std::size_t index);
  void Rebuild();
  void BuildComponents();
  Component MakeComponent(Phase phase, Phase step, double hertz, double relative,
                          double degrees) const;
  /// Of the device with the stray admittance of its leads across it.
  std::complex<double> Impedance(double hertz) const;
  void AimLevels();
  /// What the channel's input gets for each volt or ampere of the source.
  std::complex<double> Input(std::size_t index, std::complex<double> impedance, double hertz) const;
  /// Without noise, at position_.
  double Value(const Channel& channel, std::size_t index) const;
  double Left(const Channel& channel) const;
  void StartStretch();
  std::size_t PairsToEndOfStretch() const;
  void MakeStretch(std::span<std::uint32_t> words);
  void AddComponent(Component& component, Stretch& stretch) const;
  void MakeWords(std::size_t index, const Stretch& stretch, std::span<std::uint32_t> words);
  void TellOverRange(std::size_t index, bool on);

  const SignalSource& source_;
  const DeviceUnderTest& device_;
  const Leads& leads_;
  const VoltagePath& path_;
  const Boards boards_;
  const NoiseBlock noise_block_;
  std::atomic<double> noise_;

  fpga::SampleConditions conditions_;
  std::uint64_t source_version_ = 0;
  std::uint64_t device_version_ = 0;
  std::uint64_t leads_version_ = 0;
  std::uint64_t path_version_ = 0;
  SourceSettings settings_;
  Circuit circuit_;
  LeadSettings lead_settings_;
  VoltagePath::Taps taps_{};
  std::vector<Component> components_;  ///< the fundamental, its harmonics, the mains
  std::array<Channel, kMeasChannels> channels_{};
  Level amplitude_;  ///< RMS at the source
  Level dc_;
  std::uint64_t position_ = 0;  ///< pairs since the beginning
  bool settled_ = true;         ///< the next change comes before the first sample
  bool anew_ = true;            ///< the next pair starts a stretch

  // Of the stretch under way.
  std::uint64_t stretch_from_ = 0;
  std::array<double, kMeasChannels> left_now_{};
  std::array<double, kMeasChannels> left_keeps_{};  ///< share that is left after a pair
};

}  // namespace simulator
