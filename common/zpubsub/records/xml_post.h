// How a module's reading of its EEPROMs ended, as one word on the bus between the modules.
#pragma once

namespace IMSG {

inline constexpr int kXmlPostPass = 0;
inline constexpr int kXmlPostFail = 1;

/// Fail types.
inline constexpr int kXmlPostRevision = 4096;  ///< a block's revision and its template's disagree
inline constexpr int kXmlPostChecksum = 8192;

/// The word for `result`, `failtype` and the MODULE_ID it is from: 0 for a pass, else a bit of the
/// module (0x10, 0x20, 0x40) and a bit of the fail type (0x1000, 0x2000, 0x4000 for any other).
constexpr int XmlPostWord(int result, int failtype, int module) {
  if (result == kXmlPostPass) return 0;
  const bool known = failtype == kXmlPostRevision || failtype == kXmlPostChecksum;
  const int detail = known ? failtype : 0x4000;
  return module >= 0 && module <= 2 ? detail | 0x10 << module : detail;
}

}  // namespace IMSG
