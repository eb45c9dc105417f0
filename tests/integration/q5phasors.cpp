// q5phasors: brings the daemon's signal path up on a running virtual instrument and prints both
// channels' phasors and the electrical results, at the start-up frequency and ranges of one's
// choice.
//
//   Q5_ROOT=DIR q5phasors --range1 3 --range2 5 [--rows N] [--json]
#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <numbers>

#include "common/electrical/elec.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"
#include "tests/integration/signal_path.h"

namespace {

using acquisition::electricalresults_t;

constexpr auto kRow = std::chrono::seconds(1);

struct Options {
  std::array<int, 2> ranges{1, 1};
  int rows = 5;
  bool json = false;
};

Options ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app("Phasors of the virtual instrument under $Q5_ROOT");
  app.add_option("--range1", options.ranges[0], "range index of channel 1, from 1");
  app.add_option("--range2", options.ranges[1], "range index of channel 2, from 1");
  app.add_option("--rows", options.rows, "rows to print, one a second; 0: without end");
  app.add_flag("--json", options.json, "one JSON object a row");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  return options;
}

void PrintRow(const electricalresults_t& result, bool json) {
  if (json) {
    const nlohmann::json row = {{"frequency", Msg::ghmp->GetFrequency()},
                                {"volts", result.mag[0]},
                                {"amps", result.mag[1]},
                                {"delta_phase", result.delta_ph},
                                {"power_factor", result.powerfactor},
                                {"tan_delta", result.tandelta},
                                {"series_pf", result.serscap},
                                {"parallel_pf", result.parlcap},
                                {"series_ohm", result.sersres},
                                {"watts", result.acwatts}};
    fmt::print("{}\n", row.dump());
  } else {
    fmt::print("{:>13.7g} {:>13.7g} {:>11.6f} {:>10.6f} {:>12.4f} {:>12.5g} {:>11.5g}\n",
               result.mag[0], result.mag[1], result.delta_ph * 180 / std::numbers::pi_v<float>,
               result.powerfactor, result.parlcap, result.sersres, result.acwatts);
  }
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = ParseOptions(argc, argv);
  if (!test::StartSignalPath()) {
    fmt::print(stderr, "no signal path on {}\n", platform::Machine().Path("/"));
    return 1;
  }
  if (!test::BeginResults(options.ranges[0], options.ranges[1])) {
    fmt::print(stderr, "no valid data on ranges {} and {}\n", options.ranges[0], options.ranges[1]);
    return 1;
  }
  if (!options.json) {
    fmt::print("{:>13} {:>13} {:>11} {:>10} {:>12} {:>12} {:>11}\n", "V", "A", "degrees", "PF",
               "pF parallel", "ohm series", "W");
  }
  for (int row = 0; options.rows == 0 || row < options.rows; ++row) {
    platform::Machine().Clock().SleepFor(kRow);
    electricalresults_t result{};
    acquisition::elec::GetElec().GetResults(1, &result);
    PrintRow(result, options.json);
  }
  // threads of the bus and of the timers have no end of their own
  std::fflush(stdout);
  std::_Exit(0);
}
