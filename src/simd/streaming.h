// Stores that go past the caches, for results that are larger than these: storing then reads nothing, and what the
// caches hold stays there. Where the instruction set has none, ordinary ones.
#ifndef MIPO_SIMD_STREAMING_H
#define MIPO_SIMD_STREAMING_H

#include <stdint.h>

#include "simd/simd.h"

namespace mipo::simd {

// Results of this size or larger are worth it: next to them, the last-level cache of most processors is small.
inline constexpr size_t streamed_bytes = 32 << 20;

[[gnu::always_inline]] inline bool is_vector_aligned(const void *address) {
  return reinterpret_cast<uintptr_t>(address) % vector_bytes == 0;
}

// To an aligned address. Other threads see what was stored after end_of_stream() only.
template <class T>
[[gnu::always_inline]] inline void stream(void *address, Vector<T> vector) {
#if defined(MIPO_SIMD_AVX2)
  _mm256_stream_si256(static_cast<__m256i *>(address), (__m256i)vector);
#elif defined(MIPO_SIMD_SSE42)
  _mm_stream_si128(static_cast<__m128i *>(address), (__m128i)vector);
#else
  store<T>(address, vector);
#endif
}

[[gnu::always_inline]] inline void end_of_stream() {
#if defined(MIPO_SIMD_AVX2) || defined(MIPO_SIMD_SSE42)
  _mm_sfence();
#endif
}

} // namespace mipo::simd

#endif
