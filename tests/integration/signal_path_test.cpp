// From the source through the device under test, front ends, samples and phasors to the electrical
// results, with the real q5sim; true values in closed form.
#include <gtest/gtest.h>

#include <complex>
#include <csignal>
#include <nlohmann/json.hpp>
#include <numbers>
#include <random>
#include <sstream>
#include <thread>

#include "tests/integration/process.h"

namespace {

using test::Bench;
using Json = nlohmann::json;

constexpr double kHertz = 60;
constexpr double kVoltageRange = 750;  // V, peak, of range 1
constexpr double kCurrentRange = 75;   // A, peak, of range 1; each further one a tenth
constexpr int kCurrentRanges = 7;      // those without an offset beyond full scale

struct Truth {
  double volts;
  std::complex<double> admittance;

  double Amps() const { return volts * std::abs(admittance); }
  double PowerFactor() const { return admittance.real() / std::abs(admittance); }
  double Capacitance() const { return admittance.imag() / (2 * std::numbers::pi * kHertz); }
  int CurrentRange() const {
    int index = 1;
    double full_scale = kCurrentRange;
    while (index < kCurrentRanges && Amps() * std::numbers::sqrt2 * 1.1 < full_scale / 10) {
      full_scale /= 10;
      ++index;
    }
    return index;
  }
};

/// The last row that q5phasors prints, or an empty object.
Json LastRow(const std::string& output) {
  std::istringstream lines(output);
  Json last;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("{")) last = Json::parse(line, nullptr, false);
  }
  return last;
}

void ExpectTruth(const Json& row, const Truth& truth) {
  ASSERT_TRUE(row.is_object()) << row;
  EXPECT_NEAR(row["volts"].get<double>(), truth.volts, 5e-4 * truth.volts);
  EXPECT_NEAR(row["amps"].get<double>(), truth.Amps(), 5e-4 * truth.Amps());
  EXPECT_NEAR(row["power_factor"].get<double>(), truth.PowerFactor(), 5e-5);
  EXPECT_NEAR(row["parallel_pf"].get<double>(), 1e12 * truth.Capacitance(),
              5e-4 * 1e12 * std::abs(truth.admittance) / (2 * std::numbers::pi * kHertz));
}

class SignalPath : public testing::Test {
 protected:
  void Set(const std::string& name, const std::string& value) {
    const test::Result result = bench.Control({"set", name, value});
    EXPECT_EQ(result.status, 0) << name << ": " << result.output;
  }
  void Apply(double volts, double ohms, double farads) {
    std::ostringstream circuit;
    circuit.precision(12);
    circuit << "parallel R=" << ohms << " C=" << farads;
    Set("dut.circuit", circuit.str());
    Set("source.amplitude", std::to_string(volts));
    Set("source.on", "1");
    truth = {volts, {1 / ohms, 2 * std::numbers::pi * kHertz * farads}};
  }
  std::vector<std::string> Arguments(int rows) const {
    return {"--json", "--range1",          "1", "--range2", std::to_string(truth.CurrentRange()),
            "--rows", std::to_string(rows)};
  }

  Bench bench;
  Truth truth{};
};

TEST_F(SignalPath, ShowsWhatTheDeviceIs) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const auto draw = [&](double low, double high) {
    return low * std::pow(high / low, std::uniform_real_distribution<double>(0, 1)(random));
  };
  for (int device = 0; device < 3; ++device) {
    Apply(draw(50, kVoltageRange / 2), draw(1e2, 1e8), draw(1e-10, 1e-5));
    SCOPED_TRACE(testing::Message() << truth.volts << " V on " << truth.admittance << " S");
    const test::Result result = test::RunProgram("q5phasors", Arguments(3), bench.environment());
    ASSERT_EQ(result.status, 0) << result.output;
    ExpectTruth(LastRow(result.output), truth);
  }
}

// What goes wrong in the stream leaves a path that goes on, and a stream that the next start reads
// right. Garbled words that look good stay in the sums of the start that they came in.
TEST_F(SignalPath, RecoversFromWhatSpoilsTheStream) {
  Apply(100, 1e6, 1e-9);
  test::Process phasors("q5phasors", Arguments(0), bench.environment());
  ASSERT_TRUE(phasors.WaitForOutput("volts")) << phasors.Output();
  const auto rows = [&] {
    const std::string output = phasors.Output();
    return std::count(output.begin(), output.end(), '}');
  };
  const std::vector<std::string> kCommands[] = {
      {"set", "samples.corrupt", "over-range 2 end 1"},
      {"set", "samples.corrupt", "busy both 100 300"},
      {"set", "samples.corrupt", "sync 1 1000 1"},
      {"set", "samples.corrupt", "sequence 2 0 1024 2"},
      {"set", "samples.jump", "40"},
      {"set", "samples.jump", "-6"},
      {"fault", "samples", "garbage"},
      {"fault", "samples", "delayed", "50"},
      {"fault", "samples", "stuck"},
      {"set", "samples.corrupt", "fault 1 17 5 3"},
  };
  for (const auto& command : kCommands) {
    const test::Result result = bench.Control(command);
    EXPECT_EQ(result.status, 0) << command.back() << ": " << result.output;
    const auto told = rows();
    while (rows() == told && phasors.Running()) std::this_thread::sleep_for(test::Milliseconds(50));
    if (command[0] == "fault") bench.Control({"fault", "samples", "ok"});
  }
  ASSERT_TRUE(phasors.Running()) << phasors.Output();
  phasors.Signal(SIGKILL);
  phasors.Wait();
  const test::Result again = test::RunProgram("q5phasors", Arguments(3), bench.environment());
  ASSERT_EQ(again.status, 0) << again.output;
  ExpectTruth(LastRow(again.output), truth);
}

}  // namespace
