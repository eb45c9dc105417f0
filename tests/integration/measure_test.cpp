// Whole tests through the real programs, against what the virtual device under test really is.
//
// Q5_SEED chooses the draws, Q5_DEVICES how many devices and Q5_REQUESTS how many requests are
// drawn.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <random>
#include <sstream>
#include <thread>

#include "common/msg/records/input_mode.h"
#include "host/measurement_run.h"
#include "host/request.h"
#include "host/transport_address.h"
#include "tests/integration/process.h"
#include "tests/integration/request_draw.h"

namespace {

using host::ExitStatus;
using host::MeasurementPlan;
using host::MeasurementResult;
using Real = long double;
using Complex = std::complex<Real>;

constexpr Real kMagnitude = 5e-4L;    // relative
constexpr Real kPowerFactor = 5e-5L;  // absolute
constexpr int kTimeoutMs = 15000;
/// Full scales of the shipped boards' AC current ranges from 75 A down, a decade each.
constexpr Real kLargestCurrent = 75;
/// The last of them of which the offset leaves room; the DACs stay at their centre.
constexpr int kLastCurrentRange = 7;
constexpr Real kHeadroom = 0.6L;

std::uint64_t Number(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::uint64_t Seed() {
  const std::uint64_t seed = Number("Q5_SEED", std::random_device()());
  fmt::print("Q5_SEED={}\n", seed);
  return seed;
}

/// A device of which the answers are known.
struct Device {
  enum Kind { kLossyCapacitor, kResistor, kCoil } kind = kLossyCapacitor;
  Real r = 0;  ///< parallel for a capacitor, else in series
  Real c = 0;
  Real l = 0;

  std::string Text() const {
    switch (kind) {
      case kLossyCapacitor:
        return fmt::format("parallel R={:.9g} C={:.9g}", r, c);
      case kResistor:
        return fmt::format("series R={:.9g}", r);
      case kCoil:
        return fmt::format("series R={:.9g} L={:.9g}", r, l);
    }
    return "";
  }
  Complex Impedance(Real hertz) const {
    const Real omega = 2 * std::numbers::pi_v<Real> * hertz;
    if (kind == kLossyCapacitor) return Real{1} / Complex(1 / r, omega * c);
    return {r, omega * l};
  }
};

/// The record's fields as the values that a test compares.
struct Seen {
  explicit Seen(const MeasurementResult& result)
      : volts(Real{1000} * result.record.acfcvolt),
        amperes(result.record.acamps),
        power_factor(Real{result.record.pwrfctr} / 100),
        farads(Real{result.record.parlcap} * 1e-12L),
        ohms(result.record.sersres),
        henries(result.record.sersind) {}
  Real volts, amperes, power_factor, farads, ohms, henries;
};

void ExpectClose(Real seen, Real truth, const char* what) {
  EXPECT_LT(std::abs(seen / truth - 1), kMagnitude)
      << what << ": " << static_cast<double>(seen) << " instead of " << static_cast<double>(truth);
}

void ExpectDevice(const MeasurementResult& result, const Device& device,
                  const MeasurementPlan& plan) {
  const Seen seen(result);
  const Complex impedance = device.Impedance(plan.frequency);
  ExpectClose(seen.volts, plan.target, "volts");
  ExpectClose(seen.amperes, plan.target / std::abs(impedance), "amperes");
  const Real power_factor = impedance.real() / std::abs(impedance);
  EXPECT_NEAR(static_cast<double>(seen.power_factor), static_cast<double>(power_factor),
              static_cast<double>(kPowerFactor));
  if (device.kind == Device::kLossyCapacitor) ExpectClose(seen.farads, device.c, "farads");
  if (device.kind == Device::kResistor) ExpectClose(seen.ohms, device.r, "ohms");
  if (device.kind == Device::kCoil) ExpectClose(seen.henries, device.l, "henries");
  // of a resistor's reactance nothing is left but noise
  if (device.kind != Device::kResistor) {
    EXPECT_EQ(seen.henries > 0, impedance.imag() > 0);
  }
}

class Draw {
 public:
  explicit Draw(std::uint64_t seed) : random_(seed) {}
  /// Evenly over the decades.
  Real Decades(Real least, Real most) {
    std::uniform_real_distribution<double> exponent(static_cast<double>(std::log10(least)),
                                                    static_cast<double>(std::log10(most)));
    return std::pow(Real{10}, Real{exponent(random_)});
  }
  int Whole(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random_);
  }

 private:
  std::mt19937_64 random_;
};

Device DrawDevice(Draw& draw) {
  Device device;
  device.kind = static_cast<Device::Kind>(draw.Whole(0, 2));
  if (device.kind == Device::kLossyCapacitor) {
    device.c = draw.Decades(1e-11L, 1e-5L);
    const Real tan_delta = draw.Decades(5e-4L, 1);
    device.r = 1 / (2 * std::numbers::pi_v<Real> * 60 * device.c * tan_delta);
  } else {
    device.r = draw.Decades(0.1L, 1e7L);
    if (device.kind == Device::kCoil) device.l = device.r * draw.Decades(1e-3L, 1e-2L);
  }
  return device;
}

/// A voltage at which the current has a range that fits, below 240 V from the low-voltage source.
bool DrawPlan(Draw& draw, const Device& device, MeasurementPlan& plan) {
  plan = {};
  plan.frequency = static_cast<float>(draw.Decades(15, 400));
  plan.target = static_cast<std::int16_t>(draw.Decades(1, 12000));
  plan.highest = plan.target;
  const bool high = plan.target > 240;
  plan.source =
      host::SourceWord(high ? Msg::internalHVVoltageSourceE : Msg::internalLVVoltageSourceE, 2,
                       Msg::AC_Volt, Msg::ACDC_Current);
  if (high) plan.divider = draw.Whole(0, 1) == 0 ? host::Divider::kHv1 : host::Divider::kHv2;
  plan.relays = draw.Whole(0, 1) == 0;
  const Real peak = std::numbers::sqrt2_v<Real> * plan.target /
                    std::abs(device.Impedance(plan.frequency)) / kHeadroom;
  plan.current_range = static_cast<int>(std::floor(std::log10(kLargestCurrent / peak))) + 1;
  if (plan.current_range > kLastCurrentRange) plan.current_range = kLastCurrentRange;
  const Real full_scale = kLargestCurrent * std::pow(Real{10}, 1 - plan.current_range);
  return plan.current_range >= 1 && peak > full_scale / 1000;
}

class Measure : public testing::Test {
 protected:
  Measure() { bench_.StartDaemon(); }

