// The measurement under way: whether there is one, its sampling, and its progress.
//
// Owner: the thread that answers requests, and the recovery in its place when the host is silent;
// the sample path sets `vlfreset`. Locks: none; any thread reads and writes single fields.
#pragma once

#include <atomic>

namespace Msg {

class MeasurementState {
 public:
  void SetStartTest(bool started) { testStart = started; }
  void SetMeasurementStatus(short status) {
    if (meas_status.exchange(status) != status) meas_status_change = true;
  }

  std::atomic<bool> testStart{false};  ///< a test is set up
  std::atomic<short> meas_status{0};
  std::atomic<bool> meas_status_change{false};
  std::atomic<int> samplespercyc{0};
  std::atomic<unsigned> wfgensamplespercyc{0};
  std::atomic<bool> vlfreset{false};  ///< a slow test has restarted its correlators
  std::atomic<long> getresult{0};     ///< results polled in this test
};

}  // namespace Msg
