#include "simulator/signal/signal_model.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "simulator/parse.h"

namespace simulator {
namespace {

using namespace fpga;

constexpr double kDefaultNoise = 2;
constexpr double kMostNoise = 1e6;
/// Largest sample of either sign, so that negating one never overflows.
constexpr double kLargest = 0x7FFFFF;
/// Where the amplifiers before the low-pass stop following.
constexpr double kRail = 1.2 * kFullScaleCounts;
/// Less than this is no part of a sample any more.
constexpr double kNothingLeft = 1e-6;

/// The settings that a steady state depends on.
FrontEnd WithoutBusy(FrontEnd settings) {
  settings.busy = false;
  settings.busy_until = platform::Nanoseconds(0);
  return settings;
}

/// The voltage at the device, or the current through it, for each volt or ampere of the source.
std::complex<double> Transfer(SourceSettings::Kind kind, Quantity seen,
                              std::complex<double> impedance) {
  const bool voltage_source = kind == SourceSettings::Kind::kVoltage;
  if (seen == Quantity::kNothing) return 0;
  if (seen == Quantity::kVoltage) return voltage_source ? 1.0 : impedance;
  return voltage_source ? 1.0 / impedance : 1.0;
}

}  // namespace

/// The sums of the sinusoids over one run of pairs, for an amplitude of 1.
struct SignalModel::Stretch {
  std::size_t pairs = 0;
  std::array<std::array<double, kStretch>, kMeasChannels> ac{};
};

SignalModel::SignalModel(const SignalSource& source, const DeviceUnderTest& device,
                         const Leads& leads, const VoltagePath& path, const Boards& boards,
                         std::uint64_t seed, Units& units)
    : source_(source),
      device_(device),
      leads_(leads),
      path_(path),
      boards_(boards),
      noise_block_(seed),
      noise_(kDefaultNoise) {
  units.AddValue(
      "samples.noise", [this] { return std::to_string(noise_); },
      [this](std::string_view text) {
        const auto counts = ParseReal(text, 0, kMostNoise);
        if (counts) noise_ = *counts;
        return counts.has_value();
      });
}

void SignalModel::Begin() {
  position_ = 0;
  amplitude_ = {};
  dc_ = {};
  components_.clear();
  source_version_ = 0;
  settled_ = true;
  for (Channel& channel : channels_) channel.left = 0;
}

// --- How everything is set ---

void SignalModel::Prepare(const SampleConditions& conditions, platform::Nanoseconds at) {
  if (TakeSettings(conditions)) Rebuild();
  for (Channel& channel : channels_) channel.busy = at < channel.busy_until;
}

std::optional<platform::Nanoseconds> SignalModel::NextChange() const {
  std::optional<platform::Nanoseconds> next;
  for (const Channel& channel : channels_) {
    if (channel.busy && (!next || channel.busy_until < *next)) next = channel.busy_until;
  }
  return next;
}

/// True when the steady state is another one than before. The old one holds until Rebuild.
bool SignalModel::TakeSettings(const SampleConditions& conditions) {
  bool changed = false;
  for (std::size_t i = 0; i < boards_.size(); ++i) changed = TakeBoard(i) || changed;
  const std::uint64_t source = source_.Version();
  const std::uint64_t device = device_.Version();
  changed = changed || source != source_version_ || device != device_version_ ||
            leads_.Version() != leads_version_ || path_.Version() != path_version_;
  // A line that drifts matters only where it is picked up.
  SampleConditions wanted = conditions;
  if (settings_.line_noise == 0 && source == source_version_) {
    wanted.line_hertz = conditions_.line_hertz;
  }
  changed = changed || wanted != conditions_;
  conditions_ = changed ? conditions : conditions_;
  return changed;
}

bool SignalModel::TakeBoard(std::size_t index) {
  if (boards_[index] == nullptr) return false;
  const FrontEnd settings = boards_[index]->Settings();
  channels_[index].busy_until = settings.busy_until;
  return WithoutBusy(settings) != channels_[index].settings;
}

void SignalModel::Rebuild() {
  std::array<double, kMeasChannels> before{};
  for (std::size_t i = 0; i < before.size(); ++i) before[i] = Value(channels_[i], i);
  source_version_ = source_.Version();
  device_version_ = device_.Version();
  leads_version_ = leads_.Version();
  path_version_ = path_.Version();
  settings_ = source_.Get();
  circuit_ = device_.Get();
  lead_settings_ = leads_.Get();
  taps_ = path_.Get();
  for (std::size_t i = 0; i < boards_.size(); ++i) {
    if (boards_[i] == nullptr) continue;
    channels_[i].settings = WithoutBusy(boards_[i]->Settings());
    channels_[i].front_end = FrontEndResponse(channels_[i].settings, boards_[i]->Hardware());
  }
  AimLevels();
  BuildComponents();
  for (std::size_t i = 0; i < before.size(); ++i) {
    Channel& channel = channels_[i];
    const double seconds = channel.front_end.TimeConstant();
    channel.left = 0;
    channel.left_from = position_;
    channel.fading = seconds > 0 ? 1 / (seconds * conditions_.rate.Value()) : 0;
    if (settled_ || seconds == 0) continue;
    channel.left = std::clamp(before[i], -kRail, kRail) - Value(channel, i);
  }
  settled_ = false;
  anew_ = true;
}

void SignalModel::AimLevels() {
  const double rate = settled_ ? 0 : settings_.ramp / conditions_.rate.Value();
  amplitude_.Go(position_, settings_.on ? settings_.amplitude : 0, rate);
  dc_.Go(position_, settings_.on ? settings_.dc : 0, rate);
}

std::complex<double> SignalModel::Impedance(double hertz) const {
  const std::complex<double> device = circuit_.Impedance(hertz);
  const std::complex<double> stray = lead_settings_.Admittance(hertz);
  return stray == 0.0 ? device : device / (1.0 + device * stray);
}

/// Phases continue where they are: a new frequency makes no jump.
void SignalModel::BuildComponents() {
  const Phase phase = components_.empty() ? 0 : components_.front().phase;
  const Phase line_phase = components_.empty() ? 0 : components_.back().phase;
  const auto rate = static_cast<long double>(conditions_.rate.Value());
  const double hertz = settings_.hertz.value_or(conditions_.test_frequency.Value());
  const Phase step = settings_.hertz ? PhaseOf(static_cast<long double>(hertz) / rate)
                                     : PhaseOf(conditions_.test_frequency / conditions_.rate);
  components_.clear();
  components_.push_back(MakeComponent(phase, step, hertz, 1, settings_.degrees));
  for (const Harmonic& harmonic : settings_.harmonics) {
    components_.push_back(MakeComponent(phase * harmonic.order, step * harmonic.order,
                                        hertz * harmonic.order, harmonic.relative,
                                        settings_.degrees * harmonic.order + harmonic.degrees));
  }
  if (settings_.line_noise > 0) {
    const Phase line_step = PhaseOf(static_cast<long double>(conditions_.line_hertz) / rate);
    components_.push_back(
        MakeComponent(line_phase, line_step, conditions_.line_hertz, settings_.line_noise, 0));
  }
  const std::complex<double> direct = Impedance(0);
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    channels_[i].dc_gain = (Input(i, direct, 0) * channels_[i].front_end.At(0)).real();
  }
}

