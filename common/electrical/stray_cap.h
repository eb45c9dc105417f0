// The stray admittance of the instrument's own leads, taken out of the measured current.
//
// Which row of the calibration holds is what the host says last of the test's path: 0x28 finds it
// by the names of the leads, 0x17 by the relays. A set-up begins without one. Without a row nothing
// is corrected.
//
// A row's two polynomials are evaluated for each correction, at the frequency of the update that
// was taken last. They are not kept from the search: a host sends its leads before the update that
// names the frequency, so what was evaluated then would belong to the frequency before.
//
// Threads: handlers write, one at a time under the request's lock; ApplyCalibration reads, on the
// sample path. They share three atomic values and nothing else: the row (of a table that never
// changes), whether it holds, and the frequency. A change of the frequency comes while the samples
// are held up. A change of the row in a running test may reach a result of samples from before it;
// the handler's event to the channels makes that result one of Ranging.
#pragma once

#include <atomic>

#include "common/calibration/phasor.h"
#include "common/calibration/q5cal.h"
#include "common/msg/records/hmp_service.h"
#include "common/msg/state/measurement_state.h"
#include "common/msg/state/parameters.h"
#include "common/xml/cal_tables.h"

namespace acquisition {

class StrayCap final : public calibration::Q5Cal {
 public:
  // --- Before acquisition starts; nothing is owned ---

  /// Above 0: rows are applied.
  void SetConfigValue(int value);
  /// Null: no rows.
  void SetTable(const Dev::intcal_table* its_table) { table = its_table; }
  /// Whose kind, frequency and start decide. Null: nothing is applied.
  void SetTest(const Msg::TestParameters* its_test, const Msg::MeasurementState* its_measurement) {
    test = its_test;
    measurement = its_measurement;
  }

  // --- The handlers' ---

  /// The test runs at `hertz` from here on.
  void SetFrequency(float hertz);
  /// By leads: the first row whose lists of leads contain all that `req` names. An empty set of
  /// names is in every list.
  void GetBackplaneCalibration(const Msg::HmpLeadConfigReq* req);
  /// By relays: the first row with their key. It replaces the row of the leads, but does not make a
  /// test apply one; relays without a row end the correction.
  void StoreRelays(const Msg::HmpTestRlyReq* req);
  /// No row holds, until the next leads.
  void Drop() { calibentry = false; }

  // --- The sample path's ---

  /// Takes the stray current out of `phasors[1]`, and returns 1; 0 where there is nothing to do: no
  /// row, no test, or one whose channels are not a voltage and its current.
  int ApplyCalibration(phasortoo_t* phasors) override;

 private:
  bool IsApplied() const;
  void Take(const Dev::mode_intcal_table_ent& row);

  const Dev::intcal_table* table = nullptr;
  const Msg::TestParameters* test = nullptr;
  const Msg::MeasurementState* measurement = nullptr;
  std::atomic<const Dev::mode_intcal_table_ent*> caldata{nullptr};
  std::atomic<bool> calibentry{false};  ///< `caldata` is the row of the present path
  std::atomic<float> freq{0};           ///< Hz
};

}  // namespace acquisition
