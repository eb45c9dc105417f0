// A sample as the FPGA writes it: 32 bits, little-endian, channel 1 first in a pair.
//
//   31:8  the sample, signed, 24 bits
//    7:6  condition
//    5    sync error
//    4:0  sequence field: in channel 1 the pair's index in its block, modulo 32; in channel 2 the
//         index shifted right by 8, under the mask (pairs in a block - 1) >> 8
#pragma once

#include <cstddef>

namespace acquisition {

enum A2dStatus : unsigned {
  A2D_STATUS_OVER_RANGE = 0x40,
  A2D_STATUS_FAULT = 0x80,
  A2D_STATUS_CPLD_BUSY = 0xC0,
};
inline constexpr unsigned kConditionMask = 0xC0;
inline constexpr unsigned kSyncError = 0x20;
/// Condition and sync error.
inline constexpr unsigned kStatusMask = 0xE0;
inline constexpr unsigned kSequenceMask = 0x1F;
inline constexpr unsigned kSequenceShift = 8;  ///< of channel 2's field

inline constexpr int kSampleShift = 8;
inline constexpr int kSampleFullScale = 0x7FFFFF;

inline constexpr std::size_t kPairBytes = 8;
/// What the driver counts in: 512 pairs.
inline constexpr std::size_t kPageBytes = 4096;
inline constexpr std::size_t kPagePairs = kPageBytes / kPairBytes;

inline constexpr unsigned Status(int word) { return static_cast<unsigned>(word) & kStatusMask; }
inline constexpr int Sample(int word) { return word >> kSampleShift; }

}  // namespace acquisition
