#include "simulator/signal/device_under_test.h"

#include <charconv>
#include <numbers>

#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr double kLeads = 1e-6;     // ohms
constexpr double kLeakage = 1e-15;  // siemens
constexpr double kCapacitance = 1e-9;
constexpr double kTanDelta = 0.004;
constexpr double kTanDeltaHertz = 60;
constexpr double kLeastPart = 1e-18;
constexpr double kMostPart = 1e18;

using Complex = std::complex<double>;

Circuit Bushing() {
  Circuit circuit;
  circuit.c = kCapacitance;
  circuit.r = 1 / (2 * std::numbers::pi * kTanDeltaHertz * kCapacitance * kTanDelta);
  return circuit;
}

Complex Parallel(const Circuit& circuit, double omega) {
  Complex admittance = kLeakage;
  if (circuit.r) admittance += 1 / *circuit.r;
  if (circuit.c) admittance += Complex(0, omega * *circuit.c);
  // An inductance is a short circuit for direct current.
  if (circuit.l && omega == 0) return 0;
  if (circuit.l) admittance += Complex(0, -1 / (omega * *circuit.l));
  return 1.0 / admittance;
}

Complex Series(const Circuit& circuit, double omega) {
  Complex impedance = circuit.r.value_or(0);
  if (circuit.l) impedance += Complex(0, omega * *circuit.l);
  // A capacitance lets no direct current through.
  if (circuit.c && omega == 0) return 1 / kLeakage;
  if (circuit.c) impedance += Complex(0, -1 / (omega * *circuit.c));
  return impedance / (1.0 + impedance * kLeakage);
}

}  // namespace

Complex Circuit::Impedance(double hertz) const {
  const double omega = 2 * std::numbers::pi * hertz;
  return kLeads + (parallel ? Parallel(*this, omega) : Series(*this, omega));
}

std::optional<Circuit> ParseCircuit(std::string_view text) {
  Circuit circuit;
  const std::size_t name_end = std::min(text.find(' '), text.size());
  circuit.parallel = text.substr(0, name_end) == "parallel";
  if (!circuit.parallel && text.substr(0, name_end) != "series") return std::nullopt;
  text.remove_prefix(name_end);
  while (!text.empty()) {
    text.remove_prefix(1);
    const std::string_view part = text.substr(0, text.find(' '));
    text.remove_prefix(part.size());
    if (part.size() < 3 || part[1] != '=') return std::nullopt;
    const auto value = ParseReal(part.substr(2), kLeastPart, kMostPart);
    auto& place = part[0] == 'R' ? circuit.r : part[0] == 'C' ? circuit.c : circuit.l;
    if (!value || place || std::string_view("RCL").find(part[0]) == std::string_view::npos) {
      return std::nullopt;
    }
    place = value;
  }
  return circuit;
}

std::string CircuitText(const Circuit& circuit) {
  std::string text = circuit.parallel ? "parallel" : "series";
  const auto add = [&](const char* name, const std::optional<double>& value) {
    if (!value) return;
    char number[32];
    text += name + std::string(number, std::to_chars(number, number + sizeof number, *value).ptr);
  };
  add(" R=", circuit.r);
  add(" C=", circuit.c);
  add(" L=", circuit.l);
  return text;
}

DeviceUnderTest::DeviceUnderTest(Units& units) : circuit_(Bushing()) {
  units.AddValue(
      "dut.circuit", [this] { return CircuitText(Get()); },
      [this](std::string_view text) {
        const auto circuit = ParseCircuit(text);
        if (circuit) Set(*circuit);
        return circuit.has_value();
      });
}

Circuit DeviceUnderTest::Get() const {
  const platform::Lock lock(mutex_);
  return circuit_;
}

void DeviceUnderTest::Set(const Circuit& circuit) {
  if (before_) before_();
  const platform::Lock lock(mutex_);
  circuit_ = circuit;
  ++version_;
}

}  // namespace simulator
