// The electrical results that a host asks for, made of each new pair of phasors.
//
// Channel 1 (index 0) is the voltage, channel 2 (index 1) the current. One set of formulas serves
// all kinds of test; the frequency is the test's. Infinities pass as such.
//
// Threads: StorePhasors on the sample path, by one thread; the others from any. The arithmetic
// holds no lock: it fills the buffer that is not published, and publishing waits for readers.
#pragma once

#include <atomic>

#include "common/calibration/phasor.h"
#include "common/calibration/q5cal.h"
#include "common/msg/state/parameters.h"
#include "platform/thread_safety.h"

namespace acquisition {

/// One complete result.
struct electricalresults_t {
  float delta_ph;     ///< phase of channel 1 minus channel 2, rad, 0 to 2 pi
  float sin_dph;      ///< sine of delta_ph; 0 without a current
  float powerfactor;  ///< cosine of delta_ph
  float zre;          ///< ohm; 1 without a current
  float zim;          ///< ohm; 1 without a current
  float tandelta;
  float serscap;  ///< pF
  float parlcap;  ///< pF
  float sersind;  ///< H
  float parlind;  ///< H
  float sersres;  ///< ohm
  float vectorcrsproduct;
  float vectordotproduct;
  float acwatts;    ///< W
  double phase[2];  ///< calibrated, rad
  double mag[2];    ///< calibrated, V and A
  float ch1acrms;   ///< always 0
  float ch2acrms;   ///< always 0
};

class elec {
 public:
  /// Made on first use.
  static elec& GetElec();
  /// Objects made so far.
  static int GetCounter() { return counter; }

  elec() { ++counter; }
  elec(const elec&) = delete;
  elec& operator=(const elec&) = delete;

  void Init() {}
  /// The calibration of the whole instrument, not owned. Null: none is applied. Before acquisition
  /// starts.
  void SetStray(calibration::Q5Cal* its_stray) { stray = its_stray; }
  /// Whose frequency the results are made with, not owned. Null: 0 Hz. Before acquisition starts.
  void SetTest(const Msg::TestParameters* its_test) { test = its_test; }
  /// Takes a cycle's phasors of the fast (`*filtertype` 1) or the slow filter (0), as measured and
  /// (an array of two) as the channels' corrections make them, and makes the results of these. Any
  /// other type is ignored.
  void StorePhasors(const int* filtertype, const phasorarr_t* measured,
                    const phasortoo_t* corrected);
  /// Copies the slow result (`which` 1 or 4) or the fast one (any other). All 0 until the filter's
  /// first cycle.
  void GetResults(int which, electricalresults_t* results) const;

 private:
  bool ApplyStray(phasortoo_t* phasors) const;
  double Frequency() const { return test == nullptr ? 0.0 : double{test->GetFrequency()}; }
  void DoCalcSlow();
  void DoCalcFast();

  static inline std::atomic<int> counter{0};

  calibration::Q5Cal* stray = nullptr;
  const Msg::TestParameters* test = nullptr;
  phasortoo_t fast[2]{};  ///< latest input
  phasortoo_t slow[2]{};
  electricalresults_t fastelectrical[2]{};
  electricalresults_t slowelectrical[2]{};
  int fastresultindex Q5_GUARDED_BY(fastelecsem) = 0;  ///< buffer to read
  int slowresultindex Q5_GUARDED_BY(slowelecsem) = 0;
  int fastupdateindex = 1;  ///< buffer to write; of the sample path
  int slowupdateindex = 1;
  mutable platform::Mutex fastelecsem;
  mutable platform::Mutex slowelecsem;
};

}  // namespace acquisition
