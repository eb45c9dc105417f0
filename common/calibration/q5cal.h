// A calibration of the whole instrument that changes phasors before results are made of them.
#pragma once

#include "common/calibration/phasor.h"

namespace calibration {

/// This base changes nothing. Threads: Init before others run; ApplyCalibration on the sample path.
class Q5Cal {
 public:
  virtual ~Q5Cal() = default;

  virtual void Init(int) {}
  /// `phasors` is an array of two, voltage and current. 1 if they were changed, else 0.
  virtual int ApplyCalibration(acquisition::phasortoo_t* /*phasors*/) { return 0; }
  virtual bool IsEnabled() const { return enabled; }

 protected:
  int verbose = 0;
  bool enabled = false;
};

}  // namespace calibration