std::complex<double> SignalModel::Input(std::size_t index, std::complex<double> impedance,
                                        double hertz) const {
  const Channel& channel = channels_[index];
  const auto transfer = Transfer(settings_.kind, channel.front_end.Sees(), impedance);
  // the dividers lead to the AC voltage input only
  if (channel.settings.mode != InputMode::kAcVolt) return transfer;
  return transfer * path_.Response(taps_[index], hertz);
}

SignalModel::Component SignalModel::MakeComponent(Phase phase, Phase step, double hertz,
                                                  double relative, double degrees) const {
  Component component;
  component.phase = phase;
  component.step = step;
  component.turn = Unit(step);
  const std::complex<double> impedance = Impedance(hertz);
  const std::complex<double> peak = std::numbers::sqrt2 * relative * Unit(PhaseOfDegrees(degrees));
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    component.seen[i] = peak * Input(i, impedance, hertz) * channels_[i].front_end.At(hertz);
  }
  return component;
}

double SignalModel::Left(const Channel& channel) const {
  if (channel.left == 0) return 0;
  const auto passed = static_cast<double>(position_ - channel.left_from);
  const double left = channel.left * std::exp(-passed * channel.fading);
  return std::abs(left) < kNothingLeft ? 0 : left;
}

double SignalModel::Value(const Channel& channel, std::size_t index) const {
  double ac = 0;
  for (const Component& component : components_) {
    ac += (component.seen[index] * Unit(component.phase)).imag();
  }
  return channel.front_end.Offset() + dc_.At(position_) * channel.dc_gain +
         amplitude_.At(position_) * ac + Left(channel);
}

// --- Samples ---

void SignalModel::Skip(std::uint64_t pairs) {
  for (Component& component : components_) component.phase += component.step * pairs;
  position_ += pairs;
  anew_ = true;
}

