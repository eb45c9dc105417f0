// Compiled for processors with AVX2; CorrelatorKernels offers it only on those.
#include <immintrin.h>

#include "common/acquisition/correlator_kernel_forms.h"
#include "common/acquisition/correlator_kernel_list.h"

extern "C" {
__m256d _ZGVdN4v_sin(__m256d angle);  // the C library's, see libmvec
__m256d _ZGVdN4v_cos(__m256d angle);
}

namespace acquisition {
namespace {

struct Avx2 {
  using D = __m256d;
  using I = __m256i;
  static constexpr int kWidth = 4;
  static D Load(const double* from) { return _mm256_loadu_pd(from); }
  static void Store(double* to, D value) { _mm256_storeu_pd(to, value); }
  static D Set(double value) { return _mm256_set1_pd(value); }
  static D Ramp() { return _mm256_setr_pd(0, 1, 2, 3); }
  static D Add(D a, D b) { return _mm256_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm256_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm256_mul_pd(a, b); }
  static D Max(D a, D b) { return _mm256_max_pd(a, b); }
  static D Min(D a, D b) { return _mm256_min_pd(a, b); }
  static D Sin(D angle) { return _ZGVdN4v_sin(angle); }
  static D Cos(D angle) { return _ZGVdN4v_cos(angle); }
  static I Nothing() { return _mm256_setzero_si256(); }
  static I LoadWords(const int* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
  }
  static I Or(I a, I b) { return _mm256_or_si256(a, b); }
  static unsigned Bits(I a) {
    alignas(32) unsigned parts[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(parts), a);
    unsigned all = 0;
    for (const unsigned part : parts) all |= part;
    return all;
  }
  static I Truncate(I a) {  // a negative word is raised to the next multiple before the shift
    return Shift(_mm256_add_epi32(a, _mm256_srli_epi32(_mm256_srai_epi32(a, 31), 24)));
  }
  static I Shift(I a) { return _mm256_srai_epi32(a, 8); }
  static I Split(I a) {
    return _mm256_permutevar8x32_epi32(a, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
  }
  static D First(I a) { return _mm256_cvtepi32_pd(_mm256_castsi256_si128(Split(a))); }
  static D Second(I a) { return _mm256_cvtepi32_pd(_mm256_extracti128_si256(Split(a), 1)); }
};

}  // namespace

constexpr CorrelatorKernel kAvx2Kernel = MakeKernel<Avx2>("avx2", HasAvx2);

}  // namespace acquisition
