// A sample as the FPGA writes it into the driver's ring: 32 bits, channel 1 first in a pair.
//
//   31:8  the sample, signed, 24 bits
//    7:6  condition: good, over-range, fault, CPLD busy
//    5    sync error
//    4:0  sequence field: in channel 1 the pair's index in its block, modulo 32; in channel 2 the
//         index shifted right by 8, under the mask (pairs in a block - 1) >> 8
#pragma once

#include <cstddef>
#include <cstdint>

namespace simulator::fpga {

inline constexpr std::uint32_t kConditionMask = 0xC0;
inline constexpr std::uint32_t kOverRange = 0x40;
inline constexpr std::uint32_t kFault = 0x80;
inline constexpr std::uint32_t kCpldBusy = 0xC0;
inline constexpr std::uint32_t kSyncError = 0x20;
inline constexpr std::uint32_t kSequenceMask = 0x1F;
inline constexpr unsigned kSequenceShift = 8;  ///< of channel 2's field
inline constexpr std::uint32_t kLowByte = 0xFF;
inline constexpr unsigned kSampleShift = 8;

inline constexpr std::size_t kChannels = 2;
inline constexpr std::size_t kPairBytes = 8;
/// What the driver counts in.
inline constexpr std::size_t kPageBytes = 4096;
inline constexpr std::size_t kPagePairs = kPageBytes / kPairBytes;
inline constexpr std::size_t kPageWords = kPagePairs * kChannels;

}  // namespace simulator::fpga