void SignalModel::StartStretch() {
  stretch_from_ = position_;
  for (Component& component : components_) component.now = Unit(component.phase);
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    left_now_[i] = Left(channels_[i]);
    left_keeps_[i] = std::exp(-channels_[i].fading);
  }
  anew_ = false;
}

/// The next exact start, or the end of a ramp, which is a start, too.
std::size_t SignalModel::PairsToEndOfStretch() const {
  std::uint64_t pairs = kStretch - position_ % kStretch;
  for (const Level* level : {&amplitude_, &dc_}) {
    if (level->End() > position_) pairs = std::min(pairs, level->End() - position_);
  }
  return static_cast<std::size_t>(pairs);
}

void SignalModel::Generate(std::span<std::uint32_t> words) {
  while (!words.empty()) {
    if (anew_) StartStretch();
    const std::size_t rest = PairsToEndOfStretch();
    const std::size_t pairs = std::min(rest, words.size() / kChannels);
    MakeStretch(words.first(pairs * kChannels));
    words = words.subspan(pairs * kChannels);
    position_ += pairs;
    anew_ = pairs == rest;
    if (position_ % kStretch != 0) continue;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      TellOverRange(i, std::exchange(channels_[i].over_range, false));
    }
  }
}

void SignalModel::MakeStretch(std::span<std::uint32_t> words) {
  Stretch stretch;
  stretch.pairs = words.size() / kChannels;
  for (Component& component : components_) {
    AddComponent(component, stretch);
    component.phase += component.step * stretch.pairs;
  }
  for (std::size_t i = 0; i < channels_.size(); ++i) MakeWords(i, stretch, words);
}

void SignalModel::AddComponent(Component& component, Stretch& stretch) const {
  const auto [re0, im0] = std::pair(component.seen[0].real(), component.seen[0].imag());
  const auto [re1, im1] = std::pair(component.seen[1].real(), component.seen[1].imag());
  const double turn_re = component.turn.real();
  const double turn_im = component.turn.imag();
  double re = component.now.real();
  double im = component.now.imag();
  for (std::size_t i = 0; i < stretch.pairs; ++i) {
    stretch.ac[0][i] += re0 * im + im0 * re;
    stretch.ac[1][i] += re1 * im + im1 * re;
    const double next = re * turn_re - im * turn_im;
    im = re * turn_im + im * turn_re;
    re = next;
  }
  component.now = {re, im};
}

void SignalModel::MakeWords(std::size_t index, const Stretch& stretch,
                            std::span<std::uint32_t> words) {
  Channel& channel = channels_[index];
  const auto passed = static_cast<double>(position_ - stretch_from_);
  const double gain_slope = amplitude_.Slope(stretch_from_);
  const double gain = amplitude_.At(stretch_from_);
  const double level_slope = dc_.Slope(stretch_from_) * channel.dc_gain;
  const double level = channel.front_end.Offset() + dc_.At(stretch_from_) * channel.dc_gain;
  const double noise = noise_ * channel.front_end.NoiseFactor();
  const std::size_t noise_place =
      noise_block_.Start(position_ / kStretch, index) + position_ % kStretch;
  const std::uint32_t busy = channel.busy ? kCpldBusy : 0;
  double left = left_now_[index];
  const double keeps = left_keeps_[index];
  bool any_over = false;
  for (std::size_t i = 0; i < stretch.pairs; ++i) {
    const double since = passed + static_cast<double>(i);
    const double value = level + level_slope * since +
                         (gain + gain_slope * since) * stretch.ac[index][i] + left +
                         noise * static_cast<double>(noise_block_.At(noise_place + i));
    left *= keeps;
    const bool over = std::abs(value) > kLargest;
    any_over = any_over || over;
    const double held = std::clamp(value, -kLargest, kLargest);
    const auto count = static_cast<std::int32_t>(held + std::copysign(0.5, held));
    words[i * kChannels + index] =
        static_cast<std::uint32_t>(count) << kSampleShift | (over ? kOverRange : 0) | busy;
  }
  left_now_[index] = std::abs(left) < kNothingLeft ? 0 : left;
  channel.over_range = channel.over_range || any_over;
  if (any_over) TellOverRange(index, true);
}

/// The ADC's line: goes up with the first sample beyond the limit, and down after a stretch
/// without.
void SignalModel::TellOverRange(std::size_t index, bool on) {
  Channel& channel = channels_[index];
  if (boards_[index] == nullptr || channel.told_over_range == on) return;
  boards_[index]->Cpld().SetAdcOverRange(on);
  channel.told_over_range = on;
}

}  // namespace simulator
