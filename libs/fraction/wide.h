// The widest whole number: 128 bits without a sign, the compiler's own where it has one.
#pragma once

#ifndef __SIZEOF_INT128__
#include <boost/multiprecision/cpp_int.hpp>
#endif

namespace fraction {

#ifdef __SIZEOF_INT128__
__extension__ using Wide = unsigned __int128;
#else
using Wide = boost::multiprecision::uint128_t;
#endif

/// False when the product does not fit; then `product` is left alone.
inline bool Multiply(const Wide& x, const Wide& y, Wide& product) {
  if (x != 0 && y > ~Wide{0} / x) return false;
  product = x * y;
  return true;
}

}  // namespace fraction