  void Set(const std::string& name, const std::string& value) {
    const auto result = bench_.Control({"set", name, value});
    ASSERT_EQ(result.status, 0) << name << " " << value << ": " << result.output;
  }
  std::unique_ptr<host::Transport> Connect(const char* via, int timeout_ms = kTimeoutMs) {
    std::string error;
    const auto address = host::AddressUnder(bench_.root.Path(), via, error);
    EXPECT_TRUE(address) << error;
    return host::MakeTransport(*address, timeout_ms);
  }
  /// A test up to its start. The caller keeps the transport.
  bool StartTest(host::MeasurementRun& run, const MeasurementPlan& plan) {
    return run.BeginRow() && run.SetUp(plan) && run.Update(plan) && run.Start();
  }
  std::optional<MeasurementResult> Run(host::Transport& transport, const MeasurementPlan& plan) {
    std::ostringstream out;
    host::Session session(transport, false, out, out);
    host::MeasurementRun run(session);
    host::MeasurementTiming timing;
    // a direct result is the average of 90 blocks, which takes 3 s
    timing.settle = std::chrono::seconds(plan.dc ? 5 : 1);
    run.BeginRow();
    const auto result = run.Measure(plan, timing);
    run.EndRow();
    EXPECT_EQ(run.failure().status, ExitStatus::kOk)
        << run.failure().step << ": " << run.failure().reason;
    return result;
  }
  /// The main module takes one host at a time, and needs a moment to see that one has gone.
  static void MissHost() { std::this_thread::sleep_for(std::chrono::milliseconds(300)); }
  /// The bushing at line frequency, through the whole chain.
  void ExpectRightMeasurement(host::Transport& transport, float hertz = 60) {
    const Device bushing{Device::kLossyCapacitor, 2.16529e9L, 350e-12L, 0};
    Set("dut.circuit", bushing.Text());
    MeasurementPlan plan = BushingPlan();
    plan.frequency = hertz;
    const auto result = Run(transport, plan);
    ASSERT_TRUE(result);
    ExpectDevice(*result, bushing, plan);
  }
  void ExpectRightMeasurement() { ExpectRightMeasurement(*Connect("host")); }
  static MeasurementPlan BushingPlan() {
    MeasurementPlan plan;
    plan.target = plan.highest = 10000;
    plan.source =
        host::SourceWord(Msg::internalHVVoltageSourceE, 2, Msg::AC_Volt, Msg::ACDC_Current);
    plan.divider = host::Divider::kHv1;
    plan.current_range = 5;
    return plan;
  }

