// Phasors as the correlators make them and the results use them.
#pragma once

#include <cstdint>

namespace acquisition {

/// One channel's phasor. Magnitudes are RMS.
struct phasortoo_t {
  double phase;  ///< rad
  double mag;    ///< V or A; sample counts before scaling
  double cacc;   ///< cosine sum
  double sacc;   ///< sine sum
  std::int64_t sample_count;
};

/// Both channels' phasors of one cycle.
struct phasorarr_t {
  double phase[2];  ///< rad, 0 to 2 pi
  double mag[2];    ///< V or A, RMS
  std::int64_t sample_count;
};

}  // namespace acquisition
