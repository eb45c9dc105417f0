// The correction beside complex numbers, and which row holds for which path.
#include "common/electrical/stray_cap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <complex>
#include <functional>
#include <numbers>
#include <set>
#include <string>
#include <string_view>

#include "common/electrical/relay_table.h"

namespace {

using acquisition::phasortoo_t;
using Complex = std::complex<long double>;
using Row = Dev::mode_intcal_table_ent;

template <std::size_t kSize>
void Put(std::string_view text, char (&to)[kSize]) {
  std::ranges::fill(to, '\0');
  text.copy(to, kSize - 1);
}

Row MakeRow(const char* key, const char* src, const char* meas, float farads) {
  Row row{};
  Put(key, row.key);
  Put(src, row.src);
  Put(meas, row.meas);
  row.cap = {{farads, farads * 1e-5F, -farads * 1e-9F, farads * 1e-13F}};
  row.phase = {{-1.569F, 2e-7F, 3e-10F, -1e-13F}};
  return row;
}

// Relay 160 is bit 31 of the first group, relay 1 bit 0 of the last.
constexpr char kMask[] = "800000000000000200000000000000000000001F";

class StrayCapTest : public testing::Test {
 protected:
  StrayCapTest() {
    Put(kMask, table_.mask);
    stray_.SetTable(&table_);
    stray_.SetTest(&test_, &measurement_);
    stray_.SetConfigValue(1);
    test_.testype = Msg::TEST_HVVFPF;
    test_.frequency = 60;
    measurement_.testStart = true;
  }
  void Leads(const std::set<std::string>& energize, const std::set<std::string>& measure) {
    Msg::HmpLeadConfigReq request{};
    unsigned energized = 0;
    unsigned measured = 0;
    for (std::size_t i = 0; i < std::size(Msg::kLeadNames); ++i) {
      if (energize.contains(Msg::kLeadNames[i])) energized |= 1U << i;
      if (measure.contains(Msg::kLeadNames[i])) measured |= 1U << i;
    }
    request.energize = static_cast<std::int16_t>(energized);
    request.measure = static_cast<std::int16_t>(measured);
    stray_.GetBackplaneCalibration(&request);
  }
  /// The farads of the row that a correction at 0 Hz distance shows; 0: none is applied.
  double Applied() {
    constexpr double kVolts = 1000;
    phasortoo_t phasors[2] = {{0, kVolts, 0, 0, 0}, {0, 0, 0, 0, 0}};
    stray_.SetFrequency(1e-3F);
    if (stray_.ApplyCalibration(phasors) == 0) return 0;
    return phasors[1].mag / (2 * std::numbers::pi * double{1e-3F} * kVolts);
  }
  void ExpectRow(double farads) { EXPECT_NEAR(Applied() / farads, 1, 1e-6) << farads; }

