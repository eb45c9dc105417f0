#include "simulator/signal/leads.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <numbers>

#include "common/msg/records/hmp_service.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kBetweenPaths = ", ";
constexpr double kLeastCapacitance = 1e-18;
constexpr double kMostCapacitance = 1;
constexpr double kMostLoss = 1000;
constexpr unsigned kAllLeads = (1U << std::size(Msg::kLeadNames)) - 1;

/// Cuts what is before `separator` off the front of `text`.
std::string_view CutFront(std::string_view& text, std::string_view separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view front = text.substr(0, end);
  text.remove_prefix(std::min(end + separator.size(), text.size()));
  return front;
}

std::optional<int> LeadOf(std::string_view name) {
  const auto* lead = std::ranges::find(Msg::kLeadNames, name);
  if (lead == std::end(Msg::kLeadNames)) return std::nullopt;
  return static_cast<int>(lead - Msg::kLeadNames);
}

std::optional<unsigned> ParseLeads(std::string_view text) {
  unsigned mask = 0;
  if (text == kNone) return mask;
  if (text.empty()) return std::nullopt;
  while (!text.empty()) {
    const auto lead = LeadOf(CutFront(text, " "));
    if (!lead) return std::nullopt;
    mask |= 1U << *lead;
  }
  return mask;
}

std::string LeadsText(unsigned mask) {
  std::string text;
  for (const char* name : Msg::LeadNames(static_cast<int>(mask))) {
    text += (text.empty() ? "" : " ") + std::string(name);
  }
  return text.empty() ? std::string(kNone) : text;
}

std::optional<double> ParsePart(std::string_view text, std::string_view name, double least,
                                double most) {
  if (!text.starts_with(name)) return std::nullopt;
  return ParseReal(text.substr(name.size()), least, most);
}

std::optional<StrayPath> ParsePath(std::string_view text) {
  const auto source = LeadOf(CutFront(text, " "));
  const auto measured = LeadOf(CutFront(text, " "));
  const auto c = ParsePart(CutFront(text, " "), "C=", kLeastCapacitance, kMostCapacitance);
  const auto loss = text.empty() ? std::optional(0.0) : ParsePart(text, "tan=", 0, kMostLoss);
  if (!source || !measured || !c || !loss) return std::nullopt;
  return StrayPath{*source, *measured, *c, *loss};
}

std::optional<std::vector<StrayPath>> ParseStrays(std::string_view text) {
  std::vector<StrayPath> paths;
  if (text == kNone) return paths;
  if (text.ends_with(kBetweenPaths)) return std::nullopt;
  do {
    const auto path = ParsePath(CutFront(text, kBetweenPaths));
    if (!path) return std::nullopt;
    paths.push_back(*path);
  } while (!text.empty());
  return paths;
}

std::string NumberText(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string StraysText(const std::vector<StrayPath>& paths) {
  std::string text;
  for (const StrayPath& path : paths) {
    if (!text.empty()) text += kBetweenPaths;
    text += std::string(Msg::kLeadNames[path.source]) + " " + Msg::kLeadNames[path.measured] +
            " C=" + NumberText(path.c);
    if (path.loss != 0) text += " tan=" + NumberText(path.loss);
  }
  return text.empty() ? std::string(kNone) : text;
}

}  // namespace

std::complex<double> LeadSettings::Admittance(double hertz) const {
  std::complex<double> admittance = 0;
  for (const StrayPath& path : strays) {
    const bool acts = (energized >> path.source & measured >> path.measured & 1U) != 0;
    const double susceptance = 2 * std::numbers::pi * hertz * path.c;
    if (acts) admittance += susceptance * std::complex<double>(path.loss, 1);
  }
  return admittance;
}

Leads::Leads(Units& units) {
  const auto add_list = [&](const char* name, unsigned LeadSettings::*leads) {
    units.AddValue(
        name, [this, leads] { return LeadsText(Get().*leads); },
        [this, leads](std::string_view text) {
          const auto mask = ParseLeads(text);
          if (mask) Change([&](LeadSettings& settings) { settings.*leads = *mask; });
          return mask.has_value();
        });
  };
  add_list("leads.energize", &LeadSettings::energized);
  add_list("leads.measure", &LeadSettings::measured);
  units.AddValue(
      "leads.stray", [this] { return StraysText(Get().strays); },
      [this](std::string_view text) {
        const auto paths = ParseStrays(text);
        if (paths) Change([&](LeadSettings& settings) { settings.strays = *paths; });
        return paths.has_value();
      });
}

LeadSettings Leads::Get() const {
  const platform::Lock lock(mutex_);
  return settings_;
}

void Leads::Use(unsigned energized, unsigned measured) {
  Change([&](LeadSettings& settings) {
    settings.energized = energized & kAllLeads;
    settings.measured = measured & kAllLeads;
  });
}

void Leads::Change(const std::function<void(LeadSettings&)>& change) {
  if (before_) before_();
  const platform::Lock lock(mutex_);
  change(settings_);
  ++version_;
}

}  // namespace simulator
