// The checksum of a record: the sum of its bytes as unsigned values, modulo 65536. No seed, no
// complement, no carry folding.
//
// It is computed for every message in and out, so the sum takes sixteen bytes a step where the
// compiler has SSE2, and eight elsewhere. Both forms exist on every machine, so that one can be
// tested against the other.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Msg {

/// Sum of `size` bytes at `data`, which may have any alignment. 0 for no bytes.
std::uint16_t ByteSum(const void* data, std::size_t size);

/// The form of ByteSum for any processor.
std::uint16_t ByteSumPortable(const void* data, std::size_t size);

}  // namespace Msg
