// The options by which a person describes a test.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "host/measurement_run.h"

namespace host {

/// As on the command line; what is left open follows from the rest in PlanOf.
struct MeasurementOptions {
  std::string type = "pf";     ///< see FindTestKind
  std::optional<int> voltage;  ///< target, V; this or `current`
  std::optional<int> current;  ///< target, A
  std::optional<int> highest;  ///< in the target's unit
  int limit = 0;               ///< of the other quantity, A or V
  double frequency = 60;       ///< Hz
  int voltage_range = 0;       ///< index, 0: automatic
  int current_range = 0;
  bool dc = false;
  bool reversed = false;
  bool hv = false;  ///< the sources; at most one of them
  bool lv = false;
  bool external = false;
  std::string divider;  ///< "none", "hv1", "hv2"
  bool relays = false;
  std::optional<int> source;          ///< source word, instead of the one that follows
  std::vector<std::string> energize;  ///< leads by Msg::kLeadNames
  std::vector<std::string> measure = {"MIR"};
  std::vector<std::string> guard;
  std::vector<std::string> floating;
  double settle = 2;  ///< these three in seconds, see MeasurementTiming
  double patience = 60;
  double interval = 0.2;
  int polls = 5;
  bool csv = false;
};

/// Adds them to a command. `options` must live as long as its action.
void DeclareTest(CLI::App& app, MeasurementOptions& options);

/// The test that they describe; nothing, and a reason in `error`, where they contradict each other.
std::optional<MeasurementPlan> PlanOf(const MeasurementOptions& options, std::string& error);
MeasurementTiming TimingOf(const MeasurementOptions& options);

}  // namespace host