  test::Bench bench_;
};

TEST_F(Measure, DevicesOverDecades) {
  Draw draw(Seed());
  const auto transport = Connect("host");
  for (std::uint64_t left = Number("Q5_DEVICES", 6); left > 0;) {
    const Device device = DrawDevice(draw);
    MeasurementPlan plan;
    if (!DrawPlan(draw, device, plan)) continue;
    --left;
    SCOPED_TRACE(fmt::format("{} at {} V, {} Hz, current range {}", device.Text(), plan.target,
                             plan.frequency, plan.current_range));
    Set("dut.circuit", device.Text());
    const auto result = Run(*transport, plan);
    ASSERT_TRUE(result);
    ExpectDevice(*result, device, plan);
  }
}

/// Replaces what is from `begin` to before `end` in a file of the instrument.
void EditFile(const std::string& path, const std::string& begin, const std::string& end,
              const std::string& by) {
  std::ifstream in(path);
  std::string text(std::istreambuf_iterator<char>(in), {});
  const std::size_t from = text.find(begin);
  const std::size_t to = text.find(end, from);
  ASSERT_TRUE(from != text.npos && to != text.npos) << path;
  std::ofstream(path) << text.replace(from + begin.size(), to - from - begin.size(), by);
}

// The leads shunt the device. Their row in the calibration takes that out again, at the frequency
// of the first update as at that of any other, and only for its own leads.
TEST_F(Measure, TheStrayOfTheLeadsIsTakenOut) {
  constexpr Real kStray = 5e-12L;
  constexpr Real kLoss = 0.003L;
  constexpr Real kClose = 2e-5L;
  const Device device{Device::kLossyCapacitor, 5e9L, 100e-12L, 0};
  Set("dut.circuit", device.Text());
  Set("leads.stray", fmt::format("HV1 MIR C={} tan={}", double{kStray}, double{kLoss}));
  MeasurementPlan plan = BushingPlan();
  plan.current_range = 6;
  const auto expect = [&](int measured_lead, float hertz, Real farads) {
    SCOPED_TRACE(fmt::format("lead {} at {} Hz", measured_lead, hertz));
    plan.measure = static_cast<std::int16_t>(1 << measured_lead);
    plan.frequency = hertz;
    plan.current_range = hertz > 100 ? 5 : 6;
    const auto result = Run(*Connect("host"), plan);
    ASSERT_TRUE(result);
    const Seen seen(*result);
    EXPECT_NEAR(static_cast<double>(seen.farads / farads), 1, double{kClose});
    const Real susceptance = 2 * std::numbers::pi_v<Real> * hertz * farads;
    const Real stray_susceptance = susceptance * (1 - device.c / farads);
    const Complex admittance(1 / device.r + kLoss * stray_susceptance, susceptance);
    EXPECT_NEAR(static_cast<double>(seen.power_factor),
                static_cast<double>(admittance.real() / std::abs(admittance)), double{kClose});
    MissHost();
  };
  constexpr int kMir = 0;
  constexpr int kMib = 2;
  expect(kMir, 60, device.c + kStray);
  expect(kMib, 60, device.c);

  // as a calibration finds it: the amount of the admittance, and its angle against a conductance
  const Real amount = kStray * std::sqrt(1 + kLoss * kLoss);
  const Real angle = std::atan(kLoss) - std::numbers::pi_v<Real> / 2;
  std::string values;
  for (const Real value : {amount, 0.0L, 0.0L, 0.0L, angle, 0.0L, 0.0L, 0.0L}) {
    values += fmt::format("<e>{:.12e}</e>", static_cast<double>(value));
  }
  EditFile(bench_.root / "home/root/5m_back_f.xml", "src=\"HV1\" meas=\"MIR\" count=\"8\">",
           "</field>", values);
  EditFile(bench_.root / "varek/config/varekconfig.cfg", "straycapacitance = ", ";", "1");
  bench_.StartDaemon();
  for (const float hertz : {400.0F, 60.0F}) expect(kMir, hertz, device.c);
}

TEST_F(Measure, TwoHostsAtOnce) {
  std::atomic<bool> done = false;
  std::atomic<int> answers = 0;
  std::thread other([&] {
    const auto transport = Connect("bus");
    for (int i = 0; !done; ++i) {
      const host::Bytes request = i % 2 == 0 ? host::PlainRequest(Msg::HMP_ACK_PROGRESS)
                                             : host::ResultRequest(Msg::MSG6_RSLTYPE_FIR_SLOW);
      host::Reply reply;
      const auto exchange = transport->Ask(request);
      EXPECT_EQ(exchange.error, "");
      EXPECT_EQ(host::ReadReply(request, exchange.reply, reply), "");
      ++answers;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  ExpectRightMeasurement();
  done = true;
  other.join();
  EXPECT_GT(answers, 50);
}

TEST_F(Measure, TheDaemonDiesInATest) {
  {
    const auto transport = Connect("host", 2000);
    std::ostringstream out;
    host::Session session(*transport, false, out, out);
    host::MeasurementRun run(session);
    ASSERT_TRUE(StartTest(run, BushingPlan()));
    bench_.daemon->Signal(SIGKILL);
    ASSERT_TRUE(bench_.daemon->Wait());
  }
  bench_.StartDaemon();
  ExpectRightMeasurement();
}

TEST_F(Measure, RequestsOutOfOrder) {
  const auto transport = Connect("host");
  const MeasurementPlan plan = BushingPlan();
  MeasurementPlan direct;
  direct.type = Msg::TEST_CONTACT_RESISTANCE;
  direct.current = direct.dc = true;
  direct.source =
      host::SourceWord(Msg::internalDCCurrentSourceE, 1, Msg::DC_Volt, Msg::ACDC_Current);
  const host::Bytes set_up = host::SetUpRequest(plan), set_up_direct = host::SetUpRequest(direct),
                    leads = host::PathRequest(plan), update = host::UpdateRequest(plan),
                    start = host::PlainRequest(Msg::HMP_START_TEST),
                    stop = host::PlainRequest(Msg::HMP_STOP_TEST),
                    pause = host::PlainRequest(Msg::HMP_PAUSE_TEST),
                    poll = host::ResultRequest(Msg::MSG6_RSLTYPE_FIR_SLOW);
  const std::vector<host::Bytes> orders[] = {
      {poll, stop, pause, start, stop},            // nothing was set up
      {update, start, poll, stop},                 // set-up skipped
      {set_up, start, leads, update, poll, stop},  // started too early
      {set_up, set_up, leads, leads, update, update, start, start, poll, poll, stop, stop},
      {set_up, leads, update, start, set_up, poll},  // left without a stop
      {set_up_direct, poll}                          // as was one with another source
  };
  for (const auto& order : orders) {
    for (const host::Bytes& request : order) {
      host::Reply reply;
      const auto exchange = transport->Ask(request);
      ASSERT_EQ(exchange.error, "");
      EXPECT_EQ(host::ReadReply(request, exchange.reply, reply), "");
    }
  }
  transport->Ask(host::PlainRequest(Msg::HMP_END_ROW));
  // where corrections left at 0 Hz would show
  ExpectRightMeasurement(*transport, 200);
}

// Polls as a host does that looks at the results only.
class RawPolls : public Measure {
 protected:
  host::Reply Ask(const host::Bytes& request) {
    host::Reply reply;
    const auto exchange = transport_->Ask(request);
    EXPECT_EQ(exchange.error, "");
    EXPECT_EQ(host::ReadReply(request, exchange.reply, reply), "");
    return reply;
  }
  void Begin(const MeasurementPlan& plan) {
    for (const host::Bytes& request :
         {host::SetUpRequest(plan), host::PathRequest(plan), host::UpdateRequest(plan),
          host::PlainRequest(Msg::HMP_START_TEST)}) {
      EXPECT_NE(Ask(request).answer, host::Answer::kNak);
    }
  }
  /// The status of a result; -1 for a refusal.
  int Status() {
    const host::Reply reply = Ask(host::ResultRequest(Msg::MSG6_RSLTYPE_FIR_SLOW));
    if (reply.answer == host::Answer::kNak) return -1;
    Msg::HmpTestRsltRep record;
    EXPECT_GE(reply.bytes.size(), sizeof record);
    std::memcpy(&record, reply.bytes.data(), sizeof record);
    return record.ranging;
  }
  bool AwaitValid() {
    for (int i = 0; i < 200; ++i) {
      if (Status() == 0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }
  /// No poll of the next seconds has a valid result.
  void ExpectNothingValid() {
    for (int i = 0; i < 60; ++i) {
      EXPECT_NE(Status(), 0);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  std::unique_ptr<host::Transport> transport_ = Connect("host");
};

TEST_F(RawPolls, AfterARefusedUpdateNoResultIsValid) {
  Set("dut.circuit", "parallel R=2.16529e9 C=350e-12");
  MeasurementPlan plan = BushingPlan();
  Begin(plan);
  ASSERT_TRUE(AwaitValid());
  plan.frequency = 50;
  ASSERT_EQ(bench_.Control({"fault", "i2c.MEAS_CH1.SC18IS602B", "off"}).status, 0);
  const host::Reply refusal = Ask(host::UpdateRequest(plan));
  EXPECT_EQ(refusal.answer, host::Answer::kNak);
  EXPECT_FALSE(refusal.errors.empty());
  ASSERT_EQ(bench_.Control({"fault", "i2c.MEAS_CH1.SC18IS602B", "ok"}).status, 0);
  Ask(host::PlainRequest(Msg::HMP_END_ROW));  // drops the words, so that results are answered
  ExpectNothingValid();
  EXPECT_NE(Ask(host::UpdateRequest(plan)).answer, host::Answer::kNak);
  EXPECT_TRUE(AwaitValid());
}

TEST_F(RawPolls, AClippedCurrentOfAWindingIsNotValid) {
  Set("dut.circuit", "series R=0.4");
  MeasurementPlan plan;
  plan.type = Msg::TEST_WINDING_RESISTANCE;
  plan.current = plan.dc = true;
  plan.target = plan.highest = 5;
  plan.source = host::SourceWord(Msg::internalDCCurrentSourceE, 1, Msg::DC_Volt, Msg::ACDC_Current);
  plan.voltage_range = 1;
  plan.current_range = 4;
  Begin(plan);
  ExpectNothingValid();
}

TEST_F(Measure, AnyRequestsInAnyOrder) {
  test::RequestDraw draw(Seed());
  const auto count = Number("Q5_REQUESTS", 1500);
  long resident = 0;
  {
    const auto transport = Connect("host");
    for (std::uint64_t i = 0; i < count; ++i) {
      const host::Bytes request = draw.Next();
      host::Reply reply;
      const auto exchange = transport->Ask(request);
      ASSERT_EQ(exchange.error, "") << "request " << i << ": " << host::HexText(request);
      ASSERT_EQ(host::ReadReply(request, exchange.reply, reply), "")
          << "request " << i << ": " << host::HexText(request);
      if (i == count / 5) resident = bench_.daemon->ResidentKib();
    }
    for (const auto opcode : {Msg::HMP_STOP_TEST, Msg::HMP_END_ROW}) {
      transport->Ask(host::PlainRequest(opcode));
    }
  }
  EXPECT_TRUE(bench_.daemon->Running());
  test::ExpectNoGrowth(resident, bench_.daemon->ResidentKib(), 1024);
  MissHost();
  ExpectRightMeasurement();
}

}  // namespace
