#include "simulator/signal/signal_source.h"

#include <charconv>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr double kMost = 1e6;  // volts, amperes, and either a second
constexpr double kMostHertz = 1e6;
constexpr double kMostDegrees = 36000;
constexpr double kMostRelative = 10;
constexpr std::uint64_t kMostOrder = 1000;
constexpr const char* kKinds[] = {"voltage", "current"};

std::string Text(double value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return {text, end};
}

/// Takes the part before the next `mark` off the text.
std::string_view Next(std::string_view& text, char mark) {
  const std::size_t end = std::min(text.find(mark), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

std::string HarmonicsText(const std::vector<Harmonic>& harmonics) {
  std::string text;
  for (const Harmonic& harmonic : harmonics) {
    text += (text.empty() ? "" : ",") + std::to_string(harmonic.order) + ":" +
            Text(harmonic.relative) + ":" + Text(harmonic.degrees);
  }
  return text.empty() ? "none" : text;
}

std::optional<std::vector<Harmonic>> ParseHarmonics(std::string_view text) {
  std::vector<Harmonic> harmonics;
  if (text == "none") return harmonics;
  while (!text.empty()) {
    std::string_view part = Next(text, ',');
    const auto order = ParseNumber(Next(part, ':'), kMostOrder);
    const auto relative = ParseReal(Next(part, ':'), 0, kMostRelative);
    const auto degrees = ParseReal(part, -kMostDegrees, kMostDegrees);
    if (!order || *order < 2 || !relative || !degrees) return std::nullopt;
    harmonics.push_back({static_cast<unsigned>(*order), *relative, *degrees});
  }
  if (harmonics.empty() || harmonics.size() > SignalSource::kMostHarmonics) return std::nullopt;
  return harmonics;
}

}  // namespace

SignalSource::SignalSource(Units& units) {
  units.AddValue(
      "source.on", [this] { return Get().on ? "1" : "0"; },
      [this](std::string_view text) {
        const auto on = ParseNumber(text, 1);
        return on && Change([on](SourceSettings& settings) { settings.on = *on != 0; });
      });
  units.AddValue(
      "source.kind", [this] { return kKinds[static_cast<std::size_t>(Get().kind)]; },
      [this](std::string_view text) {
        const bool voltage = text == kKinds[0];
        if (!voltage && text != kKinds[1]) return false;
        const auto kind = voltage ? SourceSettings::Kind::kVoltage : SourceSettings::Kind::kCurrent;
        return Change([kind](SourceSettings& settings) { settings.kind = kind; });
      });
  units.AddValue(
      "source.frequency",
      [this] {
        const auto hertz = Get().hertz;
        return hertz ? Text(*hertz) : "test";
      },
      [this](std::string_view text) {
        const auto hertz = ParseReal(text, 0, kMostHertz);
        if (!hertz && text != "test") return false;
        return Change([hertz](SourceSettings& settings) { settings.hertz = hertz; });
      });
  units.AddValue(
      "source.harmonics", [this] { return HarmonicsText(Get().harmonics); },
      [this](std::string_view text) {
        const auto harmonics = ParseHarmonics(text);
        return harmonics &&
               Change([&](SourceSettings& settings) { settings.harmonics = *harmonics; });
      });
  AddNumber(units, "source.amplitude", &SourceSettings::amplitude, 0, kMost);
  AddNumber(units, "source.dc", &SourceSettings::dc, -kMost, kMost);
  AddNumber(units, "source.phase", &SourceSettings::degrees, -kMostDegrees, kMostDegrees);
  AddNumber(units, "source.ramp", &SourceSettings::ramp, 0, kMost);
  AddNumber(units, "source.line_noise", &SourceSettings::line_noise, 0, kMostRelative);
}

void SignalSource::AddNumber(Units& units, const std::string& name, double SourceSettings::*field,
                             double least, double most) {
  units.AddValue(
      name, [this, field] { return Text(Get().*field); },
      [this, field, least, most](std::string_view text) {
        const auto value = ParseReal(text, least, most);
        return value && Change([&](SourceSettings& settings) { settings.*field = *value; });
      });
}

SourceSettings SignalSource::Get() const {
  const platform::Lock lock(mutex_);
  return settings_;
}

void SignalSource::Set(const SourceSettings& settings) {
  Change([&](SourceSettings& own) { own = settings; });
}

bool SignalSource::Change(const std::function<void(SourceSettings&)>& change) {
  if (before_) before_();
  const platform::Lock lock(mutex_);
  change(settings_);
  ++version_;
  return true;
}

}  // namespace simulator
