// Marks for the codec's hot loops. Private to codec/.
#pragma once

// Hot loops are compiled twice where the toolchain can choose at run time: for any x86-64
// and for AVX2, whose eight lanes halve the work of the transforms. Elsewhere
// the one portable build is used.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__linux__)
#define TAVEXON_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#define TAVEXON_INLINE [[gnu::always_inline]] inline  // so that each clone has its own copy
#else
#define TAVEXON_VECTOR_CLONES
#define TAVEXON_INLINE inline
#endif
