// q5plan: the clock plan for a test frequency, from the frequency to the clock chip's registers.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <bit>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/log/build_info.h"
#include "host/clock/plan.h"
#include "host/exit_status.h"

namespace {

using fraction::Fraction;
using host::ClockPlan;
using host::ExitStatus;

constexpr unsigned kLeastSetSamples = 256;  // of the waveform

struct Line {
  std::string name;  ///< of the value in JSON, with "_" for blanks
  std::string exact;
  std::string unit;
  double value;
};

Fraction Times(const m3x64_num& n, std::uint64_t factor) {
  return Product(Fraction::Of(n), {factor, 1}).value_or(Fraction{});
}

std::vector<Line> Clocks(const ClockPlan& plan) {
  const Param_Values& params = plan.params;
  const Intermediate_Str& dividers = plan.dividers;
  constexpr std::uint64_t kHz = 1000000;
  std::vector<Line> lines;
  const auto add = [&](const char* name, const Fraction& exact, const char* unit) {
    lines.push_back({name, exact.Text(), unit, exact.Value()});
  };
  const Fraction clk0 = Times(params.op[0].clkx_freq, kHz);
  add("test frequency", Times(params.op[0].test_freq, kHz), "Hz");
  add("samples per cycle", {params.adc_samples_per_cycle, 1}, "");
  add("clocks per sample", {params.adc_clocks_per_sample, 1}, "");
  add("waveform samples per cycle", {params.wf_samples_per_cycle, 1}, "");
  add("MCLK", *Quotient(clk0, {plan.mclk_divider, 1}), "Hz");
  add("WCLK", *Quotient(clk0, {plan.wclk_divider, 1}), "Hz");
  add("CLK0", clk0, "Hz");
  add("MCLK divider", {plan.mclk_divider, 1}, "");
  add("WCLK divider", {plan.wclk_divider, 1}, "");
  add("P1", {static_cast<unsigned>(dividers.P1), 1}, "");
  add("PFD", Times(dividers.f_PFD, kHz), "Hz");
  add("MSN", Fraction::Of(dividers.MSn_div_ratio), "");
  add("VCO", Times(dividers.f_VCO, kHz), "Hz");
  add("MS0", Fraction::Of(dividers.outp[0].ms_div_ratio), "");
  add("R0", {static_cast<unsigned>(dividers.outp[0].R), 1}, "");
  if (plan.achieved) add("achieved frequency", *plan.achieved, "Hz");
  return lines;
}

/// The relative error of what is achieved: its exact text and parts per billion.
std::pair<std::string, double> Error(const Fraction& ratio) {
  const fraction::Wide& achieved = ratio.Numerator();
  const fraction::Wide& planned = ratio.Denominator();
  if (achieved == planned) return {"0", 0};
  const bool low = achieved < planned;
  const Fraction size(low ? planned - achieved : achieved - planned, planned);
  return {(low ? "-" : "") + size.Text(), (low ? -1e9 : 1e9) * size.Value()};
}

void PrintTable(const ClockPlan& plan) {
  for (const Line& line : Clocks(plan)) {
    fmt::print("{:<28}{}{}{}", line.name, line.exact, line.unit.empty() ? "" : " ", line.unit);
    if (line.exact.find('/') != line.exact.npos) fmt::print(" = {:.9f}", line.value);
    fmt::print("\n");
  }
  if (plan.ratio) {
    const auto [exact, ppb] = Error(*plan.ratio);
    fmt::print("{:<28}{} = {:.6f} ppb\n", "error", exact, ppb);
  }
  if (plan.params.wf_samples_per_cycle < kLeastSetSamples) {
    fmt::print("{:<28}the daemon takes no fewer than {} waveform samples a cycle\n", "note",
               kLeastSetSamples);
  }
  fmt::print("\n{:>8} {:>6} {:>6}\n", "register", "value", "mask");
  for (const Reg_Data& row : *plan.registers) {
    if (row.Reg_Val == 0) continue;
    fmt::print("{:>8}   0x{:02X}   0x{:02X}\n", row.Reg_Addr, row.Reg_Val, row.Reg_Mask);
  }
}

void PrintJson(const ClockPlan& plan) {
  nlohmann::ordered_json json;
  for (const Line& line : Clocks(plan)) {
    std::string name = line.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    json[name] = {{"exact", line.exact}, {"value", line.value}};
    if (!line.unit.empty()) json[name]["unit"] = line.unit;
  }
  if (plan.ratio) {
    const auto [exact, ppb] = Error(*plan.ratio);
    json["error"] = {{"exact", exact}, {"ppb", ppb}};
  }
  json["registers"] = nlohmann::ordered_json::array();
  for (const Reg_Data& row : *plan.registers) {
    if (row.Reg_Val == 0) continue;
    json["registers"].push_back(
        {{"address", row.Reg_Addr}, {"value", row.Reg_Val}, {"mask", row.Reg_Mask}});
  }
  fmt::print("{}\n", json.dump(2));
}

std::string CheckFrequency(const std::string& text) {
  double hertz = 0;
  if (!CLI::detail::lexical_cast(text, hertz)) return "'" + text + "' is not a number";
  const auto single = static_cast<float>(hertz);
  if (single >= 0.0001F && single <= 7000.0F) return {};
  return "the frequency must be from 0.0001 to 7000 Hz, not " + text;
}

std::string CheckSamples(const std::string& text) {
  unsigned samples = 0;
  if (CLI::detail::lexical_cast(text, samples) && std::has_single_bit(samples) && samples >= 8 &&
      samples <= 0x40000000) {
    return {};
  }
  return "samples must be a power of two from 8 to 1073741824, not " + text;
}

}  // namespace

int main(int argc, char* argv[]) {
  CLI::App app(
      "The clock plan for a test frequency: the clocks of converters and waveform, the clock "
      "chip's dividers\nand registers, and how far what the chip makes is from what was asked.\n"
      "The frequency is taken as the daemon gets it: in single precision, to six decimals. Below "
      "the daemon's\nthreshold (vlfthreshold, 1 Hz) the plan is that of a very slow test.");
  double hertz = 0;
  unsigned samples = 0;
  bool json = false;
  app.add_option("frequency", hertz, "Hz, 0.0001 to 7000")->required()->check(CheckFrequency);
  app.add_option("--samples", samples,
                 "Samples a cycle, a power of two from 8; else as many as the daemon takes")
      ->check(CheckSamples);
  app.add_flag("--json", json, "Print JSON");
  app.set_version_flag("--version", fmt::format("q5plan {}", hgrev));
  app.footer(
      "Exit status: 0 done, 1 there is no plan, 2 the command line is wrong, 6 the output could "
      "not "
      "be written");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitStatus::kUsage);
  }

  const auto single = static_cast<float>(hertz);
  const host::DaemonChoice choice = host::ChoiceFor(single);
  if (samples == 0) samples = choice.samples;
  ClockPlan plan;
  std::string problem;
  if (!host::MakePlan(single, samples, choice.is_slow, plan, problem)) {
    fmt::print(stderr, "q5plan: {}\n", problem);
    return static_cast<int>(ExitStatus::kNak);
  }
  json ? PrintJson(plan) : PrintTable(plan);
  if (std::fflush(stdout) == 0) return 0;
  fmt::print(stderr, "q5plan: the output could not be written\n");
  return static_cast<int>(ExitStatus::kNotWritten);
}
