// The options by which a person describes a test.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "host/test_run.h"

namespace host {

struct TestOptions {
  std::string type = "pf";
  std::optional<int> voltage;
  std::optional<int> current;
  std::optional<int> highest;
  int limit = 0;
  double frequency = 60;
  int voltage_range = 0;
  int current_range = 0;
  bool dc = false;
  bool reversed = false;
  bool hv = false;
  bool lv = false;
  bool external = false;
  std::string divider;
  bool relays = false;
  std::optional<int> source;
  std::vector<std::string> energize;
  std::vector<std::string> measure = {"MIR"};
  std::vector<std::string> guard;
  std::vector<std::string> floating;
  double settle = 2;
  double patience = 60;
  double interval = 0.2;
  int polls = 5;
  bool csv = false;
};

/// Adds them to a command. `options` must live as long as its action.
void DeclareTest(CLI::App& app, TestOptions& options);

/// The test that they describe; nothing, and a reason in `error`, where they contradict each other.
std::optional<TestPlan> PlanOf(const TestOptions& options, std::string& error);
TestTiming TimingOf(const TestOptions& options);

}  // namespace host
