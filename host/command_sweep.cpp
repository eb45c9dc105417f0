#include <algorithm>
#include <cmath>
#include <memory>

#include "host/command.h"
#include "host/measurement_report.h"
#include "host/number_check.h"
#include "host/plot.h"
#include "host/range_choice.h"
#include "host/result_text.h"
#include "host/sweep_list.h"

namespace host {
namespace {

struct SweepOptions : MeasurementOptions {
  std::vector<double> frequencies;
  double from = 15;
  double to = 400;
  int points = 15;
  bool linear = false;
  std::string plot;
};

constexpr double kLowest = 0.0001;
constexpr double kHighest = 1000;
constexpr int kMostPoints = 10000;
constexpr std::string_view kPlotted[] = {"power_factor_percent", "parallel_capacitance_pf",
                                         "ratio"};

// One frequency of a running test; the first one starts it.
bool Measure(MeasurementRun& run, MeasurementPlan& plan, const MeasurementTiming& timing,
             bool choose, const MeasurementResult* before, MeasurementResult& point) {
  const MeasurementTiming at = timing.For(plan.frequency);
  if (choose) BeginRange(plan, before);
  if (!run.Update(plan) || (before == nullptr && !run.Start())) return false;
  if (choose && !ChooseRange(run, plan, timing)) return false;
  std::vector<MeasurementResult> results;
  if (!run.Settle(at) || !run.Read(at, results)) return false;
  point = results.back();
  return run.CheckSource(plan, point);
}

std::vector<MeasurementResult> Sweep(ConsoleRun& run, MeasurementPlan plan,
                                     const MeasurementTiming& timing,
                                     const std::vector<double>& frequencies,
                                     ResultPrinter& printer) {
  std::vector<MeasurementResult> points;
  const bool choose = LeavesRangeOpen(plan);
  plan.frequency = static_cast<float>(frequencies.front());
  if (!run.test().BeginRow() || !run.test().SetUp(plan)) return points;
  for (const double frequency : frequencies) {
    plan.frequency = static_cast<float>(frequency);
    MeasurementResult point;
    const MeasurementResult* before = points.empty() ? nullptr : &points.back();
    if (!Measure(run.test(), plan, timing, choose, before, point)) return points;
    points.push_back(point);
    run.ClearProgress();
    printer.Print(point);
  }
  return points;
}

// In the unit that suits the largest value.
PlotPanel PanelOf(const Quantity& quantity, std::vector<double> values) {
  Quantity largest = quantity;
  for (const double value : values) {
    if (std::abs(value) > std::abs(largest.value)) largest.value = value;
  }
  const ShownUnit unit = UnitFor(largest);
  for (double& value : values) value *= unit.factor;
  return {fmt::format("{}{}{}", quantity.label, unit.name.empty() ? "" : ", ", unit.name),
          std::move(values)};
}

// A point for each result that has a place on the axis.
Plot PlotOf(const SweepOptions& options, const std::vector<MeasurementResult>& results) {
  Plot plot{"frequency, Hz", !options.linear, {}, {}};
  std::vector<std::vector<Quantity>> points;
  for (const MeasurementResult& result : results) {
    if (!(result.record.frequen > 0)) continue;
    plot.x.push_back(result.record.frequen);
    points.push_back(Quantities(result));
  }
  if (points.empty()) return plot;
  for (std::size_t i = 0; i < points[0].size(); ++i) {
    const Quantity& quantity = points[0][i];
    if (std::ranges::find(kPlotted, quantity.key) == std::end(kPlotted)) continue;
    std::vector<double> values;
    values.reserve(points.size());
    for (const auto& point : points) values.push_back(i < point.size() ? point[i].value : NAN);
    plot.panels.push_back(PanelOf(quantity, std::move(values)));
  }
  return plot;
}

std::string Contradiction(const SweepOptions& options) {
  if (options.dc) return "a DC test has no frequencies to sweep";
  return options.plot.empty() ? "" : CheckPlotFile(options.plot);
}

ExitStatus Run(Session& session, const SweepOptions& options) {
  std::string error = Contradiction(options);
  const auto plan = PlanOf(options, error);
  if (!plan) return session.Fail(ExitStatus::kUsage, error);
  const std::vector<double> frequencies =
      options.frequencies.empty()
          ? SweepList(options.from, options.to, options.points, !options.linear)
          : options.frequencies;

  ConsoleRun run(session);
  ResultPrinter printer(session, options, static_cast<int>(frequencies.size()));
  const auto points = Sweep(run, *plan, TimingOf(options), frequencies, printer);
  run.test().Stop();
  run.End();
  if (!options.plot.empty() && !points.empty()) error = Draw(PlotOf(options, points), options.plot);
  const ExitStatus status = printer.End(run.test());
  if (error.empty()) return status;
  // the points are out; in JSON a second document would spoil them
  session.err() << "q5host: " << error << '\n';
  return status == ExitStatus::kOk ? ExitStatus::kUsage : status;
}

Action Declare(CLI::App& app) {
  auto options = std::make_shared<SweepOptions>();
  auto hertz = NumberFrom(kLowest, kHighest, "Hz");
  auto* list = app.add_option("--frequencies", options->frequencies, "The frequencies themselves")
                   ->delimiter(',')
                   ->check(hertz)
                   ->type_name("HZ,...");
  struct {
    const char* name;
    const char* what;
    double& value;
  } const ends[] = {{"--from", "First frequency", options->from},
                    {"--to", "Last frequency", options->to}};
  for (const auto& end : ends) {
    app.add_option(end.name, end.value, end.what)
        ->check(hertz)
        ->type_name("HZ")
        ->capture_default_str()
        ->excludes(list);
  }
  app.add_option("--points", options->points, "Frequencies from first to last")
      ->check(WholeFrom(2, kMostPoints))
      ->type_name("N")
      ->capture_default_str()
      ->excludes(list);
  app.add_flag("--linear", options->linear, "At equal distances, not at equal ratios");
  app.add_option("--plot", options->plot, "Draw the curves into a file, .svg or .png")
      ->type_name("FILE");
  DeclareTest(app, *options);
  app.footer(
      "Examples:\n"
      "  q5host --root /tmp/q5 sweep --type dfr --lv --voltage 100 --plot /tmp/sweep.svg\n"
      "  q5host --root /tmp/q5 sweep --lv --voltage 100 --frequencies 20,50,60,100 --csv");
  return [options](Session& session) { return Run(session, *options); };
}

}  // namespace

const Command kSweep{"sweep", "run a test at several frequencies, with a plot", Route::kHost,
                     Declare};

}  // namespace host