  std::array<Row, 5> rows_ = {
      MakeRow("0000000000000000000000000000000000000011", "HV1", "MIR", 1e-12F),
      MakeRow("0000000000000000000000000000000000000012", "HV1", "MIB", 2e-12F),
      MakeRow("000000000000000200000000000000000000001a", "HV2", "MIR MIB", 3e-12F),
      MakeRow("000000000000000200000000000000000000001A", "SVR SVY", "MIG", 4e-12F),
      MakeRow("0000000000000000000000000000000000000000", "HV1", "MIY", 5e-12F)};
  Dev::intcal_table table_{static_cast<int>(rows_.size()), {}, rows_.data()};
  Msg::TestParameters test_;
  Msg::MeasurementState measurement_;
  acquisition::StrayCap stray_;
};

TEST_F(StrayCapTest, TheCurrentLosesThatOfTheStrayAdmittance) {
  Leads({"HV1"}, {"MIR"});
  for (const float hertz : {0.0F, 15.0F, 60.0F, 400.0F, 1000.0F}) {
    stray_.SetFrequency(hertz);  // as an update does, without leads of its own
    for (const long double turn : {0.0L, 1.0L, 3.0L, 5.5L}) {
      const long double f = hertz;
      const Complex volts = std::polar(9999.5L, turn);
      const Complex amperes = std::polar(3.77e-4L, turn + 1.5658L);
      const auto cubic = [f](const Dev::poly_coef_union& p) {
        long double sum = 0;
        for (int power = 0; power < 4; ++power) sum += p.coef[power] * std::pow(f, power);
        return sum;
      };
      const Complex admittance = std::polar(
          2 * std::numbers::pi_v<long double> * f * cubic(rows_[0].cap), -cubic(rows_[0].phase));
      const Complex wanted = amperes - admittance * volts;

      phasortoo_t phasors[2] = {{double(std::arg(volts)), double(std::abs(volts)), 1, 2, 3},
                                {double(std::arg(amperes)), double(std::abs(amperes)), 1, 2, 3}};
      const phasortoo_t voltage = phasors[0];
      ASSERT_EQ(stray_.ApplyCalibration(phasors), 1);
      const Complex found = std::polar<long double>(phasors[1].mag, phasors[1].phase);
      EXPECT_LT(std::abs(found - wanted), 1e-13L * std::abs(wanted)) << hertz << " Hz";
      EXPECT_EQ(phasors[0].mag, voltage.mag);
      EXPECT_EQ(phasors[0].phase, voltage.phase);
    }
  }
}

TEST_F(StrayCapTest, TheFirstRowThatListsAllLeadsHolds) {
  const struct {
    std::set<std::string> energize, measure;
    double farads;
  } cases[] = {
      {{"HV1"}, {"MIR"}, 1e-12},
      {{"HV1"}, {"MIB"}, 2e-12},
      {{"HV2"}, {"MIB", "MIR"}, 3e-12},
      {{"SVY", "SVR"}, {"MIG"}, 4e-12},
      {{"SVR"}, {"MIG"}, 4e-12},
      {{}, {"MIG"}, 4e-12},
      {{"HV1"}, {}, 1e-12},
      {{}, {}, 1e-12},
      {{"HV1"}, {"MIR", "MIB"}, 0},
      {{"HV1", "HV2"}, {"MIR"}, 0},
      {{"HV2"}, {"MIG"}, 0},
  };
  for (const auto& c : cases) {
    Leads({"HV1"}, {"MIR"});  // what is not found does not leave the row of before
    Leads(c.energize, c.measure);
    if (c.farads == 0) {
      EXPECT_EQ(Applied(), 0);
    } else {
      ExpectRow(c.farads);
    }
  }
}

TEST_F(StrayCapTest, RelaysFindTheirRowByTheMaskedKey) {
  Msg::HmpTestRlyReq relays{};
  relays.hvs = 0x0001;  // relay 5
  relays.lvs = 0x0001;  // relay 1
  stray_.StoreRelays(&relays);
  EXPECT_EQ(Applied(), 0) << "without leads";

  Leads({"HV1"}, {"MIB"});
  stray_.StoreRelays(&relays);
  ExpectRow(1e-12);
  relays.m1ip = 0x0800;  // relay 145, outside the mask
  relays.pfc = 0x0002;   // relay 41, too
  stray_.StoreRelays(&relays);
  ExpectRow(1e-12);
  relays.lvs = 0;
  relays.hvs = 0x0001 | 0x0002 | 0x0010;  // relays 5, 4 and 8: the last is outside the mask
  relays.m2vn = static_cast<std::int16_t>(0x0020);
  relays.m1vp = 0x0001;  // relay 98: bit 1 of the group of 97 to 128
  stray_.StoreRelays(&relays);
  EXPECT_EQ(Applied(), 0) << "a key without a row ends the correction of the leads";
  relays = {};
  Leads({"HV1"}, {"MIB"});
  stray_.StoreRelays(&relays);
  ExpectRow(5e-12);

  // every digit of a mask counts, from the front for the highest relays
  Put("0002000000000000000000000000000000000000", table_.mask);
  Put("0002000000000000000000000000000000000000", rows_[1].key);
  relays.m1ip = 0x0800;  // 145 is bit 16 of the first group
  stray_.StoreRelays(&relays);
  ExpectRow(5e-12);  // whose key is that of no relay
  Put("0001000000000000000000000000000000000000", table_.mask);
  Put("0001000000000000000000000000000000000000", rows_[1].key);
  stray_.StoreRelays(&relays);
  ExpectRow(2e-12);
  Put("000100000000000000000000000000000000000", table_.mask);  // a digit is missing
  stray_.StoreRelays(&relays);
  EXPECT_EQ(Applied(), 0);
}

TEST_F(StrayCapTest, KeysAreComparedWithoutCase) {
  Msg::HmpTestRlyReq relays{};
  relays.hvs = 0x0002 | 0x0008;  // relays 4 and 9, the latter outside the mask
  relays.lvs = 0x0000;
  relays.m1vp = 0x0001;  // relay 98
  Put("00000000000000020000000000000000000001FF", table_.mask);
  Put("0000000000000002000000000000000000000108", rows_[3].key);
  Put("000000000000000A000000000000000000000008", rows_[2].key);
  Leads({"HV1"}, {"MIR"});
  stray_.StoreRelays(&relays);
  ExpectRow(4e-12);
  Put("000000000000000F0000000000000000000000FF", table_.mask);
  relays.m1vp = 0x0001 | 0x0004 | 0x0010;  // relays 98, 100, 99
  Put("000000000000000E000000000000000000000008", rows_[2].key);
  stray_.StoreRelays(&relays);
  ExpectRow(3e-12);
}

TEST_F(StrayCapTest, OnlyARunningTestOfAVoltageAndItsCurrentIsCorrected) {
  const struct {
    const char* what;
    std::function<void()> change;
  } cases[] = {
      {"switched off", [this] { stray_.SetConfigValue(0); }},
      {"no test", [this] { measurement_.testStart = false; }},
      {"two voltages", [this] { test_.measCh2_mode = Msg::AC_Volt; }},
      {"a direct voltage", [this] { test_.measCh1_mode = Msg::DC_Volt; }},
      {"a set-up", [this] { stray_.Drop(); }},
      {"no table", [this] { stray_.SetTable(nullptr), Leads({"HV1"}, {"MIR"}); }},
      {"a table without rows", [this] { table_.num_ents = 0, Leads({"HV1"}, {"MIR"}); }},
  };
  for (const auto& c : cases) {
    stray_.SetConfigValue(1);
    stray_.SetTable(&table_);
    measurement_.testStart = true;
    test_.measCh1_mode = Msg::AC_Volt;
    test_.measCh2_mode = Msg::ACDC_Current;
    Leads({"HV1"}, {"MIR"});
    ExpectRow(1e-12);
    c.change();
    EXPECT_EQ(Applied(), 0) << c.what;
  }
}

TEST_F(StrayCapTest, SomeKindsOfTestAreNeverCorrected) {
  Leads({"HV1"}, {"MIR"});
  const std::set<int> never = {5, 6, 8, 9, 16, 17};
  for (int type = 0; type <= Msg::TEST_MAX; ++type) {
    test_.testype = static_cast<short>(type);
    EXPECT_EQ(Applied() == 0, never.contains(type)) << type;
  }
}

// A row that repeats a bit or a relay would hide another.
TEST(RelayTable, EachBitAndEachRelayIsThereOnce) {
  std::set<std::pair<int, int>> bits;
  std::set<int> relays;
  for (const auto& row : acquisition::relayTable) {
    EXPECT_TRUE(bits.emplace(row.field, row.mask).second);
    EXPECT_TRUE(relays.insert(row.rlynum).second);
    EXPECT_EQ(row.mask & (row.mask - 1), 0);
    EXPECT_TRUE(row.field >= 0 && row.field < 18 && row.mask > 0 && row.mask <= 0x8000);
    EXPECT_TRUE(row.rlynum >= 1 && row.rlynum <= 158);
  }
}

}  // namespace
