#include "common/electrical/stray_cap.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/electrical/relay_table.h"
#include "common/log/log_line.h"

using Logger::calibL;

namespace acquisition {
namespace {

using Dev::mode_intcal_table_ent;

constexpr std::size_t kRelayBits = 32;
constexpr std::size_t kMaskDigits = kRelayBits / 4;

/// Relay n is bit (n - 1) mod 32 of word (n - 1) / 32.
using RelayWords = std::array<std::uint32_t, 5>;

double Evaluate(const Dev::poly_coef_union& polynomial, double f) {
  const auto [a, b, c, d] = polynomial.coef;
  return double{a} + f * (double{b} + f * (double{c} + f * double{d}));
}

/// The stray admittance is 2 pi f `magp`, and its current that of the voltage turned by -`phasep`:
/// -pi/2 is a pure capacitance.
struct Stray {
  double magp;    ///< F
  double phasep;  ///< rad
};

Stray CalculatePolynomial(const mode_intcal_table_ent& row, float hertz) {
  return {Evaluate(row.cap, double{hertz}), Evaluate(row.phase, double{hertz})};
}

// Tests that compare two voltages or measure a resistance; their results are never corrected.
constexpr bool TestTypeCalibration(int type) {
  switch (type) {
    case Msg::TEST_LVTTR:
    case Msg::TEST_HVTTR:
    case Msg::TEST_CONTACT_RESISTANCE:
    case Msg::TEST_WINDING_RESISTANCE:
    case Msg::TEST_DEMAG:
    case Msg::TEST_WR_FOR_DEMAG:
      return false;
    default:
      return true;
  }
}

bool SearchLeads(const std::vector<const char*>& leads, std::string_view list) {
  return std::ranges::all_of(leads,
                             [list](const char* lead) { return list.find(lead) != list.npos; });
}

RelayWords WorkRelays(const Msg::HmpTestRlyReq& req) {
  const std::int16_t words[] = {req.hvs,  req.lvs,  req.pfc,  req.mvvp, req.mvvn,  req.mivp,
                                req.mivn, req.m1vp, req.m1vn, req.m1ip, req.m1in,  req.m2vp,
                                req.m2vn, req.m2ip, req.m2in, req.dcir, req.guard, req.misc};
  RelayWords workrelays{};
  for (const rlytable& row : relayTable) {
    if ((words[row.field] & row.mask) == 0) continue;
    const auto bit = static_cast<std::size_t>(row.rlynum - 1);
    workrelays.at(bit / kRelayBits) |= 1U << bit % kRelayBits;
  }
  return workrelays;
}

// The text begins with the highest relays. Nothing when it is not whole: a mask that says less than
// it should would take one circuit for another.
std::optional<RelayWords> ConvertMaskStringtoNum(std::string_view mask) {
  RelayWords maskrelays{};
  if (mask.size() != maskrelays.size() * kMaskDigits) return std::nullopt;
  for (std::size_t group = maskrelays.size(); group-- > 0; mask.remove_prefix(kMaskDigits)) {
    const char* end = mask.data() + kMaskDigits;
    const auto read = std::from_chars(mask.data(), end, maskrelays.at(group), 16);
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
  }
  return maskrelays;
}

std::string KeyOf(const RelayWords& workrelays, const RelayWords& maskrelays) {
  std::string key;
  for (std::size_t i = workrelays.size(); i-- > 0;) {
    char digits[kMaskDigits + 1];
    std::snprintf(digits, sizeof digits, "%08x", workrelays.at(i) & maskrelays.at(i));
    key += digits;
  }
  return key;
}

bool HasRows(const Dev::intcal_table* table) {
  if (table != nullptr && table->ent != nullptr && table->num_ents > 0) return true;
  Q5_LOG_INFO(calibL, "CalibL NO Calibration applied \n");
  return false;
}

std::span<const mode_intcal_table_ent> RowsOf(const Dev::intcal_table& table) {
  return {table.ent, static_cast<std::size_t>(table.num_ents)};
}

}  // namespace

void StrayCap::SetConfigValue(int value) {
  enabled = value > 0;
  Q5_LOG_INFO(calibL, "%s",
              enabled ? "calibL ENABLED calibration\n" : "calibL disabled calibration\n");
}

void StrayCap::SetFrequency(float hertz) {
  freq = hertz;
  if (const mode_intcal_table_ent* row = caldata; row != nullptr) Take(*row);
}

void StrayCap::Take(const mode_intcal_table_ent& row) {
  caldata = &row;
  const Stray stray = CalculatePolynomial(row, freq);
  Q5_LOG_INFO(calibL, "Poly magp = %e phasep = %e freq %e \n", stray.magp, stray.phasep,
              double{freq});
}

void StrayCap::GetBackplaneCalibration(const Msg::HmpLeadConfigReq* req) {
  Drop();
  if (!HasRows(table)) return;
  const auto rows = RowsOf(*table);
  const auto sources = req->GetEnergizeStrings();
  const auto measured = req->GetMeasureStrings();
  const auto row = std::ranges::find_if(rows, [&](const mode_intcal_table_ent& candidate) {
    return SearchLeads(measured, candidate.meas) && SearchLeads(sources, candidate.src);
  });
  if (row == rows.end()) {
    Q5_LOG_INFO(calibL, "calibL No Cal. numentries %d\n", table->num_ents);
    return;
  }
  Q5_LOG_INFO(calibL, "found calib entry %s %s \n", row->src, row->meas);
  if (test != nullptr) freq = test->GetFrequency();
  Take(*row);
  calibentry = true;
}

void StrayCap::StoreRelays(const Msg::HmpTestRlyReq* req) {
  if (!HasRows(table)) return;
  const auto rows = RowsOf(*table);
  const auto maskrelays = ConvertMaskStringtoNum(table->mask);
  const std::string key = maskrelays ? KeyOf(WorkRelays(*req), *maskrelays) : std::string();
  const auto row = std::ranges::find_if(rows, [&key](const mode_intcal_table_ent& candidate) {
    return ::strcasecmp(candidate.key, key.c_str()) == 0;
  });
  if (maskrelays && row != rows.end()) return Take(*row);
  // the row of the leads before these relays is not that of this circuit
  Drop();
}

bool StrayCap::IsApplied() const {
  if (!IsEnabled() || !calibentry || test == nullptr || measurement == nullptr) return false;
  // a direct voltage drives nothing through a capacitance, and a second voltage is no current
  return measurement->testStart && TestTypeCalibration(test->testype) &&
         test->measCh1_mode == Msg::AC_Volt && test->measCh2_mode == Msg::ACDC_Current;
}

int StrayCap::ApplyCalibration(phasortoo_t* phasors) {
  const mode_intcal_table_ent* row = caldata;
  if (row == nullptr || !IsApplied()) return 0;
  const float hertz = freq;
  const Stray stray = CalculatePolynomial(*row, hertz);
  const phasortoo_t& voltage = phasors[0];
  phasortoo_t& current = phasors[1];
  const double Ir = current.mag * std::cos(current.phase);
  const double Ii = current.mag * std::sin(current.phase);
  const double Vr = voltage.mag * std::cos(voltage.phase);
  const double Vi = voltage.mag * std::sin(voltage.phase);
  Q5_LOG_DEBUG(calibL, "calibresult: realI %e imgI %e f[1].mag %e f[1].phase %e \n", Ir, Ii,
               current.mag, current.phase);
  const double k = double{hertz} * (-2 * std::numbers::pi) * stray.magp;
  const double turn_re = std::cos(stray.phasep);
  const double turn_im = std::sin(stray.phasep);
  const double x = k * (turn_re * Vr + turn_im * Vi) + Ir;
  const double y = k * (turn_re * Vi - turn_im * Vr) + Ii;
  current.mag = std::sqrt(x * x + y * y);
  current.phase = std::atan2(y, x);
  Q5_LOG_DEBUG(calibL, "calibresult: real %e img %e f[1].mag %e f[1].phase %e \n", x, y,
               current.mag, current.phase);
  return 1;
}

}  // namespace acquisition
