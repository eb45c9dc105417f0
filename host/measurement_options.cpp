#include "host/measurement_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "common/msg/records/input_mode.h"
#include "host/measurement_kinds.h"
#include "host/number_check.h"
#include "host/ranges.h"

namespace host {
namespace {

constexpr int kMost = std::numeric_limits<std::int16_t>::max();
constexpr int kMostLimit = 6553;     // volts, that fit in tenths
constexpr double kShortest = 0.001;  // seconds
constexpr double kLongest = 86400;

std::string KindNames() {
  std::string text = "Kind of test, by name or the short one in brackets:";
  for (const MeasurementKind& kind : MeasurementKinds()) {
    text += std::string(" ") + kind.name;
    if (*kind.alias != '\0') text += fmt::format(" ({})", kind.alias);
  }
  return text;
}

void DeclareLeads(CLI::App& app, const char* name, const char* what,
                  std::vector<std::string>& leads) {
  app.add_option(name, leads, what)
      ->delimiter(',')
      ->check(CLI::IsMember(
                  std::vector<std::string>(std::begin(Msg::kLeadNames), std::end(Msg::kLeadNames)))
                  .description(""))
      ->type_name("LEAD,...")
      ->group("Path");
}

void DeclareLevel(CLI::App& app, MeasurementOptions& options) {
  auto* voltage = app.add_option("--voltage", options.voltage,
                                 "A voltage test with this target, in whole volts; 0: a manual "
                                 "ramp of an external source");
  voltage->check(WholeFrom(0, kMost, "V"))->type_name("V");
  app.add_option("--current", options.current, "A current test with this target, in whole amperes")
      ->check(WholeFrom(1, kMost, "A"))
      ->type_name("A")
      ->excludes(voltage);
  app.add_option("--highest", options.highest,
                 "Highest voltage (V) or current (A); the target by default")
      ->check(WholeFrom(0, kMost))
      ->type_name("N");
  app.add_option("--limit", options.limit, "Limit of the other quantity, in A or V")
      ->check(WholeFrom(0, kMostLimit))
      ->type_name("N");
  app.add_flag("--dc", options.dc, "DC instead of AC");
  app.add_flag("--reverse", options.reversed, "The other polarity");
  app.add_option("--range-voltage", options.voltage_range,
                 "Voltage range, 0: automatic; full scales (peak, behind the divider) " +
                     RangesText(Msg::AC_Volt) + "; of DC " + RangesText(Msg::DC_Volt))
      ->check(WholeFrom(0, kMost))
      ->type_name("INDEX");
  app.add_option("--range-current", options.current_range,
                 "Current range, 0: automatic; full scales (peak) " + RangesText(Msg::ACDC_Current))
      ->check(WholeFrom(0, kMost))
      ->type_name("INDEX");
}

void DeclareSource(CLI::App& app, MeasurementOptions& options) {
  auto* hv = app.add_flag("--hv", options.hv, "The internal high-voltage source (default for AC)");
  auto* lv = app.add_flag("--lv", options.lv, "The internal low-voltage source (default for DC)");
  auto* external = app.add_flag("--external", options.external, "An external source");
  lv->excludes(hv);
  external->excludes(hv)->excludes(lv);
  app.add_option("--source-word", options.source,
                 "The source word as a number, for any other set-up")
      ->check(WholeFrom(0, 0xFFFF))
      ->type_name("WORD");
  app.add_option("--divider", options.divider,
                 "Divider before the voltage channels (hv1 with --hv, else none)")
      ->check(CLI::IsMember({"none", "hv1", "hv2"}))
      ->group("Path");
  app.add_flag("--relays", options.relays, "Name the path by relays, not by leads")->group("Path");
  DeclareLeads(app, "--energize", "Leads energized, besides the divider's", options.energize);
  DeclareLeads(app, "--measure", "Leads measured", options.measure);
  DeclareLeads(app, "--guard", "Leads guarded", options.guard);
  DeclareLeads(app, "--float", "Leads left floating", options.floating);
}

void DeclareTime(CLI::App& app, const char* name, const char* what, double& seconds) {
  app.add_option(name, seconds, what)
      ->check(NumberFrom(kShortest, kLongest, "s"))
      ->type_name("S")
      ->capture_default_str()
      ->group("Timing");
}

std::int16_t LeadMask(const std::vector<std::string>& leads) {
  int mask = 0;
  for (std::size_t bit = 0; bit < std::size(Msg::kLeadNames); ++bit) {
    if (std::ranges::find(leads, Msg::kLeadNames[bit]) != leads.end()) mask |= 1 << bit;
  }
  return static_cast<std::int16_t>(mask);
}

Msg::SOURCE_E KindOfSource(const MeasurementOptions& options) {
  if (options.current) {
    if (options.external) return Msg::externalCurrentSourceE;
    return options.dc ? Msg::internalDCCurrentSourceE : Msg::internalACCurrentSourceE;
  }
  if (options.external) return Msg::externalVoltageSourceE;
  if (options.dc) return Msg::internalDCLVVoltageSourceE;
  return options.lv ? Msg::internalLVVoltageSourceE : Msg::internalHVVoltageSourceE;
}

std::int16_t SourceOf(const MeasurementOptions& options, Circuit circuit) {
  const int volts = options.dc ? Msg::DC_Volt : Msg::AC_Volt;
  return SourceWord(KindOfSource(options), options.current ? Msg::ACDC_Current : volts, volts,
                    circuit == Circuit::kTwoVoltages ? volts : int{Msg::ACDC_Current});
}

Divider DividerOf(const MeasurementOptions& options, std::int16_t source) {
  if (options.divider == "hv1") return Divider::kHv1;
  if (options.divider == "hv2") return Divider::kHv2;
  const bool hv = SourceKind(source) == Msg::internalHVVoltageSourceE;
  return options.divider.empty() && hv ? Divider::kHv1 : Divider::kNone;
}

// What is wrong with a range, or nothing.
std::string RangeProblem(const char* name, int range, int mode) {
  const int ranges = static_cast<int>(FullScales(mode).size());
  if (range <= ranges) return "";
  return fmt::format("{} {}: there is no such range; take 0 (automatic) or one of {} (full scale)",
                     name, range, RangesText(mode));
}

Duration Seconds(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

void DeclareTest(CLI::App& app, MeasurementOptions& options) {
  app.add_option("--type", options.type, KindNames())->type_name("KIND")->capture_default_str();
  DeclareLevel(app, options);
  DeclareSource(app, options);
  DeclareTime(app, "--settle", "How long the status stays clear before results are read",
              options.settle);
  DeclareTime(app, "--patience", "Longest wait for the data to become valid", options.patience);
  DeclareTime(app, "--interval", "From one poll to the next", options.interval);
  app.add_option("--polls", options.polls, "Results read; the last one counts")
      ->check(WholeFrom(1, kMost))
      ->capture_default_str()
      ->group("Timing");
  app.add_flag("--csv", options.csv, "Print comma-separated values")
      ->excludes(app.get_parent()->get_option("--json"));
}

std::optional<MeasurementPlan> PlanOf(const MeasurementOptions& options, std::string& error) {
  const MeasurementKind* kind = FindTestKind(options.type);
  const int target = options.current.value_or(options.voltage.value_or(0));
  if (kind == nullptr) {
    error = fmt::format("'{}' is no kind of test", options.type);
  } else if (!options.voltage && !options.current) {
    error = "how much? give --voltage or --current";
  } else if (options.dc && options.hv) {
    error = "the internal high-voltage source gives no DC";
  } else if (target == 0 && !options.external) {
    error = "0 V is a manual ramp, and nothing here turns up the voltage; give 1 V or more";
  } else if (options.highest && *options.highest < target) {
    error = fmt::format("--highest {} is below the target of {} {}", *options.highest, target,
                        options.current ? "A" : "V");
  } else if (error.empty()) {
    error = RangeProblem("--range-voltage", options.voltage_range,
                         options.dc ? Msg::DC_Volt : Msg::AC_Volt);
    if (error.empty()) {
      error = RangeProblem("--range-current", options.current_range, Msg::ACDC_Current);
    }
  }
  if (!error.empty()) return std::nullopt;

  MeasurementPlan plan;
  plan.type = kind->type;
  plan.current = options.current.has_value();
  plan.dc = options.dc;
  plan.reversed = options.reversed;
  plan.target = static_cast<std::int16_t>(target);
  plan.highest = static_cast<std::int16_t>(options.highest.value_or(plan.target));
  plan.limit = static_cast<std::uint16_t>(options.limit);
  plan.frequency = static_cast<float>(options.frequency);
  plan.voltage_range = options.voltage_range;
  plan.current_range = options.current_range;
  plan.source = options.source ? static_cast<std::int16_t>(*options.source)
                               : SourceOf(options, kind->circuit);
  plan.divider = DividerOf(options, plan.source);
  plan.relays = options.relays;
  plan.energize = LeadMask(options.energize);
  plan.measure = LeadMask(options.measure);
  plan.guard = LeadMask(options.guard);
  plan.floating = LeadMask(options.floating);
  return plan;
}

MeasurementTiming TimingOf(const MeasurementOptions& options) {
  return {Seconds(options.settle), Seconds(options.patience), Seconds(options.interval),
          options.polls};
}

}  // namespace host
