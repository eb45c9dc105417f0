// Compiled for processors with AVX-512; CorrelatorKernels offers it only on those.
#if !defined(__clang__)
// these warnings come from the compiler's own header
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include "common/acquisition/correlator_kernel_forms.h"
#include "common/acquisition/correlator_kernel_list.h"

extern "C" {
__m512d _ZGVeN8v_sin(__m512d angle);  // the C library's, see libmvec
__m512d _ZGVeN8v_cos(__m512d angle);
}

namespace acquisition {
namespace {

struct Avx512 {
  using D = __m512d;
  using I = __m512i;
  static constexpr int kWidth = 8;
  static D Load(const double* from) { return _mm512_loadu_pd(from); }
  static void Store(double* to, D value) { _mm512_storeu_pd(to, value); }
  static D Set(double value) { return _mm512_set1_pd(value); }
  static D Ramp() { return _mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7); }
  static D Add(D a, D b) { return _mm512_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm512_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm512_mul_pd(a, b); }
  static D Max(D a, D b) { return _mm512_max_pd(a, b); }
  static D Min(D a, D b) { return _mm512_min_pd(a, b); }
  static D Sin(D angle) { return _ZGVeN8v_sin(angle); }
  static D Cos(D angle) { return _ZGVeN8v_cos(angle); }
  static I Nothing() { return _mm512_setzero_si512(); }
  static I LoadWords(const int* from) { return _mm512_loadu_si512(from); }
  static I Or(I a, I b) { return _mm512_or_si512(a, b); }
  static unsigned Bits(I a) { return static_cast<unsigned>(_mm512_reduce_or_epi32(a)); }
  static I Truncate(I a) {  // a negative word is raised to the next multiple before the shift
    return Shift(_mm512_add_epi32(a, _mm512_srli_epi32(_mm512_srai_epi32(a, 31), 24)));
  }
  static I Shift(I a) { return _mm512_srai_epi32(a, 8); }
  // a pair is a 64-bit number with channel 1 in its lower half
  static D First(I a) { return _mm512_cvtepi32_pd(_mm512_cvtepi64_epi32(a)); }
  static D Second(I a) { return First(_mm512_srli_epi64(a, 32)); }
};

}  // namespace

constexpr CorrelatorKernel kAvx512Kernel = MakeKernel<Avx512>("avx512", HasAvx512);

}  // namespace acquisition
