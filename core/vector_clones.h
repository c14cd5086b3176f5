// Plain loops that the compiler vectorises, built twice on x86-64 (for AVX2 and for the
// baseline) and chosen when the library loads. ThreadSanitizer's runtime cannot resolve
// the chooser early enough, so its builds keep the baseline only.
#pragma once

#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__)
#define VITRELLA_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define VITRELLA_VECTOR_CLONES
#endif
