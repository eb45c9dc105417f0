// The forms of the kernel that have a source file of their own.
#pragma once

#include "common/acquisition/correlator_kernel.h"

// The C library that has vector functions, and the processors that it has them for.
#if defined(__x86_64__) && defined(__GLIBC__)
#define Q5_VECTOR_KERNELS 1
#else
#define Q5_VECTOR_KERNELS 0
#endif

namespace acquisition {

#if Q5_VECTOR_KERNELS
bool HasAvx2();
extern const CorrelatorKernel kAvx2Kernel;
bool HasAvx512();
extern const CorrelatorKernel kAvx512Kernel;
#endif

}  // namespace acquisition
