#include "common/acquisition/correlator_kernel.h"

#include "common/acquisition/correlator_kernel_forms.h"
#include "common/acquisition/correlator_kernel_list.h"

#if Q5_VECTOR_KERNELS
#include <emmintrin.h>

extern "C" {
__m128d _ZGVbN2v_sin(__m128d angle);  // the C library's, see libmvec
__m128d _ZGVbN2v_cos(__m128d angle);
}
#endif

namespace acquisition {
namespace {

bool Always() { return true; }

#if Q5_VECTOR_KERNELS
/// What every x86-64 processor has.
struct Sse2 {
  using D = __m128d;
  using I = __m128i;
  static constexpr int kWidth = 2;
  static D Load(const double* from) { return _mm_loadu_pd(from); }
  static void Store(double* to, D value) { _mm_storeu_pd(to, value); }
  static D Set(double value) { return _mm_set1_pd(value); }
  static D Ramp() { return _mm_setr_pd(0, 1); }
  static D Add(D a, D b) { return _mm_add_pd(a, b); }
  static D Sub(D a, D b) { return _mm_sub_pd(a, b); }
  static D Mul(D a, D b) { return _mm_mul_pd(a, b); }
  static D Max(D a, D b) { return _mm_max_pd(a, b); }
  static D Min(D a, D b) { return _mm_min_pd(a, b); }
  static D Sin(D angle) { return _ZGVbN2v_sin(angle); }
  static D Cos(D angle) { return _ZGVbN2v_cos(angle); }
  static I Nothing() { return _mm_setzero_si128(); }
  static I LoadWords(const int* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  }
  static I Or(I a, I b) { return _mm_or_si128(a, b); }
  static unsigned Bits(I a) {
    alignas(16) unsigned parts[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(parts), a);
    return parts[0] | parts[1] | parts[2] | parts[3];
  }
  static I Truncate(I a) {  // a negative word is raised to the next multiple before the shift
    return Shift(_mm_add_epi32(a, _mm_srli_epi32(_mm_srai_epi32(a, 31), 24)));
  }
  static I Shift(I a) { return _mm_srai_epi32(a, 8); }
  static D First(I a) { return _mm_cvtepi32_pd(_mm_shuffle_epi32(a, _MM_SHUFFLE(3, 1, 2, 0))); }
  static D Second(I a) { return _mm_cvtepi32_pd(_mm_shuffle_epi32(a, _MM_SHUFFLE(2, 0, 3, 1))); }
};
#endif

const CorrelatorKernel kKernels[] = {
    MakeKernel<Plain>("plain", Always),
#if Q5_VECTOR_KERNELS
    MakeKernel<Sse2>("sse2", Always),
    kAvx2Kernel,
    kAvx512Kernel,
#endif
};

const CorrelatorKernel& Widest() {
  const CorrelatorKernel* widest = kKernels;
  for (const CorrelatorKernel& kernel : kKernels) {
    if (kernel.supported()) widest = &kernel;
  }
  return *widest;
}

}  // namespace

#if Q5_VECTOR_KERNELS
bool HasAvx2() { return __builtin_cpu_supports("avx2") != 0; }
bool HasAvx512() { return __builtin_cpu_supports("avx512f") != 0; }
#endif

std::span<const CorrelatorKernel> CorrelatorKernels() { return kKernels; }

const CorrelatorKernel& BestCorrelatorKernel() {
  static const CorrelatorKernel& best = Widest();
  return best;
}

}  // namespace acquisition
